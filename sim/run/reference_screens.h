// The reference pictures by which screens are recognised.
#pragma once

#include "sim/models/screen.h"

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace sim {

class ReferenceScreens {
public:
    /// Takes in every NAME.png of the folder, pixel for pixel. Throws std::runtime_error when one cannot be read.
    explicit ReferenceScreens(const std::filesystem::path& folder);

    [[nodiscard]] bool contains(std::string_view name) const;
    /// The name of the picture that is exactly this screen; empty when there is none.
    [[nodiscard]] std::string nameOf(const Screen& screen) const;

private:
    std::map<Screen, std::string> names;
};

} // namespace sim
