// Recognises screens by comparing them with reference pictures.
#pragma once

#include "sim/models/screen.h"

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace sim {

class ReferenceScreens {
public:
    /// Reads every NAME.png in the folder. Throws std::runtime_error if the folder does not exist, or if a picture
    /// cannot be read or does not have the size and the greys of a screen.
    explicit ReferenceScreens(const std::filesystem::path& folder);

    [[nodiscard]] const std::map<Screen, std::string>& getNames() const { return names; }
    [[nodiscard]] bool contains(std::string_view name) const;
    /// The name of the picture that equals the screen in every pixel; empty if no picture equals it.
    [[nodiscard]] std::string nameOf(const Screen& screen) const;

private:
    std::map<Screen, std::string> names;
};

} // namespace sim
