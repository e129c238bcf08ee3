// Runs on the emulated board and creates an input device that simulates the rotary encoder. Each number read from
// standard input turns the encoder by that many detents, to the right if positive. As with the kernel's driver for
// rotary encoders, each detent is one relative step and one synchronisation event.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::exit(1);
}

int createDevice()
{
    const int fd = open("/dev/uinput", O_WRONLY);
    if (fd < 0) {
        fail("/dev/uinput");
    }
    uinput_setup setup{};
    setup.id.bustype = BUS_VIRTUAL;
    std::strcpy(setup.name, "rotary encoder");
    if (ioctl(fd, UI_SET_EVBIT, EV_REL) < 0 || ioctl(fd, UI_SET_RELBIT, REL_X) < 0 ||
        ioctl(fd, UI_DEV_SETUP, &setup) < 0 || ioctl(fd, UI_DEV_CREATE) < 0) {
        fail("cannot create the input device");
    }
    return fd;
}

void step(int fd, int direction)
{
    std::array<input_event, 2> report{};
    report[0].type = EV_REL;
    report[0].code = REL_X;
    report[0].value = direction;
    report[1].type = EV_SYN;
    if (write(fd, report.data(), sizeof report) != sizeof report) {
        fail("cannot report a step");
    }
}

} // namespace

int main()
{
    const int fd = createDevice();
    int detents = 0;
    while (std::scanf("%d", &detents) == 1) {
        for (int i = 0; i < std::abs(detents); ++i) {
            step(fd, detents < 0 ? -1 : 1);
        }
    }
}
