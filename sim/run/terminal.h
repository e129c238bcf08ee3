// The terminal as a screen to draw on, full of colours, and its keys.
#pragma once

#include "sim/run/text_picture.h"

#include <chrono>
#include <memory>
#include <string>

namespace sim {

enum class Command {
    None,
    TurnLeft,
    TurnRight,
    Click,
    Hold,
    PlugDrive,
    PullDrive,
    Screenshot,
    Redraw,
    Quit,
};

enum class Ink {
    Plain,
    /// As a liquid crystal display: black on white.
    Display,
    Warning,
};

/// Full-screen for as long as it lives. What is put outside the window is not drawn; all is drawn at the next flush.
class Terminal {
public:
    /// Throws std::runtime_error when the terminal is not able to.
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /// Waits for a key, a signal or a change of the window's size, at most that long. Throws std::runtime_error when
    /// the terminal is gone.
    void awaitInput(std::chrono::milliseconds longest);
    /// Never waits. Redraw comes after a change of the window's size.
    [[nodiscard]] Command readCommand();

    [[nodiscard]] int columns() const;
    [[nodiscard]] int rows() const;
    /// Whether half blocks can be told apart.
    [[nodiscard]] bool hasGreys() const { return isColourful; }

    void clear();
    /// What was in the row is gone.
    void putRow(int row, const std::wstring& text, Ink ink);
    void put(int row, int column, HalfBlock block);
    /// Colour components from 0 to 255.
    void putLamp(int row, int column, wchar_t shape, int red, int green, int blue);
    void flush();

private:
    struct Curses;
    std::unique_ptr<Curses> curses;
    bool isColourful = false;
};

} // namespace sim
