// Decodes the lines of the trace.
#include "tests/board/bus.h"

#include "tests/board/pins.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace {

// BCM2711 registers.
constexpr std::uint32_t gpioBase = 0xFE200000;
constexpr std::uint32_t gpioSelects = 6;
constexpr std::uint32_t gpioSet = 0x1C;
constexpr std::uint32_t gpioClear = 0x28;
constexpr std::uint32_t gpioLevel = 0x34;
constexpr std::uint32_t gpioEnd = 0x100;
constexpr std::uint32_t spiControlAddress = 0xFE204000;
constexpr std::uint32_t spiFifoAddress = 0xFE204004;
constexpr std::uint32_t spiClockAddress = 0xFE204008;
constexpr std::uint32_t cardDataAddress = 0xFE300020;
constexpr std::uint32_t transferActive = 0x80;

/// The emulated core clock. The SPI clock is the core clock divided by the divider.
constexpr std::int64_t coreClockHz = 562'500'000;
/// The divider that the value 0 selects.
constexpr std::int64_t largestDivider = 65536;

/// The minimum time for which chip select is high between two recorded transfers.
constexpr sim::WireTime pauseBetweenTransfers = std::chrono::microseconds(1);

constexpr int buttonLine = 6;
constexpr int dataCommandLine = 7;
constexpr int chipSelectLine = 8;
constexpr int resetLine = 25;

constexpr std::size_t frameBytes = 10240;

/// The hexadecimal number (with 0x) that follows `name`; 0 if `line` does not contain `name`.
std::uint32_t numberAfter(std::string_view line, std::string_view name)
{
    std::uint32_t value = 0;
    const std::size_t at = line.find(name);
    if (at != std::string_view::npos) {
        const char* first = line.data() + at + name.size() + 2;
        std::from_chars(first, line.data() + line.size(), value, 16);
    }
    return value;
}

std::string hexByte(std::uint8_t value)
{
    std::array<char, 3> text{};
    std::snprintf(text.data(), text.size(), "%02X", value);
    return text.data();
}

bool bit(std::uint32_t word, int index)
{
    return ((word >> index) & 1U) != 0;
}

} // namespace

void Bus::take(std::string_view traceLine)
{
    constexpr std::string_view writeEvent = "memory_region_ops_write ";
    constexpr std::string_view readEvent = "memory_region_ops_read ";
    constexpr std::string_view i2cEvent = "i2c_";
    constexpr std::string_view fromOutside = "cpu -1 ";
    const std::string_view line = takeTime(traceLine);
    if (line.starts_with(i2cEvent)) {
        takeI2c(line.substr(i2cEvent.size()), line);
        return;
    }
    const bool isWrite = line.starts_with(writeEvent);
    if (!isWrite && !line.starts_with(readEvent)) {
        return;
    }
    const std::string_view rest = line.substr(isWrite ? writeEvent.size() : readEvent.size());
    const std::uint32_t address = numberAfter(rest, " addr ");
    if (rest.starts_with(fromOutside)) {
        takeTestWrite(address, numberAfter(rest, " value "));
        return;
    }
    isWrite ? store(address, numberAfter(rest, " value ")) : read(address);
}

/// Advances `time` to the time of the line, and returns the line without its time.
std::string_view Bus::takeTime(std::string_view line)
{
    const std::size_t at = line.find('@');
    const std::size_t point = line.find('.', at);
    const std::size_t colon = line.find(':', point);
    std::int64_t seconds = 0;
    std::int64_t microseconds = 0;
    if (colon == std::string_view::npos || std::from_chars(&line[at + 1], &line[point], seconds).ptr != &line[point] ||
        std::from_chars(&line[point + 1], &line[colon], microseconds).ptr != &line[colon]) {
        return line;
    }
    const sim::WireTime stamp = std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds);
    origin = origin.value_or(stamp);
    time = std::max(time, stamp - *origin);
    return line.substr(colon + 1);
}

void Bus::store(std::uint32_t address, std::uint32_t value)
{
    if (address == spiFifoAddress) {
        transfer.push_back(static_cast<std::uint8_t>(value));
    } else if (address == spiControlAddress) {
        controlSpi(value);
    } else if (address == spiClockAddress) {
        dividers.insert(value);
        divider = value;
    } else if (address == cardDataAddress) {
        bytesToCard += sizeof value;
    } else if (address == gpioBase + gpioSet || address == gpioBase + gpioClear) {
        drive(value, address == gpioBase + gpioSet);
    } else if (address >= gpioBase && address < gpioBase + 4 * gpioSelects) {
        select((address - gpioBase) / 4, value);
    } else if (address > gpioBase && address < gpioBase + gpioEnd) {
        log.push_back("GPIO register " + std::to_string(address - gpioBase));
    }
}

void Bus::read(std::uint32_t address)
{
    if (address == gpioBase + gpioLevel) {
        ++polls;
    }
}

void Bus::takeTestWrite(std::uint32_t address, std::uint32_t value)
{
    if (address == gpioBase + gpioSet || address == gpioBase + gpioClear) {
        if (bit(value, buttonLine)) {
            recordChange(sim::Line::Button, address == gpioBase + gpioSet);
        }
        ++writes;
        pollsAtTestWrite = polls;
    }
}

void Bus::select(std::size_t index, std::uint32_t value)
{
    constexpr std::size_t linesPerRegister = 10;
    for (std::size_t i = 0; i < linesPerRegister; ++i) {
        const std::size_t before = (selects[index] >> (3 * i)) & 7U;
        const std::size_t now = (value >> (3 * i)) & 7U;
        if (now != before) {
            log.push_back("line " + std::to_string(index * linesPerRegister + i) + " ");
            log.back().append(Pins::functions[now]);
            recordOutput(static_cast<int>(index * linesPerRegister + i));
        }
    }
    selects[index] = value;
}

void Bus::drive(std::uint32_t lines, bool level)
{
    for (int line = 0; line < 32; ++line) {
        const bool isNew = !bit(driven, line) || bit(levels, line) != level;
        if (!bit(lines, line) || line == chipSelectLine || !isNew) {
            continue;
        }
        const std::uint32_t mask = 1U << line;
        driven |= mask;
        levels = level ? levels | mask : levels & ~mask;
        recordOutput(line);
        if (line == dataCommandLine) {
            display.setDataCommandLine(level);
            continue; // not logged: each transfer's event contains the level, as "command" or "data"
        }
        log.push_back("line " + std::to_string(line) + (level ? " high" : " low"));
        if (line == resetLine) {
            display.setResetLine(level);
        }
    }
}

void Bus::controlSpi(std::uint32_t value)
{
    const bool wasActive = (spiControl & transferActive) != 0;
    const bool isActive = (value & transferActive) != 0;
    spiControl = value;
    if (isActive && !wasActive) {
        modes.insert(static_cast<int>((value >> 2) & 3U));
        transferStart = std::max(time, busFree);
        display.beginTransfer();
    } else if (wasActive && !isActive) {
        endTransfer();
    }
}

void Bus::endTransfer()
{
    const bool isData = bit(levels, dataCommandLine);
    const std::uint64_t framesBefore = display.frameCount();
    display.endTransfer(transfer);
    recordTransfer();
    if (transfer.size() == 1) {
        log.push_back((isData ? "data " : "command ") + hexByte(transfer.front()));
    } else if (isData && transfer.size() == frameBytes) {
        log.emplace_back("frame");
    } else {
        log.push_back((isData ? "data, " : "command, ") + std::to_string(transfer.size()) + " bytes");
    }
    if (display.frameCount() != framesBefore && display.isLit()) {
        shown.push_back(display.screen());
    }
    transfer.clear();
}

void Bus::takeI2c(std::string_view event, std::string_view line)
{
    if (event.starts_with("send ")) {
        i2cBytes.push_back(static_cast<std::uint8_t>(numberAfter(line, " data:")));
    } else if (event.starts_with("event start")) {
        i2cBytes.clear();
    } else if (event.starts_with("event finish") && !i2cBytes.empty()) {
        const auto address = static_cast<std::uint8_t>(numberAfter(line, "(addr:"));
        std::string text = "i2c " + hexByte(address) + ":";
        for (const std::uint8_t byte : i2cBytes) {
            text += " " + hexByte(byte);
        }
        log.push_back(text);
        if (address == sim::LedController::address) {
            leds.write(i2cBytes);
        }
        recordI2c(address);
        i2cBytes.clear();
    }
}

void Bus::recordOutput(int line)
{
    if (line == dataCommandLine || line == resetLine) {
        recordChange(line == resetLine ? sim::Line::Reset : sim::Line::DataCommand, bit(levels, line));
    }
}

/// The times of the bytes of a transfer are known only at its end, so changes during the transfer are recorded then.
void Bus::recordChange(sim::Line line, bool level)
{
    const sim::Edge edge = {time, line, level ? sim::Level::High : sim::Level::Low};
    if ((spiControl & transferActive) != 0) {
        changesDuringTransfer.push_back(edge);
    } else if (wires != nullptr) {
        wires->change(edge.time, edge.line, edge.level);
    }
}

void Bus::recordTransfer()
{
    constexpr std::int64_t bitsPerByte = 8;
    const auto bits = static_cast<std::int64_t>(transfer.size()) * bitsPerByte;
    const std::int64_t cycles = divider == 0 ? largestDivider : divider;
    const auto duration = sim::WireTime(std::chrono::nanoseconds(std::chrono::seconds(bits * cycles)) / coreClockHz);
    const sim::WireTime end = transferStart + duration;
    if (wires != nullptr) {
        wires->beginSpi(transferStart, duration, transfer);
        for (const sim::Edge& edge : changesDuringTransfer) {
            wires->change(std::clamp(edge.time, transferStart, end), edge.line, edge.level);
        }
        wires->endSpi(end);
    }
    changesDuringTransfer.clear();
    time = std::max(time, end);
    busFree = end + pauseBetweenTransfers;
}

void Bus::recordI2c(std::uint8_t address)
{
    const sim::I2cTransfer written = {.address = address, .bytes = i2cBytes};
    if (wires != nullptr) {
        wires->beginI2c(time, written);
    }
    time += written.duration();
    transferStart = std::max(transferStart, time);
}
