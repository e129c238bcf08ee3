// The measured screens, as the product draws them, and what a reference needs to draw the same.
#pragma once

#include "hw/frame.h"
#include "tests/support/system_calls.h"
#include "updater/screen_texts.h"
#include "updater/updater.h"

#include <cstdint>
#include <string>

/// Gives access to the protected state, because the steps of the flow would count calls of the test double.
class MeasuredUpdater final : public Updater {
public:
    void markAllDirty();
    /// Moves the busy indicator by one frame; only the root is dirty then.
    void turnWheel();
};

/// An updater that a simulated drive, scripts and input bring to a screen.
class ProductScreen {
public:
    /// `calls` must outlive the screen.
    explicit ProductScreen(SystemCalls& calls);

    /// The menu, with the upper button selected.
    void goToMenu();
    /// The format script is running: title, progress message and busy indicator.
    void goToMessage();

    /// Draws the dirty widgets and packs the screen.
    const Frame& render();

    MeasuredUpdater& widget() { return updater; }

private:
    SystemCalls& systemCalls;
    MeasuredUpdater updater;
    Frame frame{};
};

inline const std::string progressText = "Formatting the internal memory, 42 %";
inline const std::string messageText = texts::updatingHeader + progressText;

inline constexpr std::int32_t titleX = 2;
inline constexpr std::int32_t titleY = 2;
inline constexpr std::int32_t titleWidth = 252;
inline constexpr std::int32_t titleBandHeight = 20;
inline constexpr std::int32_t messageY = 24;
inline constexpr std::int32_t wheelX = 103;
inline constexpr std::int32_t wheelY = 104;

struct MenuButton {
    std::string image;
    std::string label;
    std::int32_t y;
    Pixel labelColour;
};
inline const MenuButton menuButtons[] = {
    {"img/button_factory_selected.png", texts::factoryResetButton, 20, 0},
    {"img/button_update.png", texts::updateButton, 39, inkPixel},
};
inline constexpr std::int32_t labelX = 26;
inline constexpr std::int32_t labelY = 6;
