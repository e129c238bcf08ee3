// The 256 by 160, four-grey display: an ST75256 controller on SPI, with two GPIO lines beside the bus.
#pragma once

#include "graphics/bitmap.h"
#include "hw/frame.h"
#include "hw/frame_writer.h"

#include <cstdint>
#include <memory>

class DisplayDriver {
public:
    DisplayDriver() = default;
    DisplayDriver(const DisplayDriver&) = delete;
    DisplayDriver& operator=(const DisplayDriver&) = delete;
    /// The last frame goes out whole before the device is closed.
    ~DisplayDriver();

    /// Opens /dev/spidev`bus`.`chipSelect`, resets and initialises the controller and clears its memory, which
    /// takes at least a third of a second. To be called once. A failure is said on standard error; frames are then
    /// lost.
    void open(int bus, int chipSelect, std::uint32_t busSpeedHz, int dataCommandLine, int controllerResetLine);
    /// Packs the canvas, at least 256 by 160 pixels of value 0 to 3, and returns without waiting for its transfer.
    void sendFrame(const Bitmap& canvas);

    // These three are for the time between `open` and the first frame; from then on the frame writer owns the bus.

    void writeCommand(std::uint8_t byte);
    void writeData(std::uint8_t byte);
    /// Sets the address window to the whole display, for good, and fills it with zeros.
    void clearDisplayRam();

private:
    [[nodiscard]] bool configureBus();
    void resetController();
    void initialiseController();

    int dcLine = -1;
    int resetLine = -1;
    std::uint32_t speedHz = 0;
    int fd = -1;
    std::unique_ptr<Frame> frameBuffer;
    /// Only while the display is ready.
    std::unique_ptr<FrameWriter> writer;
};
