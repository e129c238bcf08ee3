// Runs the image table generator as the build does, as a process on a folder of its own.
#pragma once

#include "tests/support/scratch_folder.h"
#include "tests/tools/png_writing.h"

#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

struct ProcessResult {
    /// -1 when the process did not end by itself.
    int exitCode = -1;
    std::string standardOutput;
    std::string standardError;
};

/// How the process meets the outside; the defaults change nothing.
struct ProcessSurroundings {
    std::filesystem::path workingFolder = ".";
    std::string locale = "C";
    /// Writing beyond this many bytes of a file fails, as on a full disk.
    std::size_t largestFile = std::size_t{1} << 30;
};

/// Runs a program to its end; `command` is its path and its arguments.
ProcessResult runProcess(const std::vector<std::string>& command, const ProcessSurroundings& surroundings = {});

/// One image as the generated text states it.
struct TableEntry {
    std::string path;
    std::size_t width;
    std::size_t height;
    std::size_t offset;
};

struct ParsedTable {
    std::vector<TableEntry> entries;
    /// One digit a pixel.
    std::string pixels;
};

ParsedTable parseTable(const std::string& source);

void writeFile(const std::filesystem::path& file, const std::string& content);

/// Names a case of a table by its member `name`.
template <typename Case>
std::string caseName(const testing::TestParamInfo<Case>& info)
{
    return info.param.name;
}

/// Makes a folder for each test, with an empty image folder `imgDir` and an output folder that holds nothing.
class GeneratorFixture : public testing::Test {
protected:
    GeneratorFixture();

    /// `name` is relative to the image folder; folders are made as needed.
    void addPicture(const std::string& name, const std::string& content) const;
    void addPicture(const std::string& name, const PngPicture& picture = {}) const;

    [[nodiscard]] ProcessResult run(const ProcessSurroundings& surroundings = {}) const;
    /// Runs and expects success, without a word.
    [[nodiscard]] ParsedTable table() const;
    /// Runs on top of an old output and expects exit code 1, one line with every one of `parts`, the old output as it
    /// was and no other file beside it.
    void expectRefusal(const std::vector<std::string>& parts) const;

    /// What the table holds, where it is written by default.
    [[nodiscard]] std::string outputText() const;
    [[nodiscard]] std::vector<std::string> outputFolderContent() const;

    ScratchFolder folder;
    std::filesystem::path imgDir = folder / "img";
    std::filesystem::path output = folder / "output/table.cpp";
};
