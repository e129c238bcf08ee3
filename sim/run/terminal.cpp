// Implements the terminal with ncurses.
#include "sim/run/terminal.h"

#define NCURSES_NOMACROS
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstring>
#include <curses.h>
#include <langinfo.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace sim {

namespace {

struct Binding {
    wint_t key;
    Command command;
};

constexpr Binding functionKeys[] = {
    {KEY_LEFT, Command::TurnLeft},
    {KEY_RIGHT, Command::TurnRight},
    {KEY_ENTER, Command::Click},
    {KEY_RESIZE, Command::Redraw},
};

constexpr Binding characterKeys[] = {
    {L'h', Command::TurnLeft},   {L'a', Command::TurnLeft},   {L'l', Command::TurnRight},
    {L'd', Command::TurnRight},  {L' ', Command::Click},      {L'\n', Command::Click},
    {L'\r', Command::Click},     {L'p', Command::Hold},       {L'i', Command::InsertDrive},
    {L'e', Command::EjectDrive}, {L's', Command::Screenshot}, {L'L' & 0x1F, Command::Redraw}, // Ctrl-L
    {L'q', Command::Quit},
};

template <std::size_t count>
Command boundTo(wint_t key, const Binding (&bindings)[count])
{
    for (const Binding& binding : bindings) {
        if (binding.key == key) {
            return binding.command;
        }
    }
    return Command::None;
}

/// The colours of xterm's palette that are closest to the four greys of the display.
constexpr std::array<short, 4> greys = {231, 248, 240, 16};

constexpr short firstGreyPair = 1;
constexpr short displayPair = 20;
constexpr short warningPair = 21;
/// The first of the pairs for the 216 colours of the palette's colour cube.
constexpr short firstLampPair = 22;
constexpr short firstCubeColour = 16;
constexpr short cubeColours = 216;

bool canAddressCursor()
{
    const char* capability = tigetstr("cup");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the error value of terminfo
    return capability != nullptr && capability != reinterpret_cast<const char*>(-1);
}

SCREEN* openScreen()
{
    SCREEN* screen = newterm(nullptr, stdout, stdin);
    if (screen != nullptr && !canAddressCursor()) {
        endwin();
        delscreen(screen);
        screen = nullptr;
    }
    if (screen == nullptr) {
        throw std::runtime_error("this terminal cannot show a full screen; use --play");
    }
    return screen;
}

/// Uses UTF-8 even if the locale does not, because nearly all terminals support it.
void chooseLocale()
{
    std::setlocale(LC_ALL, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

void makePairs()
{
    for (short top = 0; top < 4; ++top) {
        for (short bottom = 0; bottom < 4; ++bottom) {
            init_pair(static_cast<short>(firstGreyPair + top * 4 + bottom), greys[static_cast<std::size_t>(top)],
                      greys[static_cast<std::size_t>(bottom)]);
        }
    }
    init_pair(displayPair, greys[3], greys[0]);
    init_pair(warningPair, greys[0], 160); // white on red
    for (short colour = 0; colour < cubeColours; ++colour) {
        init_pair(static_cast<short>(firstLampPair + colour), static_cast<short>(firstCubeColour + colour), greys[3]);
    }
}

} // namespace

struct Terminal::Curses {
    explicit Curses(SCREEN* openedScreen) : screen(openedScreen) {}

    SCREEN* screen;
};

Terminal::Terminal()
{
    chooseLocale();
    curses = std::make_unique<Curses>(openScreen());
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
    constexpr int escapeMilliseconds = 25;
    set_escdelay(escapeMilliseconds);
    start_color();
    use_default_colors();
    isColourful = COLORS >= 256 && COLOR_PAIRS >= 256;
    if (isColourful) {
        makePairs();
    }
}

Terminal::~Terminal()
{
    endwin();
    delscreen(curses->screen);
}

void Terminal::awaitInput(std::chrono::milliseconds timeout)
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, static_cast<int>(timeout.count()));
    if (ready > 0 && (input.revents & POLLIN) == 0) {
        throw std::runtime_error("the terminal was closed");
    }
}

Command Terminal::readCommand()
{
    for (;;) {
        wint_t key = 0;
        const int kind = get_wch(&key);
        if (kind == ERR) {
            return Command::None;
        }
        const Command command = kind == KEY_CODE_YES ? boundTo(key, functionKeys) : boundTo(key, characterKeys);
        if (command != Command::None) {
            return command;
        }
    }
}

int Terminal::columns() const
{
    return getmaxx(stdscr);
}

int Terminal::rows() const
{
    return getmaxy(stdscr);
}

void Terminal::clear()
{
    ::clear();
}

void Terminal::putRow(int row, const std::wstring& text, Ink ink)
{
    attr_t attributes = ink == Ink::Warning ? WA_BOLD : WA_NORMAL;
    short pair = 0;
    if (isColourful && ink != Ink::Plain) {
        pair = ink == Ink::Display ? displayPair : warningPair;
    } else if (ink == Ink::Warning) {
        attributes |= WA_REVERSE;
    }
    ::move(row, 0);
    clrtoeol();
    attr_set(attributes, pair, nullptr);
    mvaddnwstr(row, 0, text.c_str(), columns());
    attr_set(WA_NORMAL, 0, nullptr);
}

void Terminal::put(int row, int column, HalfBlock block)
{
    cchar_t cell;
    setcchar(&cell, L"\u2580", WA_NORMAL, static_cast<short>(firstGreyPair + block.top * 4 + block.bottom), nullptr);
    mvadd_wch(row, column, &cell);
}

void Terminal::putLamp(int row, int column, wchar_t shape, int red, int green, int blue)
{
    constexpr int steps = 5; // the highest level of a component in the cube
    constexpr int brightest = 255;
    const auto stepOf = [](int value) { return (value * steps + brightest / 2) / brightest; };
    const int colour = (stepOf(red) * (steps + 1) + stepOf(green)) * (steps + 1) + stepOf(blue);
    const wchar_t text[] = {shape, L'\0'};
    cchar_t cell;
    setcchar(&cell, text, WA_NORMAL, static_cast<short>(isColourful ? firstLampPair + colour : 0), nullptr);
    mvadd_wch(row, column, &cell);
}

void Terminal::flush()
{
    refresh();
}

} // namespace sim
