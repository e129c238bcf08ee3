// Lists the pictures in the image folder and checks their names.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Returns the paths of all pictures relative to `folder`, with forward slashes, in byte-wise order.
///
/// Throws Refusal if the folder has no pictures, an entry with an invalid name, or an entry that is neither a regular
/// file nor a folder, and if the folder cannot be read.
std::vector<std::string> listPictures(const std::filesystem::path& folder);
