// The folder with the results: completed as a whole, or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace sim {

class OutputFolder {
public:
    /// Creates a temporary folder next to `path` for the results. Throws std::runtime_error if it cannot be created, if
    /// `path` exists and is not a folder, or if `path` contains anything but results of this program.
    explicit OutputFolder(std::filesystem::path path);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    /// Removes the temporary folder unless `complete` has succeeded.
    ~OutputFolder();

    /// The path at which to write the file `name`.
    [[nodiscard]] std::filesystem::path file(const std::string& name) const { return temporary / name; }
    /// Checks the folder at `path` again, and replaces it with the temporary folder. Throws std::runtime_error if
    /// either fails.
    void complete();

private:
    std::filesystem::path target;
    std::filesystem::path temporary;
};

} // namespace sim
