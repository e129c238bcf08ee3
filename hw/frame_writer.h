// Sends frames to the display on a separate thread, so the caller does not wait for the bus.
#pragma once

#include "hw/frame.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

/// A mailbox for one frame and a thread that owns the bus and the data/command line. A posted frame waits while the
/// previous frame is being sent; a newer frame replaces the waiting frame. Frames are never mixed, and the last frame
/// posted is always sent.
class FrameWriter {
public:
    /// `spi` is the descriptor of the open spidev device; `dataCommandLine` is the GPIO line that selects data or
    /// command. From the first `post` until the writer is destroyed, nothing else may use them. The writer does not
    /// close `spi`.
    FrameWriter(int spi, int dataCommandLine);
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;
    /// Blocks until the last frame posted has been sent.
    ~FrameWriter();

    /// Takes the frame and replaces it with a buffer whose contents are undefined. Never waits for a transfer.
    void post(std::unique_ptr<Frame>& frame);

private:
    void run();
    bool takeWaiting();
    void send() const;

    const int fd;
    const int dcLine;

    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex.
    std::unique_ptr<Frame> waiting = std::make_unique<Frame>();
    bool hasWaiting = false;
    bool isEnding = false;

    /// Used only by the writer's thread.
    std::unique_ptr<Frame> sending = std::make_unique<Frame>();
    std::thread thread;
};
