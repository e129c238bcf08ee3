// What the generator throws when it cannot go on: one line about one file.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

class Refusal : public std::runtime_error {
public:
    /// `reason` reads on from the file's name: "is not a PNG file". The text is one line whatever the name holds.
    Refusal(const std::filesystem::path& file, const std::string& reason);
};
