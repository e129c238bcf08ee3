// Merges states into screens, names the screens, and writes them.
#include "sim/map/screen_map.h"

#include "sim/device/png_file.h"
#include "sim/session/reference_screens.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// "format.sh 0" becomes "format-0"; the argument of decrypt.sh, here always /dev/sda, is omitted.
std::string shortName(const std::string& script)
{
    const std::size_t dot = script.find('.');
    const char last = script.back();
    return script.substr(0, dot) + (last == '0' || last == '1' ? std::string("-") + last : "");
}

} // namespace

ScreenMap::ScreenMap(const std::vector<Explorer::Node>& nodes, const WheelFrames& wheel,
                     const ReferenceScreens& references)
{
    for (const auto& [screen, name] : references.getNames()) {
        const std::array<Screen, 1> screens = {screen};
        goldenNames[wheel.find(screens) == Wheel::None ? screen : wheel.withFirstFrame(screen)] = name;
    }
    for (const Explorer::Node& node : nodes) {
        const std::size_t source = add(node.state.place);
        for (const Explorer::Transition& transition : node.transitions) {
            const std::size_t target = add(nodes[transition.target].state.place);
            if (target != source) {
                entries[source].arrows.insert({transition.act->name, target});
            }
        }
    }
}

std::size_t ScreenMap::add(const Place& place)
{
    const auto [entry, isNew] = numbers.try_emplace(place, entries.size());
    if (isNew) {
        entries.push_back({place, nameOf(place)});
    }
    return entry->second;
}

/// The name of the golden screen, then the running script, then "stopped" if the wheel has stopped.
std::string ScreenMap::nameOf(const Place& place) const
{
    const auto golden = goldenNames.find(place.screen);
    std::string name = golden == goldenNames.end() ? "screen-" + std::to_string(entries.size()) : golden->second;
    if (!place.script.empty()) {
        name += "-" + shortName(place.script);
    }
    return name + (place.wheel == Wheel::Stopped ? "-stopped" : "");
}

void ScreenMap::print(std::ostream& out) const
{
    for (const Entry& entry : entries) {
        out << entry.name << '\n';
        for (const Arrow& arrow : entry.arrows) {
            out << "    " << arrow.act << " -> " << entries[arrow.target].name << '\n';
        }
    }
}

void ScreenMap::writePictures(const fs::path& folder) const
{
    for (const Entry& entry : entries) {
        writePng(folder / (entry.name + ".png"), pictureOf(entry.place.screen));
    }
}

} // namespace sim
