// Runs programs and reads back what the generator wrote.
#include "tests/tools/generator_fixture.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

/// A file without a name that takes what a process writes.
class Capture {
public:
    Capture() : file(std::tmpfile())
    {
        if (file == nullptr) {
            throw std::runtime_error("no temporary file");
        }
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() { std::fclose(file); }

    [[nodiscard]] int descriptor() const { return fileno(file); }

    [[nodiscard]] std::string text() const
    {
        std::rewind(file);
        std::string result;
        for (int character = std::fgetc(file); character != EOF; character = std::fgetc(file)) {
            result += static_cast<char>(character);
        }
        return result;
    }

private:
    std::FILE* file;
};

void limitFiles(std::size_t largestFile)
{
    const rlimit limit{largestFile, largestFile};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN); // so that the write fails instead of ending the process
}

[[noreturn]] void becomeProgram(const std::vector<std::string>& command, const ProcessSurroundings& surroundings,
                                int standardOutput, int standardError)
{
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    dup2(standardOutput, STDOUT_FILENO);
    dup2(standardError, STDERR_FILENO);
    setenv("LC_ALL", surroundings.locale.c_str(), 1);
    limitFiles(surroundings.largestFile);
    if (chdir(surroundings.workingFolder.c_str()) == 0) {
        execvp(arguments[0], arguments.data());
    }
    _exit(127);
}

/// From a row such as {"img/wheel_0.png", 51, 51, 0},
TableEntry tableEntry(const std::string& line)
{
    const std::size_t pathStart = line.find('"') + 1;
    const std::size_t pathEnd = line.find('"', pathStart);
    TableEntry entry{line.substr(pathStart, pathEnd - pathStart), 0, 0, 0};
    std::istringstream numbers(line.substr(pathEnd + 1));
    char comma = 0;
    numbers >> comma >> entry.width >> comma >> entry.height >> comma >> entry.offset;
    return entry;
}

bool isLevel(char character)
{
    return character >= '0' && character <= '3';
}

bool isPixelRow(const std::string& line)
{
    return line.starts_with("  ") && line.find_first_not_of(" 0123,") == std::string::npos;
}

} // namespace

ProcessResult runProcess(const std::vector<std::string>& command, const ProcessSurroundings& surroundings)
{
    const Capture standardOutput;
    const Capture standardError;
    const pid_t process = fork();
    if (process == 0) {
        becomeProgram(command, surroundings, standardOutput.descriptor(), standardError.descriptor());
    }
    int status = 0;
    if (process < 0 || waitpid(process, &status, 0) != process) {
        throw std::runtime_error("no process");
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, standardOutput.text(), standardError.text()};
}

ParsedTable parseTable(const std::string& source)
{
    ParsedTable result;
    std::istringstream lines(source);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("    {\"")) {
            result.entries.push_back(tableEntry(line));
        } else if (isPixelRow(line)) {
            std::copy_if(line.begin(), line.end(), std::back_inserter(result.pixels), isLevel);
        }
    }
    return result;
}

void writeFile(const fs::path& file, const std::string& content)
{
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

GeneratorFixture::GeneratorFixture()
{
    fs::create_directory(imgDir);
    fs::create_directory(output.parent_path());
}

void GeneratorFixture::addPicture(const std::string& name, const std::string& content) const
{
    const fs::path file = imgDir / name;
    fs::create_directories(file.parent_path());
    writeFile(file, content);
}

void GeneratorFixture::addPicture(const std::string& name, const PngPicture& picture) const
{
    addPicture(name, encodePng(picture));
}

ProcessResult GeneratorFixture::run(const ProcessSurroundings& surroundings) const
{
    return runProcess({GENERATE_IMAGE_TABLE, imgDir.string(), output.string()}, surroundings);
}

ParsedTable GeneratorFixture::table() const
{
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "");
    return parseTable(outputText());
}

void GeneratorFixture::expectRefusal(const std::vector<std::string>& parts) const
{
    writeFile(output, "the old table");
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError.find('\n'), result.standardError.size() - 1) << result.standardError;
    for (const std::string& part : parts) {
        EXPECT_THAT(result.standardError, HasSubstr(part));
    }
    EXPECT_EQ(outputText(), "the old table");
    EXPECT_THAT(outputFolderContent(), testing::ElementsAre("table.cpp"));
}

std::string GeneratorFixture::outputText() const
{
    return folder.read("output/table.cpp");
}

std::vector<std::string> GeneratorFixture::outputFolderContent() const
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(output.parent_path())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}
