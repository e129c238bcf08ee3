// Build-time tool: generates the C++ table of compiled-in images from the PNG files in a folder.
#include "tools/image_folder.h"
#include "tools/image_table_source.h"
#include "tools/png_image.h"
#include "tools/replace_file.h"

#include <exception>
#include <iostream>

namespace {

/// The images' keys always begin with "img/", regardless of the folder's name.
std::vector<NamedImage> readImages(const std::filesystem::path& folder)
{
    std::vector<NamedImage> images;
    for (const std::string& picture : listPictures(folder)) {
        images.push_back({"img/" + picture, readPngImage(folder / picture)});
    }
    return images;
}

} // namespace

/// Exit code: 0 success, 1 failure (one line on standard error), 2 wrong number of arguments.
int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: generate_image_table IMG_DIR OUTPUT.cpp\n";
        return 2;
    }
    try {
        replaceFile(argv[2], imageTableSource(readImages(argv[1])));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "generate_image_table: " << error.what() << '\n';
        return 1;
    }
}
