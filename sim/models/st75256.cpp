// Decodes commands, stores pixels in the display memory, and reads the screen back from it.
#include "sim/models/st75256.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace sim {

namespace {

constexpr int onBothPages = 0;

enum Code : std::uint8_t {
    extension1 = 0x30,
    extension2 = 0x31,
    powerControl = 0x20,
    columnAddress = 0x15,
    pageAddress = 0x75,
    writeMemory = 0x5C,
    msbOnTop = 0x08,
    lsbOnTop = 0x0C,
    sleepOut = 0x94,
    sleepIn = 0x95,
    normalDisplay = 0xA6,
    inverseDisplay = 0xA7,
    displayOff = 0xAE,
    displayOn = 0xAF,
    operatingVoltage = 0x81,
    scanDirection = 0xBC,
    displayMode = 0xF0,
    externalPower = 0x41,
    internalPower = 0x40,
};

constexpr std::uint8_t allPowerOn = 0x0B;
constexpr std::uint8_t fourGreyMode = 0x11;

std::string hex(std::uint8_t value)
{
    std::array<char, 5> text{};
    std::snprintf(text.data(), text.size(), "0x%02X", value);
    return text.data();
}

} // namespace

struct St75256::Command {
    std::uint8_t code;
    int page;
    std::size_t parameterCount;
};

const St75256::Command* St75256::findCommand(std::uint8_t code, int page)
{
    static constexpr Command commands[] = {
        {extension1, onBothPages, 0},
        {extension2, onBothPages, 0},
        {msbOnTop, 1, 0},
        {lsbOnTop, 1, 0},
        {columnAddress, 1, 2},
        {pageAddress, 1, 2},
        {powerControl, 1, 1},
        {writeMemory, 1, 0},
        {0x6E, 1, 0}, // enable master
        {0x6F, 1, 0}, // disable master
        {operatingVoltage, 1, 2},
        {sleepOut, 1, 0},
        {sleepIn, 1, 0},
        {normalDisplay, 1, 0},
        {inverseDisplay, 1, 0},
        {displayOff, 1, 0},
        {displayOn, 1, 0},
        {scanDirection, 1, 1},
        {0xCA, 1, 3}, // display control
        {displayMode, 1, 1},
        {0x32, 2, 3}, // analog circuit
        {internalPower, 2, 0},
        {externalPower, 2, 0},
        {0x51, 2, 1}, // booster level
        {0xD7, 2, 1}, // auto-read control
        {0xE0, 2, 1}, // OTP control
        {0xE1, 2, 0}, // OTP control out
        {0xE3, 2, 0}, // OTP up-load
        {0xF0, 2, 4}, // frame rate
        {0xF2, 2, 3}, // temperature range
    };
    const auto* found = std::find_if(std::begin(commands), std::end(commands), [&](const Command& command) {
        return command.code == code && (command.page == page || command.page == onBothPages);
    });
    return found == std::end(commands) ? nullptr : found;
}

St75256::St75256(Violations& violationList) : violations(violationList)
{}

void St75256::setResetLine(bool level)
{
    if (!level) {
        settings = Settings();
        current = nullptr;
        isWriting = false;
        wasReset = true;
    }
    resetLine = level;
}

void St75256::setDataCommandLine(bool level)
{
    if (level != dataCommandLine && transfersUnderWay > 0) {
        violations.add("the data/command line changed during a transfer");
    }
    dataCommandLine = level;
}

void St75256::beginTransfer()
{
    if (transfersUnderWay > 0) {
        violations.add("a transfer began while another was under way");
    }
    ++transfersUnderWay;
}

void St75256::endTransfer(std::span<const std::uint8_t> bytes)
{
    --transfersUnderWay;
    if (!resetLine || !wasReset) {
        violations.add(resetLine ? "the controller was used before its reset"
                                 : "the controller was used during its reset");
        return;
    }
    if (dataCommandLine && isWriting) {
        return takePixels(bytes);
    }
    for (const std::uint8_t byte : bytes) {
        dataCommandLine ? takeData(byte) : takeCommand(byte);
    }
}

void St75256::takeCommand(std::uint8_t code)
{
    if (current != nullptr && parameters.size() < current->parameterCount) {
        violations.add("command " + hex(current->code) + " got " + std::to_string(parameters.size()) + " of " +
                       std::to_string(current->parameterCount) + " data bytes");
    }
    endWriting();
    parameters.clear();
    current = findCommand(code, settings.page);
    if (current == nullptr) {
        const bool onOther = findCommand(code, 3 - settings.page) != nullptr;
        violations.add((onOther ? "command on the wrong page: " : "unknown command: ") + hex(code) + " on page " +
                       std::to_string(settings.page));
    } else if (current->parameterCount == 0) {
        execute();
    }
}

void St75256::takeData(std::uint8_t byte)
{
    if (current != nullptr && parameters.size() < current->parameterCount) {
        takeParameter(byte);
    } else {
        violations.add("an unexpected data byte: " + hex(byte));
    }
}

void St75256::takeParameter(std::uint8_t byte)
{
    parameters.push_back(byte);
    if (parameters.size() == current->parameterCount) {
        execute();
    }
}

/// Fills the address window page by page, and each page from the first column to the last.
void St75256::takePixels(std::span<const std::uint8_t> bytes)
{
    const std::size_t size = windowSize();
    const std::size_t columns = settings.columns.last - settings.columns.first + std::size_t{1};
    if (written <= size && bytes.size() > size - written) {
        violations.add("a frame is longer than its window of " + std::to_string(size) + " bytes");
    }
    const bool wasComplete = written >= size;
    while (!bytes.empty() && written < size) {
        const std::size_t page = settings.pages.first + written / columns;
        const std::size_t column = written % columns;
        const std::size_t count = std::min(bytes.size(), columns - column);
        std::copy_n(bytes.begin(), count, &memory[page * columnCount + settings.columns.first + column]);
        bytes = bytes.subspan(count);
        written += count;
    }
    frames += !wasComplete && written >= size ? 1 : 0;
    written += bytes.size();
}

void St75256::endWriting()
{
    if (isWriting && written < windowSize()) {
        violations.add("a frame is short: " + std::to_string(written) + " of " + std::to_string(windowSize()) +
                       " bytes");
    }
    isWriting = false;
}

/// The last page of the window that has memory: the window may include pages below the panel, which have none.
int St75256::lastPage() const
{
    return std::min<int>(settings.pages.last, pageCount - 1);
}

std::size_t St75256::windowSize() const
{
    const int columns = settings.columns.last - settings.columns.first + 1;
    const int pages = lastPage() - settings.pages.first + 1;
    return static_cast<std::size_t>(std::max(columns, 0)) * static_cast<std::size_t>(std::max(pages, 0));
}

void St75256::execute()
{
    const std::uint8_t code = current->code;
    if (code == extension1 || code == extension2) {
        settings.page = code == extension1 ? 1 : 2;
    } else if (settings.page == 1) {
        executeOnPage1(code);
    } else if (code == internalPower || code == externalPower) {
        settings.isInternalPower = code == internalPower;
    }
}

void St75256::executeOnPage1(std::uint8_t code)
{
    switch (code) {
    case msbOnTop:
    case lsbOnTop:
        settings.lsbOnTop = code == lsbOnTop;
        break;
    case columnAddress:
        settings.columns = {parameters[0], parameters[1]};
        break;
    case pageAddress:
        settings.pages = {parameters[0], parameters[1]};
        break;
    case powerControl:
        settings.isPowered = parameters[0] == allPowerOn;
        break;
    case writeMemory:
        isWriting = true;
        written = 0;
        break;
    case sleepOut:
    case sleepIn:
        settings.display.sleeps = code == sleepIn;
        break;
    case normalDisplay:
    case inverseDisplay:
        settings.display.isInverse = code == inverseDisplay;
        break;
    case displayOff:
    case displayOn:
        settings.display.isOn = code == displayOn;
        break;
    case operatingVoltage: // the lower six bits, then the upper three
        settings.display.contrast = (parameters[0] & 0x3F) | (parameters[1] & 0x07) << 6;
        break;
    case displayMode:
        settings.isFourGrey = parameters[0] == fourGreyMode;
        break;
    case scanDirection:
        if (parameters[0] != 0) {
            violations.add("an unsupported scan direction: " + hex(parameters[0]));
        }
        break;
    default:
        break; // a setting without an effect on the screen
    }
}

bool St75256::isLit() const
{
    return resetLine && wasReset && !settings.display.sleeps && settings.display.isOn && settings.isPowered &&
           settings.isInternalPower && settings.isFourGrey;
}

Screen St75256::screen() const
{
    Screen result{};
    if (!isLit()) {
        return result;
    }
    const unsigned inversion = settings.display.isInverse ? 3 : 0;
    for (std::size_t y = 0; y < screenHeight; ++y) {
        const std::size_t row = y % rowsPerPage;
        const std::size_t shift = 2 * (settings.lsbOnTop ? row : rowsPerPage - 1 - row);
        const std::uint8_t* const page = &memory[y / rowsPerPage * columnCount];
        std::transform(page, page + screenWidth, &result[y * screenWidth],
                       [&](std::uint8_t byte) { return static_cast<std::uint8_t>((byte >> shift & 3U) ^ inversion); });
    }
    return result;
}

} // namespace sim
