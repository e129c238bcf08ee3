// Combines a file name and a reason into one printable line.
#include "tools/refusal.h"

#include <string_view>

namespace {

/// Escapes everything except printable ASCII as \xNN: a file name may contain line feeds and bytes of any encoding.
std::string printable(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7f) {
            result += character;
        } else {
            result += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return result;
}

} // namespace

Refusal::Refusal(const std::filesystem::path& file, const std::string& reason)
    : std::runtime_error(printable(file.string() + ": " + reason))
{}
