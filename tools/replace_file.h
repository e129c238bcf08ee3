// Writes a file so that it is there as a whole or not at all.
#pragma once

#include <filesystem>
#include <string>

/// Writes `text` beside `file` and renames it into place. On failure throws Refusal, leaves an earlier `file` as it
/// was and nothing beside it. Refuses to replace anything but a regular file.
void replaceFile(const std::filesystem::path& file, const std::string& text);
