// Finds the pictures of the image folder and checks their names.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The pictures under `folder`, as paths relative to it with forward slashes, in byte-wise order.
///
/// Throws Refusal for anything in there that is not a picture under a usable name, and for a folder without pictures.
std::vector<std::string> listPictures(const std::filesystem::path& folder);
