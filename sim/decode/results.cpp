// Writes the log and the PNG files.
#include "sim/decode/results.h"

#include "sim/decode/time_text.h"
#include "sim/device/png_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string_view>

namespace sim {

namespace {

std::uint64_t hashOf(const Screen& screen)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(screen.data()), screen.size()});
}

/// Times below 100,000 s have a fixed width, so sorting the files by name also sorts them by time.
std::string screenFile(CaptureTime time, const std::string& name)
{
    const std::int64_t microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    constexpr std::int64_t perSecond = 1'000'000;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%05lld.%06lld", static_cast<long long>(microseconds / perSecond),
                  static_cast<long long>(microseconds % perSecond));
    return text.data() + (name.empty() ? "" : "-" + name) + ".png";
}

void add(Results::Entries& entries, CaptureTime time, const std::string& text)
{
    if (entries.first.size() < Results::Entries::mostKept) {
        entries.first.push_back({time, text});
    }
    ++entries.count;
}

} // namespace

Results::Results(const OutputFolder& outputFolder, const ReferenceScreens& referenceScreens)
    : folder(outputFolder), references(referenceScreens), log(folder.file("log.txt"))
{
    if (!log) {
        throw std::runtime_error("cannot write " + folder.file("log.txt").string());
    }
}

void Results::event(CaptureTime time, const std::string& text)
{
    write(time, text);
}

void Results::note(CaptureTime time, const std::string& text)
{
    add(allNotes, time, text);
    write(time, "NOTE: " + text);
}

void Results::violation(CaptureTime time, const std::string& text)
{
    add(allViolations, time, text);
    write(time, "VIOLATION: " + text);
}

void Results::screen(CaptureTime time, const Screen& screen)
{
    const std::string name = references.nameOf(screen);
    last = {time, name};
    const bool isNew = saved.insert(hashOf(screen)).second;
    const std::string file = screenFile(time, name);
    write(time, "screen" + (name.empty() ? "" : " " + name) + (isNew ? ": " + file : ""));
    if (!isNew) {
        return;
    }
    writePng(folder.file(file), pictureOf(screen));
    if (!name.empty()) {
        known.push_back({time, name});
    }
}

/// Joins successive lines with the same text.
void Results::write(CaptureTime time, const std::string& text)
{
    if (waiting && waiting->text == text) {
        ++repetitions;
        lastRepetition = time;
        return;
    }
    writeWaiting();
    waiting = {time, text};
}

void Results::writeWaiting()
{
    if (!waiting) {
        return;
    }
    constexpr std::size_t width = 18;
    const std::string time = timeText(waiting->time);
    log << std::string(width - std::min(width, time.size()), ' ') << time << "  " << waiting->text;
    if (repetitions > 0) {
        log << " (" << repetitions + 1 << " times until " << timeText(lastRepetition) << ")";
    }
    log << '\n';
    waiting.reset();
    repetitions = 0;
}

void Results::finish()
{
    writeWaiting();
    if (!log.flush()) {
        throw std::runtime_error("cannot write " + folder.file("log.txt").string());
    }
}

} // namespace sim
