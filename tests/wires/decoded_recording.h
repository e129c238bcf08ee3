// A recording of the wires, decoded as a whole.
#pragma once

#include "sim/decode/decoder.h"
#include "sim/decode/vcd_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

/// A screen that differs from the previous one.
struct DecodedScreen {
    sim::CaptureTime time;
    sim::Screen screen;
};

/// Adds a screen unless it is blank or equal to the last screen. Blank screens are omitted because the simulator's
/// screen is blank while the display is off, but the decoder then reports no screen.
inline void addDistinct(std::vector<DecodedScreen>& screens, sim::CaptureTime time, const sim::Screen& screen)
{
    if (screen != sim::Screen{} && (screens.empty() || screens.back().screen != screen)) {
        screens.push_back({time, screen});
    }
}

class DecodedRecording : private sim::DecodeListener {
public:
    /// Reads the file, which may be a pipe, to its end.
    explicit DecodedRecording(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        sim::VcdReader reader(
            [&](std::span<char> buffer) {
                file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
                return static_cast<std::size_t>(file.gcount());
            },
            path.string());
        for (std::size_t i = 0; i < sim::lineCount; ++i) {
            reader.connect(reader.wires().at(i), static_cast<sim::Line>(i));
        }
        sim::Decoder decoder({}, *this);
        reader.read(decoder.input());
        decoder.finish(reader.end());
        correctBringUps = decoder.display().bringUp().correctCount();
    }

    /// Excludes blank screens and repetitions; see addDistinct().
    [[nodiscard]] const std::vector<DecodedScreen>& screens() const { return shown; }
    [[nodiscard]] const std::vector<std::string>& violations() const { return violationList; }
    [[nodiscard]] std::uint64_t bringUps() const { return correctBringUps; }

private:
    void event(sim::CaptureTime /*time*/, const std::string& /*text*/) override {}
    void note(sim::CaptureTime /*time*/, const std::string& /*text*/) override {}
    void violation(sim::CaptureTime /*time*/, const std::string& text) override { violationList.push_back(text); }
    void screen(sim::CaptureTime time, const sim::Screen& seen) override { addDistinct(shown, time, seen); }

    std::vector<DecodedScreen> shown;
    std::vector<std::string> violationList;
    std::uint64_t correctBringUps = 0;
};
