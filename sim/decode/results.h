// Collects the results of decoding: writes the log and the screens, and keeps what the report shows.
#pragma once

#include "sim/decode/decode_listener.h"
#include "sim/decode/output_folder.h"
#include "sim/session/reference_screens.h"

#include <cstdint>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace sim {

/// The memory use is constant, except for a few bytes for each distinct screen.
class Results : public DecodeListener {
public:
    struct Entry {
        CaptureTime time;
        std::string text;
    };
    /// Counts all entries and keeps the first `mostKept`.
    struct Entries {
        static constexpr std::size_t mostKept = 10;
        std::uint64_t count = 0;
        std::vector<Entry> first;
    };

    /// Throws std::runtime_error if the log cannot be created.
    Results(const OutputFolder& outputFolder, const ReferenceScreens& referenceScreens);

    void event(CaptureTime time, const std::string& text) override;
    void note(CaptureTime time, const std::string& text) override;
    void violation(CaptureTime time, const std::string& text) override;
    /// Saves the screen unless an equal one is already saved.
    void screen(CaptureTime time, const Screen& screen) override;
    /// Completes the log. Throws std::runtime_error if it could not be written.
    void finish();

    [[nodiscard]] const Entries& notes() const { return allNotes; }
    [[nodiscard]] const Entries& violations() const { return allViolations; }
    /// When each golden screen first appeared, in the order of the capture.
    [[nodiscard]] const std::vector<Entry>& knownScreens() const { return known; }
    [[nodiscard]] std::uint64_t distinctScreens() const { return saved.size(); }
    /// The last screen. The text is its name, or empty if it is not a golden screen.
    [[nodiscard]] const std::optional<Entry>& lastScreen() const { return last; }

private:
    void write(CaptureTime time, const std::string& text);
    void writeWaiting();

    const OutputFolder& folder;
    const ReferenceScreens& references;
    std::ofstream log;
    /// The latest line. `write` writes it when a different line follows; `finish` writes the last line.
    std::optional<Entry> waiting;
    std::uint64_t repetitions = 0;
    CaptureTime lastRepetition{};

    Entries allNotes;
    Entries allViolations;
    std::vector<Entry> known;
    std::unordered_set<std::uint64_t> saved;
    std::optional<Entry> last;
};

} // namespace sim
