// Replaces a file atomically.
#pragma once

#include <filesystem>
#include <string>

/// Writes `text` to a temporary file in the same folder and renames it to `file`. Throws Refusal on failure, or when
/// `file` exists and is not a regular file; then `file` is unchanged and the temporary file is removed.
void replaceFile(const std::filesystem::path& file, const std::string& text);
