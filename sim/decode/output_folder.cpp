// Recognises results by their names.
#include "sim/decode/output_folder.h"

#include <stdexcept>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// Screens have names such as 00012.345678.png and 00012.345678-menu.png.
bool isScreen(std::string_view name)
{
    const std::size_t point = name.find('.');
    if (point == std::string_view::npos || point == 0 || !name.ends_with(".png")) {
        return false;
    }
    const std::string_view digits = "0123456789";
    constexpr std::size_t decimals = 6;
    return name.find_first_not_of(digits) == point && name.find_first_not_of(digits, point + 1) == point + 1 + decimals;
}

bool isResult(const fs::directory_entry& entry)
{
    const std::string name = entry.path().filename().string();
    return entry.is_regular_file() && (name == "log.txt" || name == "report.txt" || isScreen(name));
}

void requireResultsOnly(const fs::path& path)
{
    if (!fs::exists(fs::symlink_status(path))) {
        return;
    }
    if (!fs::is_directory(path)) {
        throw std::runtime_error("cannot write to " + path.string() + ": not a folder");
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
        if (!isResult(entry)) {
            throw std::runtime_error("will not replace " + path.string() + ": it contains " +
                                     entry.path().filename().string() + ", which is not a result of this program");
        }
    }
}

} // namespace

OutputFolder::OutputFolder(fs::path path) : target(std::move(path))
{
    requireResultsOnly(target);
    temporary = target;
    if (!temporary.has_filename()) { // the path ends with a slash
        temporary = temporary.parent_path();
    }
    temporary += ".part-" + std::to_string(getpid());
    std::error_code error;
    if (!fs::create_directories(temporary, error)) {
        throw std::runtime_error("cannot create the folder " + temporary.string() + ": " +
                                 (error ? error.message() : "it exists"));
    }
}

OutputFolder::~OutputFolder()
{
    std::error_code ignored;
    if (!temporary.empty()) {
        fs::remove_all(temporary, ignored);
    }
}

void OutputFolder::complete()
{
    requireResultsOnly(target);
    fs::remove_all(target);
    fs::rename(temporary, target.has_filename() ? target : target.parent_path());
    temporary.clear();
}

} // namespace sim
