// Draws on a terminal, in colour if possible, and reads its keys.
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
    InsertDrive,
    EjectDrive,
    Screenshot,
    Redraw,
    Quit,
};

enum class Ink {
    Plain,
    /// Black on white; the same as `Plain` if the terminal has too few colours.
    Display,
    Warning,
};

/// Uses the full screen from construction to destruction. Drawing is clipped to the window and appears at the next
/// `flush`.
class Terminal {
public:
    /// Throws std::runtime_error if the terminal's type is unknown or the terminal cannot position its cursor.
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /// Waits at most `timeout` for a key, a signal or a change of the window's size. Throws std::runtime_error if the
    /// terminal has been closed.
    void awaitInput(std::chrono::milliseconds timeout);
    /// Does not block. Returns Redraw after a change of the window's size, and None if no bound key was pressed.
    [[nodiscard]] Command readCommand();

    [[nodiscard]] int columns() const;
    [[nodiscard]] int rows() const;
    /// Whether the terminal has enough colours for half blocks in four greys.
    [[nodiscard]] bool hasGreys() const { return isColourful; }

    void clear();
    /// Replaces the whole row.
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
