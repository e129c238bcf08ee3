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

void FrameWriter::post(std::unique_ptr<Frame>& frame)
{
    {
        const std::lock_guard lock(mutex);
        waiting.swap(frame);
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

/// Waits for a frame and takes it from the mailbox. Returns false when the writer is being destroyed and the mailbox is
/// empty.
bool FrameWriter::takeWaiting()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return hasWaiting || isEnding; });
    if (!hasWaiting) {
        return false;
    }
    sending.swap(waiting);
    hasWaiting = false;
    return true;
}

void FrameWriter::send() const
{
    // Write errors are ignored: the next frame tries again.
    driveLow(dcLine);
    [[maybe_unused]] const ssize_t command = write(fd, &st75256::writeDisplayData, 1);
    driveHigh(dcLine);
    [[maybe_unused]] const ssize_t data = write(fd, sending->data(), sending->size());
}
