// Tests of the display's bring-up, byte by byte, and of the frames that it is sent.
#include "hw/display_driver.h"

#include "hw/frame_packer.h"
#include "tests/support/bring_up.h"
#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/spi/spidev.h>
#include <optional>
#include <ostream>
#include <rapidcheck/gtest.h>

namespace {

using bringUp::addressWindow;
using bringUp::clearedRam;
using bringUp::initialisation;
using bringUp::resetPulse;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t frameSize = 10240;

std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// clang-format off
const std::vector<std::string> opening = {
    "open /dev/spidev0.0 flags " + std::to_string(O_WRONLY | O_CLOEXEC),
    "ioctl 40016B01 = 3",        // mode
    "ioctl 40016B03 = 8",        // bits a word
    "ioctl 40046B04 = 12500000", // speed
};
// clang-format on

class Display : public testing::Test {
protected:
    /// Opens as on the board; returns what was said on standard error.
    std::string open()
    {
        testing::internal::CaptureStderr();
        display.emplace();
        display->open(0, 0, 12500000, 7, 25);
        return testing::internal::GetCapturedStderr();
    }

    /// The transfers, once the last one is out.
    std::vector<Transfer> closeAndTakeTransfers()
    {
        display.reset();
        return calls.transfers();
    }

    std::vector<std::uint8_t> sentFrame(const Bitmap& canvas)
    {
        const std::size_t before = calls.transfers().size();
        display->sendFrame(canvas);
        calls.waitUntilEnded(before + 1);
        return calls.transfers().back().bytes;
    }

    SystemCalls calls;
    std::optional<DisplayDriver> display;
};

Bitmap blankCanvas(Pixel value = 0)
{
    Bitmap canvas(displayWidth, displayHeight);
    canvas.fill(value);
    return canvas;
}

// Bring-up.

TEST_F(Display, IsBroughtUpWithExactlyTheseBytesLevelsAndWaits)
{
    EXPECT_EQ(open(), "");
    EXPECT_EQ(firstDifference(calls.takeLog(), opening + resetPulse + initialisation + addressWindow + clearedRam +
                                                   std::vector<std::string>{"command AF"}),
              "");
}

TEST_F(Display, WorksOnDescriptorZeroToo)
{
    calls.giveDescriptorZero();
    EXPECT_EQ(open(), "");
    EXPECT_EQ(calls.takeLog().back(), "command AF");
}

TEST_F(Display, ClearingSetsTheWholeAddressWindowAndWrites10240Zeros)
{
    open();
    calls.takeLog();
    display->clearDisplayRam();
    EXPECT_EQ(firstDifference(calls.takeLog(), addressWindow + clearedRam), "");
}

TEST_F(Display, CommandsAreSentWithTheLineLowAndDataWithTheLineHigh)
{
    open();
    calls.takeLog();
    display->writeCommand(0xA7);
    display->writeCommand(0x00);
    display->writeData(0xFF);
    display->writeData(0x5C);
    display->writeCommand(0xA6);
    EXPECT_THAT(calls.takeLog(), ElementsAre("command A7", "command 00", "data FF", "data 5C", "command A6"));
}

TEST_F(Display, BothLinesBecomeOutputsAndOtherSelectsStay)
{
    calls.gpio[0] = 0xFFFFFFFF;
    calls.gpio[2] = 0xFFFFFFFF;
    open();
    EXPECT_EQ(calls.gpio[0], 0xFF3FFFFFU);
    EXPECT_EQ(calls.gpio[2], 0xFFFCFFFFU);
}

TEST_F(Display, OpensTheDeviceSpeedAndResetLineThatItIsGiven)
{
    display.emplace();
    display->open(1, 2, 400000, 7, 11);
    std::vector<std::string> log = calls.takeLog();
    log.resize(10);
    EXPECT_THAT(log, ElementsAre("open /dev/spidev1.2 flags " + std::to_string(O_WRONLY | O_CLOEXEC),
                                 "ioctl 40016B01 = 3", "ioctl 40016B03 = 8", "ioctl 40046B04 = 400000", "line 11 high",
                                 "wait 20000 us", "line 11 low", "wait 20000 us", "line 11 high", "wait 200000 us"));
    EXPECT_EQ(calls.gpio[1], 0x00000008U);
}

TEST_F(Display, BringUpGoesOnWhenEveryWriteFails)
{
    calls.limitWrites(-1);
    EXPECT_EQ(open(), "");
    EXPECT_EQ(firstDifference(calls.takeLog(), opening + resetPulse + initialisation + addressWindow + clearedRam +
                                                   std::vector<std::string>{"command AF"}),
              "");
}

// Failures.

TEST_F(Display, ThatIsAbsentIsReportedAndNotResetAlthoughBothLinesAreOutputs)
{
    calls.removeDevice("/dev/spidev0.0");
    EXPECT_EQ(open(), "Unable to open SPI\n");
    EXPECT_THAT(calls.takeLog(), ElementsAre("open /dev/spidev0.0 flags " + std::to_string(O_WRONLY | O_CLOEXEC)));
    EXPECT_EQ(calls.gpio[0], 0x00200000U);
    EXPECT_EQ(calls.gpio[2], 0x00008000U);
    EXPECT_EQ(calls.gpio[7], 0U);
    EXPECT_EQ(calls.gpio[10], 0U);
}

struct RefusalCase {
    const char* name;
    unsigned long request;
    std::size_t ioctlCount;
    const char* message;
};

void PrintTo(const RefusalCase& refusal, std::ostream* stream)
{
    *stream << refusal.name;
}

class DisplayRefusal : public Display, public testing::WithParamInterface<RefusalCase> {};

TEST_P(DisplayRefusal, IsReportedAndClosesTheDeviceWithoutAReset)
{
    calls.refuseIoctl(GetParam().request);
    EXPECT_EQ(open(), GetParam().message);

    std::vector<std::string> expected(opening.begin(), opening.begin() + 1 + static_cast<int>(GetParam().ioctlCount));
    expected.emplace_back("close /dev/spidev0.0");
    EXPECT_EQ(firstDifference(calls.takeLog(), expected), "");
    EXPECT_EQ(calls.gpio[7], 0U);
    EXPECT_EQ(calls.gpio[10], 0U);
}

TEST_P(DisplayRefusal, LosesLaterFramesWithoutHarm)
{
    calls.refuseIoctl(GetParam().request);
    open();
    calls.takeLog();
    display->sendFrame(blankCanvas());
    display->sendFrame(blankCanvas(3));
    EXPECT_THAT(closeAndTakeTransfers(), IsEmpty());
    EXPECT_THAT(calls.takeLog(), IsEmpty()) << "the descriptor, which may be another file's by now, is not touched";
}

INSTANTIATE_TEST_SUITE_P(
    Settings, DisplayRefusal,
    testing::Values(RefusalCase{"RefusedMode", SPI_IOC_WR_MODE, 1, "Unable to set SPI mode\n"},
                    RefusalCase{"RefusedWordSize", SPI_IOC_WR_BITS_PER_WORD, 2, "Unable to set SPI bits\n"},
                    RefusalCase{"RefusedSpeed", SPI_IOC_WR_MAX_SPEED_HZ, 3, "Unable to set SPI baud\n"}),
    [](const auto& name) { return name.param.name; });

TEST_F(Display, ThatIsAbsentLosesFramesWithoutHarm)
{
    calls.removeDevice("/dev/spidev0.0");
    open();
    calls.takeLog();
    display->sendFrame(blankCanvas());
    EXPECT_THAT(closeAndTakeTransfers(), IsEmpty());
    EXPECT_THAT(calls.takeLog(), IsEmpty());
}

TEST_F(Display, ThatWasNeverOpenedLosesFramesAndClosesNothing)
{
    display.emplace();
    display->sendFrame(blankCanvas());
    EXPECT_THAT(closeAndTakeTransfers(), IsEmpty());
    EXPECT_THAT(calls.takeLog(), IsEmpty());
}

TEST_F(Display, SendsTheNextFrameAfterATransferFailed)
{
    open();
    calls.limitWrites(-1);
    sentFrame(blankCanvas(1));
    calls.limitWrites(frameSize);
    EXPECT_THAT(sentFrame(blankCanvas(3)), Each(0xFF));
}

// Frames.

TEST_F(Display, SendsAFrameAsOneCommandAndOneTransferOf10240Bytes)
{
    open();
    calls.takeLog();
    display->sendFrame(blankCanvas());
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    EXPECT_THAT(calls.takeLog(), ElementsAre("command 5C", "transfer of 10240 bytes", "close /dev/spidev0.0"));
    ASSERT_EQ(transfers.size(), 1U);
    EXPECT_EQ(transfers[0].bytes.size(), frameSize);
    EXPECT_TRUE(transfers[0].isData);
    EXPECT_TRUE(transfers[0].wasStill);
}

TEST_F(Display, LetsTheLastFrameOutWholeBeforeTheDeviceIsClosed)
{
    open();
    calls.takeLog();
    display->sendFrame(blankCanvas(1));
    calls.waitUntilBegun(1);
    display->sendFrame(blankCanvas(2));
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    ASSERT_EQ(transfers.size(), 2U);
    EXPECT_THAT(transfers[1].bytes, Each(0xAA));
    EXPECT_EQ(calls.takeLog().back(), "close /dev/spidev0.0");
    EXPECT_EQ(calls.openDevices(), 0U);
}

TEST_F(Display, DoesNotWaitForATransferAndTakesTheCanvasAsItIsAtTheCall)
{
    open();
    calls.holdTransfers();
    Bitmap canvas = blankCanvas(1);
    display->sendFrame(canvas);
    calls.waitUntilBegun(1);
    for (const Pixel value : std::initializer_list<Pixel>{3, 2, 0, 2}) {
        canvas.fill(value);
        display->sendFrame(canvas); // would wait for ever if it waited
    }
    canvas.fill(3);
    calls.releaseTransfers();
    const std::vector<Transfer> transfers = closeAndTakeTransfers();

    ASSERT_EQ(transfers.size(), 2U);
    EXPECT_THAT(transfers[0].bytes, Each(0x55));
    EXPECT_TRUE(transfers[0].wasStill);
    EXPECT_THAT(transfers[1].bytes, Each(0xAA));
}

// Packing.

TEST_F(Display, PacksACanvasOfAll0As00AndOfAll3AsFF)
{
    open();
    const std::pair<Pixel, std::uint8_t> cases[] = {{0, 0x00}, {1, 0x55}, {2, 0xAA}, {3, 0xFF}};
    for (const auto& [value, byte] : cases) {
        EXPECT_THAT(sentFrame(blankCanvas(value)), testing::AllOf(testing::SizeIs(frameSize), Each(byte)));
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
        Bitmap canvas = blankCanvas();
        canvas.fillRect(pixel.x, pixel.y, 1, 1, pixel.value);
        std::vector<std::uint8_t> expected(frameSize, 0);
        expected[pixel.index] = pixel.byte;
        EXPECT_EQ(sentFrame(canvas), expected) << '(' << pixel.x << ", " << pixel.y << ')';
    }
}

TEST_F(Display, LetsValuesAbove3SpillIntoTheNeighboursAndDropsWhatIsAboveTheByte)
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
        Bitmap canvas = blankCanvas();
        for (std::int32_t i = 0; i < 4; ++i) {
            canvas.fillRect(9, 40 + i, 1, 1, spill.column[static_cast<std::size_t>(i)]);
        }
        std::vector<std::uint8_t> expected(frameSize, 0);
        expected[10 * 256 + 9] = spill.byte;
        EXPECT_EQ(sentFrame(canvas), expected) << int{spill.byte};
    }
}

TEST_F(Display, TakesTheTopLeftPartOfALargerCanvas)
{
    Bitmap canvas(300, 200);
    canvas.fill(3);
    canvas.fillRect(0, 0, 256, 160, 1);
    open();
    EXPECT_THAT(sentFrame(canvas), Each(0x55));
}

std::vector<std::uint8_t> naivelyPacked(const Bitmap& canvas)
{
    std::vector<std::uint8_t> bytes(frameSize, 0);
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

RC_GTEST_FIXTURE_PROP(Display, PacksAnyCanvasAsANaivePackerDoes, ())
{
    open();
    Bitmap canvas = blankCanvas(*rc::gen::inRange<Pixel>(0, 4));
    for (const Rectangle& r : *rc::gen::container<std::vector<Rectangle>>(rectangles())) {
        canvas.fillRect(r.x, r.y, r.width, r.height, r.value);
    }
    RC_ASSERT(sentFrame(canvas) == naivelyPacked(canvas));
}

TEST(FramePacker, WritesNothingBehindTheFrame)
{
    struct {
        Frame frame;
        std::uint8_t behind = 0x5A;
    } memory;
    packFrame(blankCanvas(3), memory.frame);
    EXPECT_EQ(memory.behind, 0x5A);
}

} // namespace
