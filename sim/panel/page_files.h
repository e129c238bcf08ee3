// The files of the page, embedded in the program.
#pragma once

#include <span>
#include <string_view>

namespace sim {

struct PageFile {
    /// The path of the URL, such as "/page.css".
    std::string_view path;
    /// The media type.
    std::string_view type;
    std::string_view content;
};

/// Generated from the folder `page`.
[[nodiscard]] std::span<const PageFile> pageFiles();

} // namespace sim
