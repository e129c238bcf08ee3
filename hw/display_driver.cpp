// Initialises the display and passes frames to the writer.
#include "hw/display_driver.h"

#include "hw/frame_packer.h"
#include "hw/gpio_registers.h"
#include "hw/st75256.h"

#include <cassert>
#include <cstdio>
#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <string>
#include <sys/ioctl.h>
#include <tuple>
#include <unistd.h>

using namespace st75256;

namespace {

enum class Kind : std::uint8_t { command, data };
using enum Kind;

struct InitStep {
    Kind kind;
    std::uint8_t byte;
    std::uint8_t waitAfterMs = 0;
};

constexpr InitStep initSequence[] = {
    {command, extensionCommand1},
    {command, enableMaster},
    {command, extensionCommand2},
    {command, autoReadControl},
    {data, 0x9F}, // disabled
    {command, otpControl},
    {data, 0x00, 20}, // reading enabled
    {command, otpUpload, 20},
    {command, otpControlOut},
    {command, extensionCommand1},
    {command, sleepOut},
    {command, displayOff, 50},
    {command, powerControl},
    {data, 0x0B}, // booster, regulator and follower on
    {command, dataFormatLsbOnTop},
    {command, setVop},
    {data, 0x10}, // low bits
    {data, 0x04}, // high bits
    {command, extensionCommand2},
    {command, analogCircuitSet},
    {data, 0x00},
    {data, 0x01}, // booster efficiency
    {data, 0x02}, // bias
    {command, boosterLevel},
    {data, 0xFB},
    {command, extensionCommand1},
    {command, displayMode},
    {data, 0x11}, // four greys
    {command, displayControl},
    {data, 0x00}, // clock division
    {data, 0x9F}, // duty: 160 lines
    {data, 0x00}, // frame inversion
    {command, extensionCommand2},
    {command, temperatureRange},
    {data, 0x1E},
    {data, 0x28},
    {data, 0x32},
    {command, frameRate}, // one value per temperature range
    {data, 0x16},
    {data, 0x16},
    {data, 0x16},
    {data, 0x16},
    {command, extensionCommand1},
    {command, dataScanDirection},
    {data, 0x00},
    {command, normalDisplay},
    {command, extensionCommand2},
    {command, internalPowerSupply},
};

constexpr InitStep addressWindow[] = {
    {command, extensionCommand1},
    {command, columnAddressSet},
    {data, 0x00},             // first
    {data, displayWidth - 1}, // last
    {command, pageAddressSet},
    {data, 0x00},              // first
    {data, displayHeight - 1}, // last
};

void waitMs(unsigned milliseconds)
{
    usleep(milliseconds * 1000);
}

void send(DisplayDriver& display, const InitStep& step)
{
    if (step.kind == command) {
        display.writeCommand(step.byte);
    } else {
        display.writeData(step.byte);
    }
    if (step.waitAfterMs != 0) {
        waitMs(step.waitAfterMs);
    }
}

} // namespace

void DisplayDriver::open(int bus, int chipSelect, std::uint32_t busSpeedHz, int dataCommandLine,
                         int controllerResetLine)
{
    dcLine = dataCommandLine;
    resetLine = controllerResetLine;
    speedHz = busSpeedHz;
    frameBuffer = std::make_unique<Frame>();

    selectOutput(dcLine);
    selectOutput(resetLine);

    const std::string path = "/dev/spidev" + std::to_string(bus) + "." + std::to_string(chipSelect);
    spi = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!spi.isOpen()) {
        std::fputs("Unable to open SPI\n", stderr);
        return;
    }
    if (!configureBus()) {
        spi = FileDescriptor();
        return;
    }
    resetController();
    initialiseController();
    clearDisplayRam();
    writeCommand(displayOn);
    writer = std::make_unique<FrameWriter>(spi.get(), dcLine);
}

bool DisplayDriver::configureBus()
{
    std::uint8_t mode = SPI_MODE_3; // clock idles high, data is sampled on the second edge
    std::uint8_t bitsPerWord = 8;
    const struct {
        unsigned long request;
        void* value;
        const char* failure;
    } settings[] = {
        {SPI_IOC_WR_MODE, &mode, "Unable to set SPI mode\n"},
        {SPI_IOC_WR_BITS_PER_WORD, &bitsPerWord, "Unable to set SPI bits\n"},
        {SPI_IOC_WR_MAX_SPEED_HZ, &speedHz, "Unable to set SPI baud\n"},
    };
    for (const auto& setting : settings) {
        if (ioctl(spi.get(), setting.request, setting.value) < 0) {
            std::fputs(setting.failure, stderr);
            return false;
        }
    }
    return true;
}

void DisplayDriver::resetController()
{
    driveHigh(resetLine);
    waitMs(20);
    driveLow(resetLine);
    waitMs(20);
    driveHigh(resetLine);
    waitMs(200);
}

void DisplayDriver::initialiseController()
{
    for (const InitStep& step : initSequence) {
        send(*this, step);
    }
}

void DisplayDriver::clearDisplayRam()
{
    for (const InitStep& step : addressWindow) {
        send(*this, step);
    }
    writeCommand(writeDisplayData);
    for (std::size_t i = 0; i < std::tuple_size_v<Frame>; ++i) {
        writeData(0x00);
    }
}

void DisplayDriver::writeCommand(std::uint8_t byte)
{
    assert(!hasSentFrame);
    driveLow(dcLine);
    [[maybe_unused]] const ssize_t ignored = write(spi.get(), &byte, 1);
}

void DisplayDriver::writeData(std::uint8_t byte)
{
    assert(!hasSentFrame);
    driveHigh(dcLine);
    [[maybe_unused]] const ssize_t ignored = write(spi.get(), &byte, 1);
}

void DisplayDriver::sendFrame(const Bitmap& canvas)
{
    if (writer == nullptr) {
        return; // the display failed to open; the program continues without it
    }
    packFrame(canvas, *frameBuffer);
    writer->post(frameBuffer);
    hasSentFrame = true;
}
