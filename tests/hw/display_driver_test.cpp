// Tests of the display driver: initialisation, failures, frames and packing.
#include "hw/display_driver.h"

#include "hw/frame_packer.h"
#include "tests/support/bring_up.h"
#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <optional>
#include <ostream>
#include <rapidcheck/gtest.h>

namespace {

using bringUp::addressWindow;
using bringUp::clearedRam;
using bringUp::initialisation;
using bringUp::resetPulse;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t frameSize = 10240;

Log operator+(Log first, const Log& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string openingOf(const std::string& path)
{
    return "open " + path + " flags " + std::to_string(O_WRONLY | O_CLOEXEC);
}

// clang-format off
const Log opening = {
    openingOf("/dev/spidev0.0"),
    "ioctl 40016B01 = 3",        // mode
    "ioctl 40016B03 = 8",        // bits per word
    "ioctl 40046B04 = 12500000", // speed
};
// clang-format on
const Log bringUpOfTheDevice = opening + resetPulse + initialisation + addressWindow + clearedRam + Log({"command AF"});

Bytes frameOf(std::uint8_t byte)
{
    return Bytes(frameSize, byte);
}

Bitmap canvasOf(Pixel value)
{
    Bitmap canvas(displayWidth, displayHeight);
    canvas.fill(value);
    return canvas;
}

class Display : public testing::Test {
protected:
    /// Opens the display with the program's arguments. Returns the output on standard error.
    std::string open()
    {
        testing::internal::CaptureStderr();
        display.emplace();
        display->open(0, 0, 12500000, 7, 25);
        return testing::internal::GetCapturedStderr();
    }

    /// Closes the display, which waits for the last transfer. Returns all transfers.
    std::vector<Transfer> closeAndTakeTransfers()
    {
        display.reset();
        return calls.transfers();
    }

    Bytes sentFrame(const Bitmap& canvas)
    {
        display->sendFrame(canvas);
        calls.waitUntilEnded(++sentCount);
        return calls.transfers().back().bytes;
    }

    void expectNoResetPulse() const
    {
        EXPECT_EQ(calls.gpio[7], 0U);
        EXPECT_EQ(calls.gpio[10], 0U);
    }

    SystemCalls calls;
    std::optional<DisplayDriver> display;
    std::size_t sentCount = 0;
};

// Opening.

TEST_F(Display, OpenInitialisesTheControllerAndTurnsTheDisplayOn)
{
    EXPECT_EQ(open(), "");
    EXPECT_EQ(firstDifference(calls.takeLog(), bringUpOfTheDevice), "");
}

TEST_F(Display, OpenSendsTheSameSequenceWhenEveryWriteFails)
{
    calls.writeLimit = -1;
    EXPECT_EQ(open(), "");
    EXPECT_EQ(firstDifference(calls.takeLog(), bringUpOfTheDevice), "");
}

TEST_F(Display, OpenUsesItsArguments)
{
    display.emplace();
    display->open(1, 2, 400000, 7, 11);
    Log log = calls.takeLog();
    log.resize(10);
    EXPECT_EQ(log,
              Log({openingOf("/dev/spidev1.2"), "ioctl 40016B01 = 3", "ioctl 40016B03 = 8", "ioctl 40046B04 = 400000",
                   "line 11 high", "wait 20000 us", "line 11 low", "wait 20000 us", "line 11 high", "wait 200000 us"}));
    EXPECT_EQ(calls.gpio[1], 0x00000008U);
}

TEST_F(Display, OpenMakesOnlyTheTwoDisplayLinesOutputs)
{
    calls.gpio[0] = 0xFFFFFFFF;
    calls.gpio[2] = 0xFFFFFFFF;
    open();
    EXPECT_EQ(calls.gpio[0], 0xFF3FFFFFU);
    EXPECT_EQ(calls.gpio[2], 0xFFFCFFFFU);
}

TEST_F(Display, ClearDisplayRamSelectsTheWholeDisplayAndWrites10240Zeros)
{
    open();
    calls.takeLog();
    display->clearDisplayRam();
    EXPECT_EQ(firstDifference(calls.takeLog(), addressWindow + clearedRam), "");
}

TEST_F(Display, DrivesTheDataCommandLineLowForCommandsAndHighForData)
{
    open();
    calls.takeLog();
    display->writeCommand(0xA7);
    display->writeCommand(0x00);
    display->writeData(0xFF);
    display->writeData(0x5C);
    display->writeCommand(0xA6);
    EXPECT_EQ(calls.takeLog(), Log({"command A7", "command 00", "data FF", "data 5C", "command A6"}));
}

#ifndef NDEBUG
TEST_F(Display, AbortsIfACommandOrDataFollowsTheFirstFrame)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe"; // because the frame writer starts a thread
    const auto openAndSend = [this] {
        open();
        display->sendFrame(canvasOf(0));
    };
    EXPECT_DEATH((openAndSend(), display->writeCommand(0xA6)), "hasSentFrame");
    EXPECT_DEATH((openAndSend(), display->writeData(0x00)), "hasSentFrame");
    EXPECT_DEATH((openAndSend(), display->clearDisplayRam()), "hasSentFrame");
}
#endif

// Failures.

TEST_F(Display, ReportsAMissingDeviceAndDoesNotResetTheController)
{
    calls.missingDevices = {"/dev/spidev0.0"};
    EXPECT_EQ(open(), "Unable to open SPI\n");
    EXPECT_EQ(calls.takeLog(), Log({opening[0]}));
    EXPECT_EQ(calls.gpio[0], 0x00200000U);
    EXPECT_EQ(calls.gpio[2], 0x00008000U);
    expectNoResetPulse();
}

TEST_F(Display, ReportsARejectedSettingAndClosesTheDeviceWithoutAReset)
{
    struct Case {
        unsigned long request;
        int ioctlCount;
        const char* message;
    };
    const Case cases[] = {
        {SPI_IOC_WR_MODE, 1, "Unable to set SPI mode\n"},
        {SPI_IOC_WR_BITS_PER_WORD, 2, "Unable to set SPI bits\n"},
        {SPI_IOC_WR_MAX_SPEED_HZ, 3, "Unable to set SPI baud\n"},
    };
    for (const auto& [request, ioctlCount, message] : cases) {
        calls.failingIoctls = {request};
        EXPECT_EQ(open(), message);
        EXPECT_EQ(calls.takeLog(),
                  Log(opening.begin(), opening.begin() + 1 + ioctlCount) + Log({"close /dev/spidev0.0"}));
        expectNoResetPulse();
        display.reset();
        EXPECT_EQ(calls.takeLog(), Log()) << "the device was closed twice";
    }
}

TEST_F(Display, DropsFramesIfItIsNotOpen)
{
    const std::function<void()> failures[] = {
        [this] { display.emplace(); }, // never opened
        [this] { calls.missingDevices = {"/dev/spidev0.0"}, open(); },
        [this] { calls.missingDevices.clear(), calls.failingIoctls = {SPI_IOC_WR_MAX_SPEED_HZ}, open(); },
    };
    for (const auto& fail : failures) {
        fail();
        calls.takeLog();
        display->sendFrame(canvasOf(0));
        display->sendFrame(canvasOf(3));
        EXPECT_TRUE(closeAndTakeTransfers().empty());
        EXPECT_EQ(calls.takeLog(), Log());
    }
}

TEST_F(Display, SendsTheNextFrameAfterAFailedTransfer)
{
    open();
    calls.writeLimit = -1;
    sentFrame(canvasOf(1));
    calls.writeLimit = frameSize;
    EXPECT_EQ(sentFrame(canvasOf(3)), frameOf(0xFF));
}

// Frames.

TEST_F(Display, SendsAFrameAsOneCommandAndOneTransferOf10240Bytes)
{
    open();
    calls.takeLog();
    display->sendFrame(canvasOf(0));
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    EXPECT_EQ(calls.takeLog(), Log({"command 5C", "transfer of 10240 bytes", "close /dev/spidev0.0"}));
    ASSERT_EQ(transfers.size(), 1U);
    EXPECT_TRUE(transfers[0].isData);
    EXPECT_TRUE(transfers[0].wasUndisturbed);
}

TEST_F(Display, SendsTheLastFrameBeforeClosingTheDevice)
{
    open();
    calls.takeLog();
    display->sendFrame(canvasOf(1));
    calls.waitUntilBegun(1);
    display->sendFrame(canvasOf(2));
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    ASSERT_EQ(transfers.size(), 2U);
    EXPECT_EQ(transfers[1].bytes, frameOf(0xAA));
    EXPECT_EQ(calls.takeLog().back(), "close /dev/spidev0.0");
}

TEST_F(Display, SendFrameCopiesTheCanvasWithoutWaitingForTransfers)
{
    open();
    calls.holdTransfers();
    Bitmap canvas = canvasOf(1);
    display->sendFrame(canvas);
    calls.waitUntilBegun(1);
    for (const Pixel value : std::initializer_list<Pixel>{3, 2, 0, 2}) {
        canvas.fill(value);
        display->sendFrame(canvas); // if this blocks, the test hangs
    }
    canvas.fill(3);
    calls.releaseTransfers();
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    ASSERT_EQ(transfers.size(), 2U);
    EXPECT_EQ(transfers[0].bytes, frameOf(0x55));
    EXPECT_TRUE(transfers[0].wasUndisturbed);
    EXPECT_EQ(transfers[1].bytes, frameOf(0xAA));
}

// Packing.

TEST_F(Display, PacksFourPixelsOfAColumnIntoAByte)
{
    open();
    const std::pair<Pixel, std::uint8_t> cases[] = {{0, 0x00}, {1, 0x55}, {2, 0xAA}, {3, 0xFF}};
    for (const auto& [value, byte] : cases) {
        EXPECT_EQ(sentFrame(canvasOf(value)), frameOf(byte));
    }
}

TEST_F(Display, PacksASinglePixelIntoItsTwoBits)
{
    struct PixelCase {
        std::int32_t x, y;
        Pixel value;
        std::size_t index;
        std::uint8_t byte;
    };
    const PixelCase cases[] = {
        {0, 0, 1, 0, 0x01},       {0, 1, 1, 0, 0x04},         {0, 2, 3, 0, 0x30},      {0, 3, 2, 0, 0x80},
        {1, 0, 2, 1, 0x02},       {255, 0, 3, 255, 0x03},     {0, 4, 3, 256, 0x03},    {255, 3, 1, 255, 0x40},
        {128, 81, 2, 5248, 0x08}, {255, 159, 3, 10239, 0xC0}, {0, 159, 1, 9984, 0x40}, {255, 156, 1, 10239, 0x01},
    };
    open();
    for (const PixelCase& pixel : cases) {
        Bitmap canvas = canvasOf(0);
        canvas.fillRect(pixel.x, pixel.y, 1, 1, pixel.value);
        Bytes expected = frameOf(0);
        expected[pixel.index] = pixel.byte;
        EXPECT_EQ(sentFrame(canvas), expected) << '(' << pixel.x << ", " << pixel.y << ')';
    }
}

TEST_F(Display, ValuesAbove3CorruptOnlyTheFollowingPixelsOfTheByte)
{
    struct SpillCase {
        std::array<Pixel, 4> column;
        std::uint8_t byte;
    };
    const SpillCase cases[] = {
        {{255, 0, 0, 0}, 0xFF},       {{0, 255, 0, 0}, 0xFC}, {{0, 0, 255, 0}, 0xF0}, {{0, 0, 0, 255}, 0xC0},
        {{255, 255, 255, 255}, 0xAB}, {{5, 0, 0, 0}, 0x05},   {{4, 3, 0, 0}, 0x10},   {{0, 0, 0, 5}, 0x40},
    };
    open();
    for (const SpillCase& spill : cases) {
        Bitmap canvas = canvasOf(0);
        for (std::int32_t i = 0; i < 4; ++i) {
            canvas.fillRect(9, 40 + i, 1, 1, spill.column[static_cast<std::size_t>(i)]);
        }
        Bytes expected = frameOf(0);
        expected[10 * 256 + 9] = spill.byte;
        EXPECT_EQ(sentFrame(canvas), expected) << int{spill.byte};
    }
}

TEST_F(Display, PacksTheTopLeftPartOfALargerCanvas)
{
    Bitmap canvas(300, 200);
    canvas.fill(3);
    canvas.fillRect(0, 0, 256, 160, 1);
    open();
    EXPECT_EQ(sentFrame(canvas), frameOf(0x55));
}

Bytes naivelyPacked(const Bitmap& canvas)
{
    Bytes bytes = frameOf(0);
    for (std::int32_t y = 0; y < 160; ++y) {
        for (std::int32_t x = 0; x < 256; ++x) {
            auto& byte = bytes[static_cast<std::size_t>(y / 4 * 256 + x)];
            byte = static_cast<std::uint8_t>(byte | canvas.pixel(x, y) << y % 4 * 2);
        }
    }
    return bytes;
}

struct Rectangle {
    std::int32_t x, y, width, height;
    Pixel value;
};

void showValue(const Rectangle& r, std::ostream& stream)
{
    stream << r.width << 'x' << r.height << " at (" << r.x << ", " << r.y << ") of " << int{r.value};
}

rc::Gen<Rectangle> rectangles()
{
    return rc::gen::build<Rectangle>(rc::gen::set(&Rectangle::x, rc::gen::inRange(0, 256)),
                                     rc::gen::set(&Rectangle::y, rc::gen::inRange(0, 160)),
                                     rc::gen::set(&Rectangle::width, rc::gen::inRange(1, 60)),
                                     rc::gen::set(&Rectangle::height, rc::gen::inRange(1, 60)),
                                     rc::gen::set(&Rectangle::value, rc::gen::inRange<Pixel>(0, 4)));
}

RC_GTEST_FIXTURE_PROP(Display, PacksAnyCanvasLikeANaivePacker, ())
{
    open();
    Bitmap canvas = canvasOf(*rc::gen::inRange<Pixel>(0, 4));
    for (const Rectangle& r : *rc::gen::container<std::vector<Rectangle>>(rectangles())) {
        canvas.fillRect(r.x, r.y, r.width, r.height, r.value);
    }
    RC_ASSERT(sentFrame(canvas) == naivelyPacked(canvas));
}

TEST(FramePacker, WritesNothingPastTheEndOfTheFrame)
{
    struct {
        Frame frame;
        std::uint8_t after = 0x5A;
    } memory;
    packFrame(canvasOf(3), memory.frame);
    EXPECT_EQ(memory.after, 0x5A);
}

} // namespace
