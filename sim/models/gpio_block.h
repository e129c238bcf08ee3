// The GPIO block as the program's accesses and the board's wires see it (bank 0 of a BCM2711).
#pragma once

#include "sim/models/violations.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace sim {

/// Works on a page of registers that a program under test stores into directly. A store cannot be trapped, so the block
/// looks at the page whenever `sync` is called, which has to happen at every system call of the program: two stores to
/// the set register, or to the clear register, between two calls of `sync` are seen as the last of them.
class GpioBlock {
public:
    static constexpr int lineCount = 32;
    static constexpr std::size_t pageBytes = 4096;

    /// `registerPage` is a page of `pageBytes`; violations go to `violationList`.
    GpioBlock(volatile std::uint32_t* registerPage, Violations& violationList);

    /// Called for each output line whose level has changed.
    void onOutput(std::function<void(int line, bool level)> listener) { outputListener = std::move(listener); }
    /// Called when a line has become an output.
    void onSelect(std::function<void(int line)> listener) { selectListener = std::move(listener); }

    /// Takes in what the program has stored since the last call and updates the levels that it can read.
    void sync();
    /// What the board's wiring drives an input line to. All lines are pulled up at first.
    void setInput(int line, bool level);

    [[nodiscard]] bool isOutput(int line) const;
    /// As a probe on the line would see it.
    [[nodiscard]] bool level(int line) const;

private:
    void takeSelects();
    void takeSelect(int line, std::uint32_t select);
    void takeLatches();

    volatile std::uint32_t* registers;
    Violations& violations;
    std::function<void(int, bool)> outputListener = [](int, bool) {};
    std::function<void(int)> selectListener = [](int) {};
    /// The select registers of this bank, as seen last.
    std::array<std::uint32_t, 4> selects{};
    std::uint32_t outputs = 0;
    /// Lines that were reported for an alternate function.
    std::uint32_t oddSelects = 0;
    std::uint32_t latch = 0;
    std::uint32_t inputs = 0xFFFFFFFF;
};

} // namespace sim
