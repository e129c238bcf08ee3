// The function select, set, clear and level registers.
#include "sim/models/gpio_block.h"

#include <atomic>
#include <string>

namespace sim {

namespace {

constexpr int linesPerSelect = 10;
constexpr int bitsPerSelect = 3;
constexpr std::uint32_t selectMask = 0b111;
constexpr std::uint32_t selectsInput = 0b000;
constexpr std::uint32_t selectsOutput = 0b001;

constexpr int setRegister = 7;
constexpr int clearRegister = 10;
constexpr int levelRegister = 13;

bool bit(std::uint32_t word, int line)
{
    return ((word >> line) & 1U) != 0;
}

std::uint32_t withBit(std::uint32_t word, int line, bool value)
{
    const std::uint32_t mask = 1U << line;
    return value ? word | mask : word & ~mask;
}

/// Returns the stored word and clears it. The operation is atomic, because another thread may store at the same time.
std::uint32_t takeStore(volatile std::uint32_t& word)
{
    return std::atomic_ref(const_cast<std::uint32_t&>(word)).exchange(0);
}

} // namespace

GpioBlock::GpioBlock(volatile std::uint32_t* registerPage, Violations& violationList)
    : registers(registerPage), violations(violationList)
{
    sync();
}

void GpioBlock::sync()
{
    takeSelects();
    takeLatches();
    registers[levelRegister] = (latch & outputs) | (inputs & ~outputs);
}

/// Skips unchanged registers, because it is called in every iteration of the program.
void GpioBlock::takeSelects()
{
    for (std::size_t i = 0; i < selects.size(); ++i) {
        const std::uint32_t word = registers[i];
        const std::uint32_t before = std::exchange(selects[i], word);
        for (int line = 0; line < linesPerSelect && word != before; ++line) {
            takeSelect(static_cast<int>(i) * linesPerSelect + line, (word >> (line * bitsPerSelect)) & selectMask);
        }
    }
}

void GpioBlock::takeSelect(int line, std::uint32_t select)
{
    if (line >= lineCount) {
        return;
    }
    const std::uint32_t mask = 1U << line;
    if (select == selectsOutput && (outputs & mask) == 0) {
        outputs |= mask;
        selectListener(line);
    } else if (select == selectsInput && (outputs & mask) != 0) {
        outputs &= ~mask;
    } else if (select != selectsOutput && select != selectsInput && !bit(reportedSelects, line)) {
        reportedSelects |= mask;
        violations.add("GPIO line " + std::to_string(line) + " was given the function select code " +
                       std::to_string(select));
    }
}

void GpioBlock::takeLatches()
{
    const std::uint32_t set = takeStore(registers[setRegister]);
    const std::uint32_t clear = takeStore(registers[clearRegister]);
    for (int line = 0; line < lineCount && (set | clear) != 0; ++line) {
        const bool isSet = bit(set, line);
        const bool isCleared = bit(clear, line);
        if (!isSet && !isCleared) {
            continue;
        }
        if (!isOutput(line)) {
            violations.add("GPIO line " + std::to_string(line) + " was driven while it was an input");
        }
        if (isSet && isCleared) {
            violations.add("GPIO line " + std::to_string(line) + " was set and cleared simultaneously");
        }
        const bool before = bit(latch, line);
        latch = withBit(latch, line, isSet);
        if (isOutput(line) && before != isSet) {
            outputListener(line, isSet);
        }
    }
}

void GpioBlock::setInput(int line, bool newLevel)
{
    inputs = withBit(inputs, line, newLevel);
    sync();
}

bool GpioBlock::isOutput(int line) const
{
    return bit(outputs, line);
}

bool GpioBlock::level(int line) const
{
    return bit(isOutput(line) ? latch : inputs, line);
}

} // namespace sim
