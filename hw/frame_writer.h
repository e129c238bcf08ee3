// Sends frames to the display from a thread of its own, so that nobody waits for the bus.
#pragma once

#include "hw/frame.h"

#include <condition_variable>
#include <mutex>
#include <thread>

/// A mailbox of one in front of a thread that owns the bus and the data/command line: a posted frame waits while
/// another is being sent and is replaced when a newer one comes, so the last frame posted always goes out, whole.
class FrameWriter {
public:
    /// `spi` is the opened spidev device, `dataCommandLine` the GPIO line of the data/command select. From here on
    /// nobody else may use either.
    FrameWriter(int spi, int dataCommandLine);
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;
    /// Returns when the running transfer has ended and the last frame posted is out.
    ~FrameWriter();

    /// Copies the frame and returns; never waits for a transfer.
    void post(const Frame& frame);

private:
    void run();
    bool takeWaiting();
    void send() const;

    const int fd;
    const int dcLine;

    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex.
    Frame waiting{};
    bool hasWaiting = false;
    bool isEnding = false;

    /// The thread's own.
    Frame sending{};
    std::thread thread;
};
