// Writes a file beside its place first, then renames it.
#include "tools/replace_file.h"

#include "tools/refusal.h"

#include <fstream>

namespace fs = std::filesystem;

namespace {

/// False when the text did not reach the file as a whole, for example because the disk is full.
bool writeText(std::ofstream& stream, const std::string& text)
{
    stream << text;
    stream.close();
    return !stream.fail();
}

bool renameFile(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::rename(from, to, error);
    return !error;
}

} // namespace

void replaceFile(const fs::path& file, const std::string& text)
{
    std::error_code error;
    if (fs::exists(file, error) && !fs::is_regular_file(file, error)) {
        throw Refusal(file, "is not a regular file");
    }
    const fs::path beside = file.string() + ".tmp";
    std::ofstream stream(beside, std::ios::binary | std::ios::trunc);
    if (!stream) {
        throw Refusal(file, "cannot be written");
    }
    if (!writeText(stream, text) || !renameFile(beside, file)) {
        fs::remove(beside, error);
        throw Refusal(file, "cannot be written");
    }
}
