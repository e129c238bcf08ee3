// The exception for invalid input: one line about one file.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

class Refusal : public std::runtime_error {
public:
    /// `reason` completes a sentence that starts with the file's name, such as "is not a PNG file". what() is one
    /// printable line.
    Refusal(const std::filesystem::path& file, const std::string& reason);
};
