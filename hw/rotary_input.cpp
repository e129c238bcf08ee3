// Reads the encoder's event device.
#include "hw/rotary_input.h"

#include <cstdio>
#include <fcntl.h>
#include <linux/input.h>
#include <unistd.h>

static_assert(sizeof(input_event) == 24, "must be the event record of a 64-bit kernel");

void RotaryInput::open()
{
    fd = ::open("/dev/input/event0", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        std::fputs("Error opening rotary event device\n", stderr);
    }
}

std::int32_t RotaryInput::readStep()
{
    input_event event{};
    const bool isWhole = read(fd, &event, sizeof event) == sizeof event;
    // Deliberate: type and code are ignored. The only records other than movements are synchronisation events, whose
    // value is 0.
    return isWhole ? event.value : 0;
}
