// The measured screens drawn by the product, and the texts and coordinates that the baseline and pixman use.
#pragma once

#include "hw/frame.h"
#include "tests/support/system_calls.h"
#include "updater/screen_texts.h"
#include "updater/updater.h"

#include <cstdint>
#include <string>

/// Changes the protected state directly, because the update flow would add the test double's instructions to the count.
class MeasuredUpdater final : public Updater {
public:
    void markAllDirty();
    /// Advances the busy indicator by one frame. Marks only the root dirty.
    void turnWheel();
};

/// An updater that is driven to one of the screens by a simulated drive, scripts and input.
class ProductScreen {
public:
    /// `calls` must outlive the screen.
    explicit ProductScreen(SystemCalls& calls);

    /// Goes to the menu and selects the upper button.
    void goToMenu();
    /// Goes to the screen that is shown while the format script runs: title, progress message and busy indicator.
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
