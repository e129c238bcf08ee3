// The screens that are measured, as the product shows them, and what a reference has to know to draw the same.
#pragma once

#include "hw/frame.h"
#include "updater/updater.h"

#include <cstdint>
#include <stdexcept>
#include <string>

/// The updater, brought to a screen by way of its own flow.
class ProductScreen {
public:
    ProductScreen();

    /// The menu, with the upper button selected.
    void goToMenu();
    /// The message of the running format script: title, message and wheel.
    void goToMessage();

    void markEverythingDirty();
    /// Lets the wheel turn by one frame, which leaves nothing but the root dirty.
    void turnWheel();
    /// Draws what is dirty, and packs the screen.
    const Frame& render();

    Updater& widget() { return updater; }

private:
    Updater updater;
    std::uint64_t iteration = 0;
    Frame frame{};
};

// The same, told to those who draw it by other means.

inline const std::string titleText = "Update Firmware";
inline const std::string messageText = "Updating...\n\nDo not unplug the power.\n\nThis may take a few minutes.\n\n"
                                       "State: Formatting the internal memory, 42 %";

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
    {"img/button_factory_selected.png", "Factory Reset", 20, 0},
    {"img/button_update.png", "Update Firmware", 39, inkPixel},
};
inline constexpr std::int32_t labelX = 26;
inline constexpr std::int32_t labelY = 6;

/// Throws when a reference shows something else than the product.
inline void requireSameFrame(const std::string& reference, const Frame& actual, const Frame& expected)
{
    if (actual != expected) {
        throw std::runtime_error(reference + " draws another screen than the product");
    }
}
