// Tests for the simulated board: its endpoints, injected faults, and the traffic log.
#include "sim/preload/board.h"

#include "tests/sim/comparisons.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <linux/i2c-dev.h>
#include <linux/spi/spidev.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::Board;
using sim::Endpoint;
using sim::LedController;

using Bytes = std::vector<std::uint8_t>;

constexpr off_t gpioBase = 0xFE200000;

/// The minimum time between two transfers on the SPI bus.
constexpr auto spiGap = 1us;

constexpr int buttonLine = 6;
constexpr int dataCommandLine = 7;
constexpr int resetLine = 25;

class BoardTest : public testing::Test {
protected:
    ~BoardTest() override
    {
        for (const int fd : opened) {
            close(fd);
        }
    }

    int open(Endpoint endpoint)
    {
        const int fd = board->open(endpoint, O_RDWR | O_CLOEXEC);
        if (fd >= 0) {
            opened.push_back(fd);
        }
        return fd;
    }
    ssize_t write(int fd, const Bytes& bytes) { return board->write(fd, bytes); }
    int controlSpi(unsigned long request, std::uint32_t value)
    {
        return board->control(spi(), request, reinterpret_cast<unsigned long>(&value));
    }
    int selectI2c(std::uint8_t address) { return board->control(i2c(), I2C_SLAVE, address); }

    int spi() { return shared(spiFd, Endpoint::Spi); }
    int i2c() { return shared(i2cFd, Endpoint::I2c); }
    int encoder() { return shared(encoderFd, Endpoint::Encoder); }

    volatile std::uint32_t* registers() { return static_cast<volatile std::uint32_t*>(board->mapRegisters(gpioBase)); }
    void selectOutput(int line)
    {
        registers()[line / 10] = registers()[line / 10] | 1U << (line % 10 * 3);
        board->sync();
    }
    void drive(int line, bool level)
    {
        registers()[level ? 7 : 10] = 1U << line;
        board->sync();
    }
    void command(std::uint8_t code, const Bytes& parameters = {})
    {
        drive(dataCommandLine, false);
        EXPECT_EQ(write(spi(), {code}), 1);
        if (!parameters.empty()) {
            drive(dataCommandLine, true);
            EXPECT_EQ(write(spi(), parameters), static_cast<ssize_t>(parameters.size()));
        }
    }
    /// Initialises the display, so that frames become visible.
    void lightDisplay()
    {
        selectOutput(dataCommandLine);
        selectOutput(resetLine);
        for (const bool level : {true, false, true}) {
            drive(resetLine, level);
        }
        const std::pair<std::uint8_t, Bytes> commands[] = {
            {0x94, {}}, {0x20, {0x0B}}, {0x0C, {}},           {0xF0, {0x11}},       {0x31, {}},
            {0x40, {}}, {0x30, {}},     {0x15, {0x00, 0xFF}}, {0x75, {0x00, 0x9F}}, {0xAF, {}},
        };
        for (const auto& [code, parameters] : commands) {
            command(code, parameters);
        }
    }

    std::unique_ptr<Board> board = std::make_unique<Board>("/somewhere/a device");
    std::vector<int> opened;

private:
    int shared(int& fd, Endpoint endpoint)
    {
        if (fd < 0) {
            fd = open(endpoint);
        }
        return fd;
    }

    int spiFd = -1;
    int i2cFd = -1;
    int encoderFd = -1;
};

/// The return value and errno of a call.
struct Failure {
    long result;
    int error;

    bool operator==(const Failure&) const = default;
};

Failure failureOf(const std::function<long()>& call)
{
    errno = 0;
    const long result = call();
    return {result, errno};
}

// Paths.

TEST_F(BoardTest, RedirectsSimulatedPathsToTheDeviceFolder)
{
    for (const std::string path : {"/dev/sda", "/dev/sda1", "/tmp/fw/version.txt", "/tmp/fw/version.old.txt",
                                   "/tmp/fw/deep/er", "/usr/sbin/decrypt.sh", "/usr/sbin/install.sh"}) {
        EXPECT_EQ(board->redirect(path), "/somewhere/a device" + path);
    }
}

TEST_F(BoardTest, DoesNotRedirectOtherPaths)
{
    for (const char* path : {"",
                             "/",
                             "dev/sda",
                             "/dev/sda2",
                             "/dev/sda11",
                             "/dev/sdb",
                             "/dev/sd",
                             "/dev/null",
                             "/dev/mem",
                             "/dev/spidev0.0",
                             "/dev/i2c-22",
                             "/dev/input/event0",
                             "/tmp/fw",
                             "/tmp/fw2/version.txt",
                             "/tmp/other",
                             "tmp/fw/version.txt",
                             "/usr/sbin/decrypt",
                             "/usr/sbin/",
                             "/usr/bin/decrypt.sh",
                             "/sbin/decrypt.sh",
                             "/x/usr/sbin/decrypt.sh",
                             "/x/tmp/fw/version.txt"}) {
        EXPECT_EQ(board->redirect(path), std::nullopt) << path;
    }
}

TEST_F(BoardTest, HasEndpointsOnlyAtFourPaths)
{
    const std::pair<const char*, Endpoint> paths[] = {
        {"/dev/mem", Endpoint::Memory},           {"/dev/spidev0.0", Endpoint::Spi}, {"/dev/i2c-22", Endpoint::I2c},
        {"/dev/input/event0", Endpoint::Encoder}, {"/dev/kmem", Endpoint::None},     {"/dev/spidev0.1", Endpoint::None},
        {"/dev/spidev1.0", Endpoint::None},       {"/dev/i2c-2", Endpoint::None},    {"/dev/i2c-221", Endpoint::None},
        {"/dev/input/event1", Endpoint::None},    {"/dev/sda", Endpoint::None},      {"", Endpoint::None},
    };
    for (const auto& [path, endpoint] : paths) {
        EXPECT_EQ(Board::endpointAt(path), endpoint) << path;
    }
}

// Descriptors.

TEST_F(BoardTest, RecognisesItsDescriptorsUntilTheyAreClosed)
{
    for (const Endpoint endpoint : {Endpoint::Memory, Endpoint::Spi, Endpoint::I2c, Endpoint::Encoder}) {
        const int fd = open(endpoint);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(board->endpointOf(fd), endpoint);
        board->close(fd);
        EXPECT_EQ(board->endpointOf(fd), Endpoint::None);
    }
}

TEST_F(BoardTest, RecognisesNoOtherDescriptors)
{
    for (const int fd : {-1, 0, 1, 2, 1023, 1024, 1 << 20}) {
        EXPECT_EQ(board->endpointOf(fd), Endpoint::None) << fd;
    }
}

TEST_F(BoardTest, RejectsOperationsThatAnEndpointDoesNotSupport)
{
    Bytes buffer(64);
    const int memory = open(Endpoint::Memory);
    EXPECT_EQ(failureOf([&] { return write(memory, {1}); }), (Failure{-1, EBADF}));
    EXPECT_EQ(failureOf([&] { return write(encoder(), {1}); }), (Failure{-1, EBADF}));
    EXPECT_EQ(failureOf([&] { return board->read(memory, buffer); }), (Failure{-1, EIO}));
    EXPECT_EQ(failureOf([&] { return board->read(spi(), buffer); }), (Failure{-1, EIO}));
    EXPECT_EQ(failureOf([&] { return board->control(memory, SPI_IOC_WR_MODE, 0); }), (Failure{-1, ENOTTY}));
    EXPECT_EQ(failureOf([&] { return board->control(encoder(), I2C_SLAVE, 0); }), (Failure{-1, ENOTTY}));
    EXPECT_EQ(failureOf([&] { return board->control(spi(), I2C_SLAVE, 0); }), (Failure{-1, ENOTTY}));
    EXPECT_EQ(failureOf([&] { return board->control(i2c(), SPI_IOC_WR_MODE, 0); }), (Failure{-1, ENOTTY}));
}

// Injected faults.

TEST_F(BoardTest, OpensAllEndpointsExceptAbsentOnes)
{
    const struct {
        const char* fault;
        Endpoint endpoint;
        int error;
    } cases[] = {
        {"absent mem", Endpoint::Memory, EACCES},
        {"absent spi", Endpoint::Spi, ENOENT},
        {"absent i2c", Endpoint::I2c, ENOENT},
        {"absent encoder", Endpoint::Encoder, ENOENT},
    };
    for (const auto& absent : cases) {
        board->setInjectedFault(absent.fault, true);
        EXPECT_TRUE(board->hasInjectedFault(absent.fault));
        for (const auto& other : cases) {
            const Failure failure = failureOf([&] { return std::min(open(other.endpoint), 0); });
            const bool isAbsent = other.endpoint == absent.endpoint;
            EXPECT_EQ(failure, (isAbsent ? Failure{-1, absent.error} : Failure{0, 0})) << other.fault;
        }
        board->setInjectedFault(absent.fault, false);
        EXPECT_FALSE(board->hasInjectedFault(absent.fault));
        EXPECT_GE(open(absent.endpoint), 0) << absent.fault;
    }
}

TEST_F(BoardTest, MmapFaultMakesMappingsFail)
{
    board->setInjectedFault("mmap fails", true);
    errno = 0;
    EXPECT_EQ(board->mapRegisters(gpioBase), MAP_FAILED);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(BoardTest, RefusedSettingFaultsRejectOnlyTheirSetting)
{
    const struct {
        const char* fault;
        unsigned long request;
    } settings[] = {
        {"refused mode", SPI_IOC_WR_MODE},
        {"refused bits", SPI_IOC_WR_BITS_PER_WORD},
        {"refused speed", SPI_IOC_WR_MAX_SPEED_HZ},
    };
    for (const auto& refused : settings) {
        board->setInjectedFault(refused.fault, true);
        for (const auto& setting : settings) {
            const Failure expected = setting.request == refused.request ? Failure{-1, EINVAL} : Failure{0, 0};
            EXPECT_EQ(failureOf([&] { return controlSpi(setting.request, 8); }), expected) << setting.fault;
        }
        board->setInjectedFault(refused.fault, false);
        EXPECT_EQ(controlSpi(refused.request, 8), 0);
    }
}

TEST_F(BoardTest, RejectsASpeedOf0)
{
    EXPECT_EQ(failureOf([&] { return controlSpi(SPI_IOC_WR_MAX_SPEED_HZ, 0); }), (Failure{-1, EINVAL}));
    EXPECT_EQ(write(spi(), {0x30}), 1);
}

TEST_F(BoardTest, FailingDisplayRejectsTransfers)
{
    lightDisplay();
    board->setInjectedFault("failing spi", true);
    EXPECT_EQ(failureOf([&] { return write(spi(), {0xAE}); }), (Failure{-1, EIO}));
    board->setInjectedFault("failing spi", false);
    EXPECT_EQ(write(spi(), {0xAE}), 1);
}

TEST_F(BoardTest, ShortTransfersTransmitTheFirstHalf)
{
    lightDisplay();
    board->setInjectedFault("short spi", true);
    command(0x5C);
    drive(dataCommandLine, true);
    EXPECT_EQ(write(spi(), Bytes(frameSize, 0xFF)), static_cast<ssize_t>(frameSize / 2));
    EXPECT_EQ(board->frameCount(), 0U);
    board->setInjectedFault("short spi", false);
    command(0x5C, Bytes(frameSize, 0xAA));
    EXPECT_TRUE(isFilledWith(board->screen(), 2));
    EXPECT_EQ(board->violationList(), (Lines{"a frame is short: 5120 of 10240 bytes"}));
}

TEST_F(BoardTest, HangingDisplayTakesASecondPerTransfer)
{
    lightDisplay();
    const auto before = board->timeline.now();
    board->setInjectedFault("hanging spi", true);
    command(0x5C, Bytes(frameSize));
    EXPECT_EQ(board->timeline.now() - before, 2s + 2 * spiGap);
    EXPECT_EQ(board->frameCount(), 1U);
}

TEST_F(BoardTest, RefusesTheI2cTransferWithTheRequestedNumber)
{
    Bytes byte(1);
    const std::function<long()> transfers[] = {
        [this] { return selectI2c(LedController::address); },
        [this] { return write(i2c(), {0x00}); },
        [this, &byte] { return board->read(i2c(), byte); },
    };
    const int errors[] = {EBUSY, ETIMEDOUT, ETIMEDOUT};
    ASSERT_EQ(selectI2c(LedController::address), 0);
    for (int refused = 0; refused < 3; ++refused) {
        // Earlier transfers: the first selection, three in each earlier round, and `refused` in this round.
        board->refuseI2cTransfer(1 + 3 * refused + refused + 1);
        for (int i = 0; i < 3; ++i) {
            const Failure result = failureOf(transfers[i]);
            EXPECT_EQ(result.error, i == refused ? errors[i] : 0) << "transfer " << i << " of round " << refused;
        }
    }
}

TEST_F(BoardTest, FailingLedsRejectTransfers)
{
    Bytes byte(1);
    ASSERT_EQ(selectI2c(LedController::address), 0);
    board->setInjectedFault("failing i2c", true);
    EXPECT_EQ(failureOf([&] { return write(i2c(), {0x00, 0x01}); }), (Failure{-1, ETIMEDOUT}));
    EXPECT_EQ(failureOf([&] { return board->read(i2c(), byte); }), (Failure{-1, ETIMEDOUT}));
    board->setInjectedFault("failing i2c", false);
    EXPECT_EQ(write(i2c(), {0x00}), 1);
    EXPECT_EQ(board->read(i2c(), byte), 1);
    EXPECT_EQ(byte[0], 0) << "the failed write reached the register";
}

TEST_F(BoardTest, FailingEncoderRejectsReadsWithoutLosingRecords)
{
    Bytes buffer(sizeof(input_event));
    board->turn(1);
    board->setInjectedFault("failing encoder", true);
    EXPECT_EQ(failureOf([&] { return board->read(encoder(), buffer); }), (Failure{-1, EIO}));
    board->setInjectedFault("failing encoder", false);
    EXPECT_EQ(board->read(encoder(), buffer), 24);
}

TEST_F(BoardTest, EndedEncoderReturnsEndOfFileWithoutLosingRecords)
{
    Bytes buffer(sizeof(input_event));
    board->turn(1);
    board->setInjectedFault("ended encoder", true);
    EXPECT_EQ(board->read(encoder(), buffer), 0);
    board->setInjectedFault("ended encoder", false);
    EXPECT_EQ(board->read(encoder(), buffer), 24);
}

// The encoder.

TEST_F(BoardTest, ReturnsOneEncoderRecordPerRead)
{
    board->turn(-2);
    board->queueEvent(EV_KEY, KEY_A, 9);
    Bytes buffer(3 * sizeof(input_event));
    std::vector<std::int32_t> values;
    while (board->read(encoder(), buffer) == sizeof(input_event)) {
        input_event event{};
        std::memcpy(&event, buffer.data(), sizeof event);
        values.push_back(event.value);
    }
    EXPECT_EQ(values, (std::vector<std::int32_t>{-2, 0, 9}));
    EXPECT_EQ(failureOf([&] { return board->read(encoder(), buffer); }), (Failure{-1, EAGAIN}));
}

TEST_F(BoardTest, RejectsAShortEncoderReadWithoutLosingRecords)
{
    board->turn(1);
    Bytes tooShort(sizeof(input_event) - 1);
    Bytes buffer(sizeof(input_event));
    EXPECT_EQ(failureOf([&] { return board->read(encoder(), tooShort); }), (Failure{-1, EINVAL}));
    EXPECT_EQ(failureOf([&] { return board->read(encoder(), {}); }), (Failure{-1, EINVAL}));
    EXPECT_EQ(board->read(encoder(), buffer), 24);
}

// The LEDs.

TEST_F(BoardTest, ForwardsI2cWritesToTheLeds)
{
    ASSERT_EQ(selectI2c(LedController::address), 0);
    EXPECT_EQ(write(i2c(), {0x00, 0x01}), 2);
    EXPECT_EQ(write(i2c(), {0x25, 0x10}), 2);
    EXPECT_EQ(write(i2c(), {0x12, 0x80, 0x00}), 3);
    EXPECT_EQ(board->leds().back(), 0x80);
    EXPECT_EQ(board->leds().front(), 0);
    EXPECT_EQ(board->violationList(), Lines{});
}

TEST_F(BoardTest, RejectsTransfersToUnusedI2cAddresses)
{
    EXPECT_EQ(failureOf([&] { return write(i2c(), {0x00, 0x01}); }), (Failure{-1, EREMOTEIO}))
        << "with no device selected";
    ASSERT_EQ(selectI2c(0x6D), 0);
    EXPECT_EQ(failureOf([&] { return write(i2c(), {0x00, 0x01}); }), (Failure{-1, EREMOTEIO}));
    Bytes byte(1);
    EXPECT_EQ(failureOf([&] { return board->read(i2c(), byte); }), (Failure{-1, EREMOTEIO}));
    EXPECT_EQ(board->violationList(), (Lines{"an I2C write to an unused address", "an I2C write to an unused address",
                                             "an I2C read from an unused address"}));
}

// The GPIO block.

TEST_F(BoardTest, ReportsAMappingOfOtherMemory)
{
    EXPECT_NE(board->mapRegisters(0x3F200000), MAP_FAILED);
    EXPECT_EQ(board->violationList(), (Lines{"a mapping of memory that is not the GPIO block"}));
}

TEST_F(BoardTest, PullsTheButtonLineLowWhileTheButtonIsPressed)
{
    const auto level = [this] { return (registers()[13] >> buttonLine) & 1U; };
    EXPECT_EQ(level(), 1U);
    board->setButton(true);
    EXPECT_EQ(level(), 0U);
    EXPECT_EQ(registers()[13], ~(1U << buttonLine)) << "another line changed";
    board->setButton(false);
    EXPECT_EQ(level(), 1U);
}

// The display.

TEST_F(BoardTest, ShowsAFrameAfterItsLastByte)
{
    lightDisplay();
    EXPECT_TRUE(isFilledWith(board->screen(), 0));
    command(0x5C, Bytes(frameSize, 0xAA));
    EXPECT_TRUE(isFilledWith(board->screen(), 2));
    EXPECT_EQ(board->frameCount(), 1U);
    EXPECT_EQ(board->violationList(), Lines{});
}

TEST_F(BoardTest, ResetsTheDisplayWhenItsResetLineIsLow)
{
    lightDisplay();
    command(0x5C, Bytes(frameSize, 0xFF));
    drive(resetLine, false);
    EXPECT_TRUE(isFilledWith(board->screen(), 0));
    command(0x30);
    EXPECT_EQ(board->violationList(), (Lines{"the controller was used during its reset"}));
}

TEST_F(BoardTest, RejectsATransferLongerThanTheBufferOfSpidev)
{
    lightDisplay();
    const auto before = board->timeline.now();
    drive(dataCommandLine, true);
    EXPECT_EQ(failureOf([&] { return write(spi(), Bytes(frameSize + 1)); }), (Failure{-1, EMSGSIZE}));
    EXPECT_EQ(board->timeline.now(), before) << "bytes were transmitted";
    EXPECT_EQ(board->violationList(), Lines{});
    command(0x5C, Bytes(frameSize));
    EXPECT_EQ(board->frameCount(), 1U);
}

TEST_F(BoardTest, TransferTimeDependsOnTheBusSpeed)
{
    lightDisplay();
    const struct {
        std::uint32_t speedHz;
        sim::Timeline::Duration perByte;
    } speeds[] = {{12500000, 640ns}, {1000000, 8us}};
    for (const auto& [speedHz, perByte] : speeds) {
        ASSERT_EQ(controlSpi(SPI_IOC_WR_MAX_SPEED_HZ, speedHz), 0);
        const auto before = board->timeline.now();
        command(0x5C, Bytes(frameSize));
        EXPECT_EQ(board->timeline.now() - before, perByte * (frameSize + 1) + 2 * spiGap) << speedHz;
    }
}

TEST_F(BoardTest, FrameTakesTheConfiguredTime)
{
    board->setFrameTime(60ms);
    write(spi(), Bytes(frameSize));
    EXPECT_EQ(board->timeline.now(), 60ms);
    write(spi(), Bytes(frameSize / 2));
    EXPECT_EQ(board->timeline.now(), 90ms + spiGap);
    board->setFrameTime(0ms);
    write(spi(), Bytes(1));
    EXPECT_EQ(board->timeline.now(), 90ms + 16us + 2 * spiGap) << "at the default bus speed";
}

TEST_F(BoardTest, TheSpiBusPausesBetweenTransfersUnlessItWasIdle)
{
    controlSpi(SPI_IOC_WR_MAX_SPEED_HZ, 8000000);
    write(spi(), Bytes(1));
    write(spi(), Bytes(1));
    EXPECT_EQ(board->timeline.now(), 2us + spiGap);
    board->timeline.pass(spiGap);
    write(spi(), Bytes(1));
    EXPECT_EQ(board->timeline.now(), 3us + 2 * spiGap);
}

/// A bit, a start condition and a stop condition take 10 microseconds each. A byte has nine bits, including the
/// acknowledge bit.
TEST_F(BoardTest, I2cTransfersRunAt100Kilohertz)
{
    const struct {
        std::uint8_t address;
        Bytes bytes;
        sim::Timeline::Duration duration;
    } cases[] = {
        {LedController::address, {0x00, 0x01}, 290us},
        {LedController::address, {}, 110us},
        {0x6D, {0x00, 0x01}, 110us}, // unused: only the address is sent
    };
    for (const auto& [address, bytes, duration] : cases) {
        ASSERT_EQ(selectI2c(address), 0);
        const auto before = board->timeline.now();
        write(i2c(), bytes);
        EXPECT_EQ(board->timeline.now() - before, duration);
    }
    Bytes byte(1);
    ASSERT_EQ(selectI2c(LedController::address), 0);
    const auto before = board->timeline.now();
    EXPECT_EQ(board->read(i2c(), byte), 1);
    EXPECT_EQ(board->timeline.now() - before, 200us);
}

/// Another thread is transmitting a frame, which takes 60 ms and began 1 ms ago.
class BoardDuringAFrame : public BoardTest {
protected:
    BoardDuringAFrame()
    {
        lightDisplay();
        board->setFrameTime(60ms);
        command(0x5C);
        drive(dataCommandLine, true);
        board->timeline.pass(spiGap);
        transfer(frame);
        board->timeline.pass(1ms);
    }
    ~BoardDuringAFrame() override
    {
        board->timeline.pass(1s); // ends all transfers
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    void transfer(const Bytes& bytes)
    {
        board->timeline.threadStarts();
        threads.emplace_back([this, fd = spi(), &bytes] {
            EXPECT_EQ(board->write(fd, bytes), static_cast<ssize_t>(bytes.size()));
            board->timeline.threadEnds();
        });
    }

    Bytes frame = Bytes(frameSize, 0xFF);
    const Bytes otherFrame = Bytes(frameSize, 0x55);
    std::vector<std::thread> threads;
};

TEST_F(BoardDuringAFrame, ShowsTheFrameOnlyAtItsEnd)
{
    board->timeline.pass(58ms);
    EXPECT_TRUE(isFilledWith(board->screen(), 0));
    board->timeline.pass(1ms);
    EXPECT_TRUE(isFilledWith(board->screen(), 3));
    EXPECT_EQ(board->violationList(), Lines{});
}

TEST_F(BoardDuringAFrame, IgnoresLaterChangesToTheWrittenBytes)
{
    std::fill(frame.begin(), frame.end(), std::uint8_t{0});
    board->timeline.pass(60ms);
    EXPECT_TRUE(isFilledWith(board->screen(), 3));
}

TEST_F(BoardDuringAFrame, ReportsADataCommandLineChange)
{
    drive(dataCommandLine, false);
    drive(dataCommandLine, true);
    board->timeline.pass(60ms);
    EXPECT_EQ(board->violationList(), std::vector<std::string>(2, "the data/command line changed during a transfer"));
}

TEST_F(BoardDuringAFrame, ReportsADataCommandLineChangeWithoutASystemCall)
{
    registers()[10] = 1U << dataCommandLine;
    board->timeline.pass(60ms);
    EXPECT_EQ(board->violationList().front(), "the data/command line changed during a transfer");
}

/// Like spidev, the board carries out one SPI transfer after another.
TEST_F(BoardDuringAFrame, CarriesOutTheNextTransferAfterTheFrame)
{
    transfer(otherFrame);
    board->timeline.pass(59ms);
    EXPECT_TRUE(isFilledWith(board->screen(), 3));
    board->timeline.pass(61ms);
    EXPECT_EQ(board->violationList(), (Lines{"a frame is longer than its window of 10240 bytes"}));
}

TEST_F(BoardDuringAFrame, CarriesOutI2cTransfersAtTheSameTime)
{
    const auto before = board->timeline.now();
    EXPECT_EQ(selectI2c(LedController::address), 0);
    EXPECT_EQ(write(i2c(), {0x00}), 1);
    EXPECT_EQ(board->timeline.now() - before, 200us);
    board->timeline.pass(60ms);
    EXPECT_TRUE(isFilledWith(board->screen(), 3));
}

TEST_F(BoardDuringAFrame, DoesNotBlockTheMainThread)
{
    const auto before = board->timeline.now();
    EXPECT_EQ(selectI2c(LedController::address), 0);
    board->setButton(true);
    board->turn(1);
    EXPECT_EQ(board->timeline.now(), before);
    board->timeline.pass(60ms);
}

// The traffic log.

TEST_F(BoardTest, LogsEventsWithTheirTimesInMicroseconds)
{
    controlSpi(SPI_IOC_WR_MODE, 3);
    controlSpi(SPI_IOC_WR_BITS_PER_WORD, 8);
    controlSpi(SPI_IOC_WR_MAX_SPEED_HZ, 8000000);
    selectOutput(dataCommandLine);
    selectOutput(resetLine);
    drive(resetLine, true);
    drive(resetLine, false);
    drive(resetLine, true);
    board->timeline.pass(20ms);
    command(0x15, {0x00, 0xFF});
    selectI2c(0x6C);
    write(i2c(), {0x2F, 0x00});
    board->note("wait 20000");
    board->close(spi());
    EXPECT_EQ(board->traffic(),
              (Lines{"0 spi mode 3", "0 spi bits 8", "0 spi speed 8000000", "0 gpio 7 output", "0 gpio 25 output",
                     "0 gpio 25 high", "0 gpio 25 low", "0 gpio 25 high", "20000 spi C 15", "20002 spi D 00 FF",
                     "20004 i2c slave 6C", "20004 i2c write 2F 00", "20294 wait 20000", "20294 spi close"}));
}

TEST_F(BoardTest, LogsConsecutiveEqualEventsOnceWithTheirCountAndFirstTime)
{
    lightDisplay();
    const std::size_t before = board->traffic().size();
    controlSpi(SPI_IOC_WR_MAX_SPEED_HZ, 8000000);
    board->timeline.pass(1ms - board->timeline.now());
    command(0x5C);
    drive(dataCommandLine, true);
    for (std::size_t i = 0; i < frameSize; ++i) {
        write(spi(), {0x00});
    }
    write(spi(), {0x01});
    write(spi(), {0x00});
    auto lines = board->traffic();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(lines, (Lines{"269 spi speed 8000000", "1000 spi C 5C", "1002 spi D 00 x10240", "21482 spi D 01",
                            "21484 spi D 00"}));
}

TEST_F(BoardTest, LogsOnlyTheLengthOfLongTransfers)
{
    write(spi(), Bytes(32, 0xAB));
    write(spi(), Bytes(33, 0xAB));
    const auto lines = board->traffic();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with("AB AB AB"));
    EXPECT_TRUE(lines[1].ends_with("[33 bytes]"));
}

TEST_F(BoardTest, LogsTransfersThatFailed)
{
    selectOutput(dataCommandLine);
    board->setInjectedFault("failing spi", true);
    write(spi(), {0x30});
    board->setInjectedFault("failing i2c", true);
    write(i2c(), {0x00, 0x01});
    EXPECT_EQ(board->traffic(), (Lines{"0 gpio 7 output", "0 spi C 30", "0 i2c write 00 01"}));
}

TEST_F(BoardTest, LogsNothingWhileTheLogIsOff)
{
    board->note("before");
    board->keepTraffic(false);
    board->note("unlogged");
    board->keepTraffic(true);
    board->note("after");
    EXPECT_EQ(board->traffic(), (Lines{"0 before", "0 after"}));
}

} // namespace
