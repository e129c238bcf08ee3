// What the owner should experience, as plainly as it can be said: no widgets, no scripts, no bytes.
#pragma once

#include "sim/models/screen.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

#include <cstdint>
#include <optional>
#include <string>

/// Follows the whole flow. Each operation is something that happens to the device, and when: the iteration in which the
/// updater comes to know of it.
class FlowModel {
public:
    enum class Place { Waiting, Preparing, Menu, Dialog, Formatting, Installing, Done, Failed };

    FlowModel(std::string installedVersion, std::string firmwareVersion);

    void driveFound(std::uint64_t iteration);
    void turned(bool right);
    void clicked(std::uint64_t iteration);
    /// A line of the running script.
    void told(const std::string& progress);
    void scriptEnded(int status, std::uint64_t iteration);

    [[nodiscard]] Place place() const { return current; }
    [[nodiscard]] bool isScriptRunning() const;
    [[nodiscard]] bool isReset() const { return factoryReset; }
    /// What the display shows when the updater draws in that iteration.
    [[nodiscard]] sim::Screen screenDrawnAt(std::uint64_t iteration) const;

private:
    [[nodiscard]] std::string question() const;
    void work(std::uint64_t iteration);
    void fail(int status, std::uint64_t iteration);
    [[nodiscard]] bool isDrawnAnew(std::uint64_t iteration) const;
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
    /// When the wheel began to turn from its first frame, if it turns.
    std::optional<std::uint64_t> wheelStart = 0;
    /// The frame at which it stands although it should be gone, after a failure that changed nothing else.
    std::optional<int> frozenWheel;
};
