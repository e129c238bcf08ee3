// Writes a capture to standard output: the display is reset and lit, and receives FRAMES frames of the whole screen.
// Usage: decode_test_capture FRAMES
#include "sim/wires/wire_recorder.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

using sim::Level;
using sim::Line;
using sim::WireTime;
using namespace std::chrono_literals;

class Writer {
public:
    void set(Line line, Level level, WireTime wait)
    {
        recorder.change(time, line, level);
        time += wait;
    }
    void send(bool isData, const std::vector<std::uint8_t>& bytes)
    {
        const WireTime duration = 640ns * bytes.size();
        set(Line::DataCommand, isData ? Level::High : Level::Low, 1us);
        recorder.beginSpi(time, duration, bytes);
        recorder.endSpi(time += duration);
        time += 1us;
    }
    void reset()
    {
        set(Line::Reset, Level::High, 20ms);
        set(Line::Reset, Level::Low, 20ms);
        set(Line::Reset, Level::High, 200ms);
    }
    void frame(std::uint8_t grey)
    {
        send(false, {0x5C});
        send(true, std::vector<std::uint8_t>(10240, grey));
        time += 20ms;
    }
    void finish()
    {
        recorder.observeUntil(time);
        recorder.flush();
        header.end(); // adds the end time, because sigrok-cli ignores the changes at the last time of a file
    }

private:
    std::unique_ptr<sim::RecordingState> state = std::make_unique<sim::RecordingState>();
    sim::VcdWriter header{STDOUT_FILENO, *state};
    sim::WireRecorder recorder{(header.begin(), STDOUT_FILENO), *state};
    WireTime time = 1us;
};

} // namespace

int main(int argc, char** argv)
{
    const int frames = argc > 1 ? std::atoi(argv[1]) : 0;
    Writer writer;
    writer.reset();
    for (const std::uint8_t command : std::initializer_list<std::uint8_t>{0x30, 0x94, 0x20}) {
        writer.send(false, {command});
    }
    writer.send(true, {0x0B});
    writer.send(false, {0x0C});
    writer.send(false, {0xF0});
    writer.send(true, {0x11});
    for (const std::uint8_t command : std::initializer_list<std::uint8_t>{0x31, 0x40, 0x30, 0x15}) {
        writer.send(false, {command});
    }
    writer.send(true, {0x00, 0xFF});
    writer.send(false, {0x75});
    writer.send(true, {0x00, 0x27});
    writer.send(false, {0xAF});
    for (int i = 0; i < frames; ++i) {
        writer.frame(static_cast<std::uint8_t>(0x55 * (i % 4)));
    }
    writer.finish();
}
