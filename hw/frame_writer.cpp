// The thread that sends frames.
#include "hw/frame_writer.h"

#include "hw/gpio_registers.h"
#include "hw/st75256.h"

#include <unistd.h>

FrameWriter::FrameWriter(int spi, int dataCommandLine)
    : fd(spi), dcLine(dataCommandLine), thread(&FrameWriter::run, this)
{}

FrameWriter::~FrameWriter()
{
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
    }
    changed.notify_one();
    thread.join();
}

void FrameWriter::post(const Frame& frame)
{
    {
        const std::lock_guard lock(mutex);
        waiting = frame;
        hasWaiting = true;
    }
    changed.notify_one();
}

void FrameWriter::run()
{
    while (takeWaiting()) {
        send();
    }
}

/// Waits for a frame and takes it out of the mailbox. False when there is none and there will be none.
bool FrameWriter::takeWaiting()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return hasWaiting || isEnding; });
    if (!hasWaiting) {
        return false;
    }
    sending = waiting;
    hasWaiting = false;
    return true;
}

void FrameWriter::send() const
{
    // Nothing can be done about a failing write here; the next frame is the next try.
    driveLow(dcLine);
    [[maybe_unused]] const ssize_t command = write(fd, &st75256::writeDisplayData, 1);
    driveHigh(dcLine);
    [[maybe_unused]] const ssize_t data = write(fd, sending.data(), sending.size());
}
