// An ST75256 display controller, wired to the device's panel of 256 by 160 pixels (ST75256 data sheet).
#pragma once

#include "sim/models/screen.h"
#include "sim/models/violations.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sim {

/// Decodes the bytes of the four-line serial interface into display memory and settings. Reports every violation of the
/// protocol, then continues as the hardware would.
class St75256 {
public:
    explicit St75256(Violations& violationList);

    // The input lines.

    /// Low holds the controller in reset.
    void setResetLine(bool level);
    /// Low for commands, high for data. Must not change during a transfer.
    void setDataCommandLine(bool level);
    void beginTransfer();
    void endTransfer(std::span<const std::uint8_t> bytes);

    // The result.

    /// The picture on the panel; blank (all 0) unless `isLit`.
    [[nodiscard]] Screen screen() const;
    /// Whether the controller is awake, powered, switched on and in four-grey mode.
    [[nodiscard]] bool isLit() const;
    [[nodiscard]] const DisplayRegisters& registers() const { return settings.display; }
    /// The number of complete frames, that is, of memory writes that filled the address window.
    [[nodiscard]] std::uint64_t frameCount() const { return frames; }

private:
    struct Command;
    static const Command* findCommand(std::uint8_t code, int page);

    struct Range {
        std::uint8_t first = 0;
        std::uint8_t last = 0;
    };

    /// The state that a reset restores to its defaults.
    struct Settings {
        int page = 1;
        DisplayRegisters display;
        bool lsbOnTop = false;
        bool isFourGrey = false;
        bool isPowered = false;
        bool isInternalPower = false;
        Range columns;
        Range pages;
    };

    void takeCommand(std::uint8_t code);
    void takeData(std::uint8_t byte);
    void takeParameter(std::uint8_t byte);
    void takePixels(std::span<const std::uint8_t> bytes);
    void endWriting();
    void execute();
    void executeOnPage1(std::uint8_t code);
    [[nodiscard]] std::size_t windowSize() const;
    [[nodiscard]] int lastPage() const;

    /// A page has four rows; a byte holds four pixels of one column.
    static constexpr int columnCount = screenWidth;
    static constexpr int rowsPerPage = 4;
    static constexpr int pageCount = screenHeight / rowsPerPage;

    Violations& violations;
    bool resetLine = true;
    bool wasReset = false;
    bool dataCommandLine = false;
    int transfersUnderWay = 0;

    Settings settings;
    const Command* current = nullptr;
    std::vector<std::uint8_t> parameters;
    bool isWriting = false;
    std::size_t written = 0;
    std::uint64_t frames = 0;
    std::array<std::uint8_t, std::size_t{columnCount} * pageCount> memory{};
};

} // namespace sim
