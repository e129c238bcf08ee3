// Explores the program and writes the map of its screens.
#include "sim/map/explorer.h"
#include "sim/map/screen_map.h"
#include "sim/session/reference_screens.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

void writeMap(const fs::path& folder)
{
    fs::create_directories(folder);
    sim::Explorer explorer({.updater = TONECRATE_UPDATER, .preload = TONECRATE_PRELOAD, .work = folder});
    const auto& nodes = explorer.explore();
    const sim::ScreenMap map(nodes, explorer.getWheel(), sim::ReferenceScreens(TONECRATE_SCREENS));
    map.writePictures(folder);
    std::ofstream out(folder / "screen_map.txt");
    map.print(out);
    if (!out.flush()) {
        throw std::runtime_error("cannot write to " + folder.string());
    }
    std::cout << nodes.size() << " states\n";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || *argv[1] == '-') {
        std::cerr << "usage: tonecrate-map FOLDER\n";
        return 2;
    }
    try {
        writeMap(fs::absolute(argv[1]));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "tonecrate-map: " << error.what() << '\n';
        return 1;
    }
}
