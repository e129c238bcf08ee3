// Replaces a file atomically.
#pragma once

#include <filesystem>
#include <string>

/// Writes `text` to a temporary file in the same folder and renames it to `file`. Throws Refusal on failure, or if
/// `file` exists and is not a regular file; in both cases `file` is unchanged and no temporary file remains.
void replaceFile(const std::filesystem::path& file, const std::string& text);
