// Writes a temporary file, then renames it.
#include "tools/replace_file.h"

#include "tools/refusal.h"

#include <fstream>

namespace fs = std::filesystem;

namespace {

/// Returns false if the text was not written completely, for example because the disk is full.
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
    const fs::path temporary = file.string() + ".tmp";
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    if (!stream) {
        throw Refusal(file, "cannot be written");
    }
    if (!writeText(stream, text) || !renameFile(temporary, file)) {
        fs::remove(temporary, error);
        throw Refusal(file, "cannot be written");
    }
}
