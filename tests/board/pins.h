// The BCM2711 registers that route the GPIO lines.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// A copy of GPFSEL0 to GPFSEL5 and GPIO_PUP_PDN_CNTRL_REG0 to REG3. Line numbers are 0 to 57.
struct Pins {
    /// The functions of a line, by their code in GPFSELn.
    static constexpr std::array<std::string_view, 8> functions = {
        "input", "output", "alternate 5", "alternate 4", "alternate 0", "alternate 1", "alternate 2", "alternate 3"};

    std::array<std::uint32_t, 6> selects{};
    std::array<std::uint32_t, 4> pulls{};

    /// The index in `selects` of the register that selects the function of `line`.
    [[nodiscard]] static constexpr unsigned selectIndex(unsigned line) { return line / 10; }

    [[nodiscard]] std::string_view function(unsigned line) const
    {
        return functions[selects[selectIndex(line)] >> selectShift(line) & 7U];
    }
    [[nodiscard]] std::string_view pull(unsigned line) const
    {
        constexpr std::array<std::string_view, 4> names = {"none", "up", "down", "reserved"};
        return names[pulls[line / 16] >> (2 * (line % 16)) & 3U];
    }
    void makeInput(unsigned line) { selects[selectIndex(line)] &= ~(7U << selectShift(line)); }

private:
    [[nodiscard]] static constexpr unsigned selectShift(unsigned line) { return 3 * (line % 10); }
};
