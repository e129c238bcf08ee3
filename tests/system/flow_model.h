// A model of the update flow as the user sees it.
#pragma once

#include "sim/models/screen.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

#include <cstdint>
#include <optional>
#include <string>

class FlowModel {
public:
    enum class Place { Waiting, Preparing, Menu, Dialog, Formatting, Installing, Done, Failed };

    FlowModel(std::string installedVersion, std::string firmwareVersion);

    // Events. `iteration` is the iteration in which the updater detects the event.

    void driveFound(std::uint64_t iteration);
    void turned(bool right);
    void clicked(std::uint64_t iteration);
    void progressPrinted(const std::string& progress);
    void scriptEnded(int status, std::uint64_t iteration);

    // The expected state.

    [[nodiscard]] Place place() const { return current; }
    [[nodiscard]] bool isScriptRunning() const;
    [[nodiscard]] bool isReset() const { return factoryReset; }
    /// The screen that the updater draws in `iteration`.
    [[nodiscard]] sim::Screen screenDrawnAt(std::uint64_t iteration) const;

private:
    [[nodiscard]] std::string question() const;
    void work(std::uint64_t iteration);
    void fail(int status, std::uint64_t iteration);
    [[nodiscard]] bool isRedrawnAfter(std::uint64_t iteration) const;
    void startWheel(std::uint64_t iteration) { wheelStart = iteration; }
    [[nodiscard]] std::optional<int> wheelFrameAt(std::uint64_t iteration) const;

    std::string oldVersion;
    std::string newVersion;
    Place current = Place::Waiting;
    Selection selection = Selection::None;
    bool factoryReset = false;
    std::string header;
    std::string text = texts::waiting;
    std::uint64_t driveFoundAt = 0;
    /// The iteration in which the wheel was set to its first frame; empty while no wheel turns.
    std::optional<std::uint64_t> wheelStart = 0;
    /// The frame that stays on the display if a script fails without a message and nothing is redrawn.
    std::optional<int> frozenWheel;
};
