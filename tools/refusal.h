// The exception for a file that is invalid or cannot be read or written.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

class Refusal : public std::runtime_error {
public:
    /// what() is one printable line: the file's name, a colon and `reason`, such as "is not a PNG file".
    Refusal(const std::filesystem::path& file, const std::string& reason);
};
