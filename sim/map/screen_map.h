// The map of the screens: which act leads from which screen to which.
#pragma once

#include "sim/map/explorer.h"

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace sim {

class ReferenceScreens;

class ScreenMap {
public:
    /// Merges the states that have the same `place`. `references` supplies the names of the screens.
    ScreenMap(const std::vector<Explorer::Node>& nodes, const WheelFrames& wheel, const ReferenceScreens& references);

    /// Prints the screens in the order in which they were found, each with the acts that lead to another screen.
    void print(std::ostream& out) const;
    /// Writes a PNG file for each screen, with the name that `print` prints.
    void writePictures(const std::filesystem::path& folder) const;

private:
    struct Arrow {
        std::string_view act;
        std::size_t target;

        friend bool operator<(const Arrow& a, const Arrow& b)
        {
            return std::tie(a.act, a.target) < std::tie(b.act, b.target);
        }
    };

    struct Entry {
        Place place;
        std::string name;
        std::set<Arrow> arrows{};
    };

    std::size_t add(const Place& place);
    [[nodiscard]] std::string nameOf(const Place& place) const;

    std::map<Screen, std::string> goldenNames;
    std::map<Place, std::size_t> numbers;
    std::vector<Entry> entries;
};

} // namespace sim
