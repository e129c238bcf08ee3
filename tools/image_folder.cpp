// Walks the image folder in sorted order, so the same error is reported on every file system.
#include "tools/image_folder.h"

#include "tools/refusal.h"

#include <algorithm>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view pictureEnding = ".png";
constexpr std::string_view glyphFolder = "font8";

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isHexDigit(char character)
{
    return isDigit(character) || (character >= 'a' && character <= 'f');
}

bool isNameCharacter(char character)
{
    return isDigit(character) || (character >= 'a' && character <= 'z') || character == '_';
}

bool isFolderName(std::string_view name)
{
    return std::all_of(name.begin(), name.end(), isNameCharacter);
}

bool isPictureName(std::string_view name)
{
    const auto isAllowed = [](char character) { return isNameCharacter(character) || character == '.'; };
    return name.size() > pictureEnding.size() && name.ends_with(pictureEnding) && !name.starts_with('.') &&
           std::all_of(name.begin(), name.end(), isAllowed);
}

/// The fonts load every image whose path starts with the string "img/font8", so files such as font8x.png are checked
/// too.
bool hasGlyphPrefix(std::string_view path)
{
    return path.starts_with(glyphFolder);
}

bool isGlyphPath(std::string_view path)
{
    constexpr std::string_view model = "font8/7e.png";
    constexpr std::size_t digits = model.find("7e");
    return path.size() == model.size() && path.substr(0, digits) == model.substr(0, digits) &&
           isHexDigit(path[digits]) && isHexDigit(path[digits + 1]) && path.ends_with(pictureEnding);
}

std::vector<std::string> sortedNamesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
    } catch (const fs::filesystem_error& error) {
        throw Refusal(folder, "cannot be read: " + error.code().message());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void checkPicture(const fs::path& file, const std::string& path, const std::string& name)
{
    if (!isPictureName(name)) {
        throw Refusal(file, "is not a valid picture name: use lower-case letters, digits, '_' and '.', not '.' first, "
                            "then \".png\"");
    }
    if (hasGlyphPrefix(path) && !isGlyphPath(path)) {
        throw Refusal(file, "is not a valid glyph name: use font8/XX.png, where XX is the character code in lower-case "
                            "hexadecimal");
    }
}

class Walk {
public:
    explicit Walk(const fs::path& folder) : root(folder) {}

    /// `prefix` is empty or a relative path that ends with a slash.
    void collect(const std::string& prefix)
    {
        for (const std::string& name : sortedNamesIn(root / prefix)) {
            visit(prefix + name, name);
        }
    }

    std::vector<std::string> pictures;

private:
    void visit(const std::string& path, const std::string& name)
    {
        const fs::path file = root / path;
        std::error_code error;
        const fs::file_status status = fs::symlink_status(file, error);
        if (fs::is_directory(status)) {
            enter(file, path, name);
        } else if (fs::is_regular_file(status)) {
            checkPicture(file, path, name);
            pictures.push_back(path);
        } else {
            throw Refusal(file, "is neither a regular file nor a folder");
        }
    }

    void enter(const fs::path& file, const std::string& path, const std::string& name)
    {
        if (!isFolderName(name)) {
            throw Refusal(file, "is not a valid folder name: use lower-case letters, digits and '_'");
        }
        collect(path + "/");
    }

    const fs::path& root;
};

} // namespace

std::vector<std::string> listPictures(const fs::path& folder)
{
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        throw Refusal(folder, "is not a folder");
    }
    Walk walk(folder);
    walk.collect("");
    if (walk.pictures.empty()) {
        throw Refusal(folder, "contains no pictures");
    }
    // Depth-first order differs from the order of whole paths: "a.png" sorts before "a/".
    std::sort(walk.pictures.begin(), walk.pictures.end());
    return walk.pictures;
}
