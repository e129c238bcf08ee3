// A temporary folder for one test. The destructor removes it with its contents.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tonecrate-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        folder = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return folder; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return folder / name; }

    void write(const std::string& name, const std::string& contents) const
    {
        std::ofstream(folder / name, std::ios::binary) << contents;
    }
    /// Returns the contents of the file; empty if the file does not exist.
    [[nodiscard]] std::string read(const std::string& name) const
    {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] bool contains(const std::string& name) const { return std::filesystem::exists(folder / name); }

private:
    std::filesystem::path folder;
};
