// Lists the pictures in the image folder and checks their names.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Returns the paths of all pictures relative to `folder`, with forward slashes, in byte-wise order.
///
/// Throws Refusal when the folder contains anything except regular files and folders with valid names, or no pictures.
std::vector<std::string> listPictures(const std::filesystem::path& folder);
