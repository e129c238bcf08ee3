// Decodes recordings with sigrok's decoders, which share no code with the simulator.
#include "sim/device/simulated_device.h"
#include "sim/wires/wire_recorder.h"
#include "tests/support/scratch_folder.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// The lines that sigrok's decoders print, without the name of the decoder: one for each SPI transfer or I2C event.
struct Decoded {
    Lines spi;
    Lines i2c;
};

/// sigrok stores every sample, so the file is imported with one sample per 10 ns and with long idle periods
/// shortened.
Decoded decode(const std::filesystem::path& file)
{
    const std::string command =
        "sigrok-cli -i " + file.string() +
        " -I vcd:downsample=10:compress=100000"
        " -P spi:cs=cs:clk=clk:mosi=mosi:cpol=1:cpha=1 -P i2c:scl=scl:sda=sda"
        " -A spi=mosi-transfer,i2c=start:address-read:address-write:data-read:data-write:ack:nack:stop";
    std::FILE* const output = popen(command.c_str(), "r");
    Decoded decoded;
    std::string line;
    for (int character = 0; (character = std::getc(output)) != EOF;) {
        if (character != '\n') {
            line += static_cast<char>(character);
            continue;
        }
        const std::size_t colon = line.find(": ");
        (line.starts_with("spi") ? decoded.spi : decoded.i2c).push_back(line.substr(colon + 2));
        line.clear();
    }
    if (pclose(output) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return decoded;
}

std::string hexBytes(const std::vector<std::uint8_t>& bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X ", byte);
        text += digits.data();
    }
    return text.substr(0, text.size() - 1);
}

/// The bytes of a frame: each has four pixels of one column, the topmost in the lowest bits.
std::vector<std::uint8_t> packed(const sim::Screen& screen)
{
    std::vector<std::uint8_t> bytes(screen.size() / 4);
    for (std::size_t i = 0; i < screen.size(); ++i) {
        const std::size_t x = i % sim::screenWidth;
        const std::size_t y = i / sim::screenWidth;
        bytes[y / 4 * sim::screenWidth + x] |= static_cast<std::uint8_t>(screen[i] << (2 * (y % 4)));
    }
    return bytes;
}

/// The transfers that the simulator has logged, as sigrok prints them. `frame` contains the bytes of a frame, which the
/// log omits.
Decoded expectedFrom(const Lines& traffic, const std::string& frame)
{
    Decoded expected;
    for (const std::string& entry : traffic) {
        const std::size_t at = entry.find(' ') + 1;
        const std::string event = entry.substr(at, entry.find(" x") - at);
        const std::size_t times =
            entry.find(" x") == std::string::npos ? 1 : std::stoul(entry.substr(entry.find(" x") + 2));
        if (event.starts_with("spi C ") || event.starts_with("spi D ")) {
            const std::string bytes = event.substr(6);
            expected.spi.insert(expected.spi.end(), times, bytes == "[10240 bytes]" ? frame : bytes);
        } else if (event.starts_with("i2c write ")) {
            for (const char* word : {"Start", "Write", "Address write: 6C", "ACK"}) {
                expected.i2c.emplace_back(word);
            }
            std::istringstream bytes(event.substr(10));
            for (std::string byte; bytes >> byte;) {
                expected.i2c.push_back("Data write: " + byte);
                expected.i2c.emplace_back("ACK");
            }
            expected.i2c.emplace_back("Stop");
        }
    }
    return expected;
}

TEST(LongSigrok, DecodesAllTransfersUpToTheFirstFrame)
{
    constexpr std::uint64_t firstFrame = 27; // the iteration in which the transfer of the first frame ends
    const ScratchFolder folder;
    sim::RecordingFile recording(folder / "wires.vcd", sim::RecordingState::noLimit);
    sim::SimulatedDevice device(
        {.updater = UPDATER, .preload = PRELOAD, .root = folder / "device", .wires = &recording});
    device.runTo(firstFrame);
    recording.finish();
    const Decoded expected = expectedFrom(device.traffic(), hexBytes(packed(device.screen())));
    ASSERT_EQ(expected.spi.size(), 10299U) << "the initialisation, the bytes that clear the display, and the frame";
    ASSERT_EQ(expected.i2c.size(), 20U * 9U + 45U) << "twenty single registers, then the brightness of all outputs";

    const Decoded decoded = decode(folder / "wires.vcd");
    EXPECT_EQ(decoded.i2c, expected.i2c);
    ASSERT_EQ(decoded.spi.size(), expected.spi.size());
    for (std::size_t i = 0; i < expected.spi.size(); ++i) {
        ASSERT_EQ(decoded.spi[i], expected.spi[i]) << "transfer " << i;
    }
}

TEST(Sigrok, DecodesReadsAndRefusedTransfers)
{
    const ScratchFolder folder;
    const std::vector<std::uint8_t> bytes = {0x00, 0x5A, 0xFF};
    sim::RecordingFile recording(folder / "wires.vcd", sim::RecordingState::noLimit);
    sim::WireRecorder recorder(recording.descriptor(), recording.getState());
    recorder.beginI2c(0ms, {.address = 0x6C, .isRead = true, .bytes = bytes});
    recorder.beginI2c(1ms, {.address = 0x55, .isAcknowledged = false, .bytes = bytes});
    recorder.observeUntil(2ms);
    recording.finish();
    EXPECT_EQ(decode(folder / "wires.vcd").i2c,
              (Lines{"Start", "Read", "Address read: 6C", "ACK", "Data read: 00", "ACK", "Data read: 5A", "ACK",
                     "Data read: FF", "NACK", "Stop", "Start", "Write", "Address write: 55", "NACK", "Stop"}));
}

} // namespace
