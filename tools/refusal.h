// The exception for invalid input: one line about one file.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

class Refusal : public std::runtime_error {
public:
    /// `reason` continues after the file's name, as in "is not a PNG file". what() is one printable line.
    Refusal(const std::filesystem::path& file, const std::string& reason);
};
