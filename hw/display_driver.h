// The display (256 by 160 pixels, four greys): an ST75256 controller on SPI, with data/command and reset lines on GPIO.
#pragma once

#include "graphics/bitmap.h"
#include "hw/file_descriptor.h"
#include "hw/frame.h"
#include "hw/frame_writer.h"

#include <cstdint>
#include <memory>

/// The destructor blocks until the last frame has been sent.
class DisplayDriver {
public:
    /// Opens /dev/spidev`bus`.`chipSelect`, resets and initialises the controller, clears its memory and turns the
    /// display on, which takes at least 330 ms. Call it once. Reports on standard error if the device cannot be opened
    /// or configured; frames are then dropped. Write errors are ignored.
    void open(int bus, int chipSelect, std::uint32_t busSpeedHz, int dataCommandLine, int controllerResetLine);
    /// Packs the canvas, which must have at least 256 by 160 pixels with values 0 to 3, and returns without waiting for
    /// the transfer.
    void sendFrame(const Bitmap& canvas);

    // These may be called only before the first frame; afterwards, the frame writer owns the bus.

    void writeCommand(std::uint8_t byte);
    void writeData(std::uint8_t byte);
    /// Sets the address window to the whole display, once for all frames, and fills the display memory with
    /// zeros.
    void clearDisplayRam();

private:
    [[nodiscard]] bool configureBus();
    void resetController();
    void initialiseController();

    int dcLine = -1;
    int resetLine = -1;
    std::uint32_t speedHz = 0;
    FileDescriptor spi;
    std::unique_ptr<Frame> frameBuffer;
    bool hasSentFrame = false;
    /// Null unless the display is ready. Declared last, so it is destroyed before the descriptor that it uses.
    std::unique_ptr<FrameWriter> writer;
};
