// The GPIO block (bank 0 of a BCM2711): the program's register accesses on one side, the board's wires on the other.
#pragma once

#include "sim/models/violations.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace sim {

/// The program under test stores directly into the register page. Stores cannot be trapped, so the board calls `sync`
/// at the program's system calls. Of several stores to the set register between two calls of `sync`, only the last
/// has an effect; likewise for the clear register.
class GpioBlock {
public:
    static constexpr int lineCount = 32;
    static constexpr std::size_t pageBytes = 4096;

    /// `registerPage` has `pageBytes` bytes.
    GpioBlock(volatile std::uint32_t* registerPage, Violations& violationList);

    /// `listener` is called when the level of an output line changes.
    void onOutput(std::function<void(int line, bool level)> listener) { outputListener = std::move(listener); }
    /// `listener` is called when a line becomes an output.
    void onSelect(std::function<void(int line)> listener) { selectListener = std::move(listener); }

    /// Processes the stores since the last call and updates the level register.
    void sync();
    /// Sets the level that the board applies to an input line. Initially the board applies a high level to all lines.
    void setInput(int line, bool level);

    [[nodiscard]] bool isOutput(int line) const;
    /// The latched level of an output, or the applied level of an input.
    [[nodiscard]] bool level(int line) const;

private:
    void takeSelects();
    void takeSelect(int line, std::uint32_t select);
    void takeLatches();

    volatile std::uint32_t* registers;
    Violations& violations;
    std::function<void(int, bool)> outputListener = [](int, bool) {};
    std::function<void(int)> selectListener = [](int) {};
    /// The select registers at the last `sync`.
    std::array<std::uint32_t, 4> selects{};
    std::uint32_t outputs = 0;
    /// Lines for which the selection of an alternate function has been reported as a violation.
    std::uint32_t reportedSelects = 0;
    std::uint32_t latch = 0;
    std::uint32_t inputs = 0xFFFFFFFF;
};

} // namespace sim
