// Hardware devices that fail while the updater runs, a burst of encoder events, and transfers that the LED controller
// refuses.
#include "tests/support/process_census.h"
#include "tests/system/modelled_device.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace {

using Place = FlowModel::Place;

std::string nameOf(Place place)
{
    constexpr std::array<const char*, 8> names = {"Waiting",    "Preparing",  "Menu", "Dialog",
                                                  "Formatting", "Installing", "Done", "Failed"};
    return names[static_cast<std::size_t>(place)];
}

std::string nameOf(std::string fault)
{
    std::replace(fault.begin(), fault.end(), ' ', '_');
    return fault;
}

/// Checks after each test that the updater is still running, and that it has no more threads, children or descriptors
/// than before, except those of a running script.
class FailingDevice : public testing::Test {
protected:
    void SetUp() override
    {
        device.switchOn();
        before = takeCensus(device->processId());
    }
    void TearDown() override
    {
        EXPECT_EQ(device->waitStatus(), std::nullopt);
        const std::size_t running = walker.model.isScriptRunning() ? 1 : 0;
        const ProcessCensus after = takeCensus(device->processId());
        EXPECT_EQ(after.descriptors, before.descriptors + running);
        EXPECT_EQ(after.threads, before.threads);
        EXPECT_EQ(after.children, running);
        EXPECT_EQ(after.zombies, 0U);
    }

    void goTo(Place place)
    {
        while (walker.model.place() != place) {
            walker.advance(false);
        }
        walker.settle();
    }

    ModelledDevice walker{"1.0", "2.0"};
    TestDevice& device = walker.device;
    ProcessCensus before;
};

// The display.

/// The fault begins in one place of the flow and ends in the next place.
class FailingDisplay : public FailingDevice, public testing::WithParamInterface<std::tuple<std::string, Place>> {
protected:
    [[nodiscard]] std::string fault() const { return std::get<std::string>(GetParam()); }
    [[nodiscard]] bool losesPictures() const { return fault() != sim::fault::hangingDisplay; }

    void changePictureTwice()
    {
        for (const char* progress : {"first change", "last change"}) {
            if (walker.model.isScriptRunning()) {
                walker.printProgress(walker.currentScript(), progress);
            } else {
                walker.turn(true);
            }
            walker.settle();
        }
    }

    /// The updater does not resend lost pictures. Without a turning wheel, only user input causes the next picture.
    void causeNextPicture()
    {
        if (losesPictures() && !walker.model.isScriptRunning()) {
            walker.turn(true);
        }
    }
};

TEST_P(FailingDisplay, ShowsTheCurrentScreenWithTheFirstPictureAfterTheFault)
{
    goTo(std::get<Place>(GetParam()));
    const std::uint64_t frames = device->frameCount();
    device->setInjectedFault(fault(), true);
    walker.advance(false);
    walker.settle();
    EXPECT_EQ(device->frameCount(), frames) << "a picture arrived during the fault";
    changePictureTwice();
    device->run(10000);
    device->setInjectedFault(fault(), false);
    causeNextPicture();
    device->run(3000);
    EXPECT_TRUE(walker.showsExpectedScreen("recovered"));
    const bool isCut = fault() == sim::fault::shortTransfers;
    EXPECT_EQ(device->violations().empty(), !isCut);
    for (const std::string& violation : device->violations()) {
        EXPECT_EQ(violation, "a frame is short: 5120 of 10240 bytes");
    }
}

constexpr auto nameOfFaultAndPlace = [](const auto& test) {
    return nameOf(std::get<std::string>(test.param)) + "_from_" + nameOf(std::get<Place>(test.param));
};

using FaultAndPlace = std::tuple<std::string, Place>;

INSTANTIATE_TEST_SUITE_P(Short, FailingDisplay,
                         testing::Values(FaultAndPlace(sim::fault::failingDisplay, Place::Waiting),
                                         FaultAndPlace(sim::fault::shortTransfers, Place::Menu),
                                         FaultAndPlace(sim::fault::hangingDisplay, Place::Formatting)),
                         nameOfFaultAndPlace);

INSTANTIATE_TEST_SUITE_P(Long, FailingDisplay,
                         testing::Combine(testing::Values(sim::fault::failingDisplay, sim::fault::shortTransfers,
                                                          sim::fault::hangingDisplay),
                                          testing::Values(Place::Waiting, Place::Preparing, Place::Menu, Place::Dialog,
                                                          Place::Formatting)),
                         nameOfFaultAndPlace);

// After the last step nothing is redrawn, so a lost picture never arrives. Only a delayed picture can be tested.
INSTANTIATE_TEST_SUITE_P(LastStep, FailingDisplay,
                         testing::Values(FaultAndPlace(sim::fault::hangingDisplay, Place::Installing)),
                         nameOfFaultAndPlace);

// The encoder.

class FailingEncoder : public FailingDevice, public testing::WithParamInterface<const char*> {};

TEST_P(FailingEncoder, DeliversItsEventsAfterTheFault)
{
    goTo(Place::Menu);
    device->setInjectedFault(GetParam(), true);
    device->turn(1);
    device->run(10000);
    EXPECT_TRUE(walker.isAsExpected("not_turned"));
    device->setInjectedFault(GetParam(), false);
    walker.model.turned(true);
    walker.settle();
    EXPECT_TRUE(walker.isAsExpected("turned"));
}

INSTANTIATE_TEST_SUITE_P(Fault, FailingEncoder, testing::Values(sim::fault::failingEncoder, sim::fault::endedEncoder),
                         [](const auto& test) { return nameOf(test.param); });

using FastEncoder = FailingDevice;

TEST_F(FastEncoder, OneRecordIsReadPerIteration)
{
    constexpr int burst = 1000;
    goTo(Place::Menu);
    const std::uint64_t start = device->iteration();
    for (int i = 0; i < burst; ++i) {
        device->queueEncoderEvent(EV_REL, REL_X, 1);
    }
    for (std::uint64_t drawn = start / 20 * 20 + 20; drawn < start + burst + 100; drawn += 20) {
        device->runTo(drawn + 7);
        const std::uint64_t turns = std::min<std::uint64_t>(drawn - start, burst);
        const Selection selection = turns % 2 == 1 ? Selection::First : Selection::Second;
        ASSERT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, selection).screen(), "burst"))
            << "after " << turns << " records";
    }
}

// The LEDs.

using Leds = std::array<std::uint8_t, 18>;

// The number of transfers on the I2C bus, and the positions of some of them, counted from 1. Selecting a device counts
// as a transfer.
constexpr int i2cTransferCount = 23;
constexpr int firstSelection = 1;
constexpr int resetWrite = 2;
constexpr int enableWrite = 3;
constexpr int firstOutputWrite = 4;
constexpr int secondSelection = 22;
constexpr int brightnessWrite = 23;

/// Returns the I2C events without their times, because a refused transfer takes less time.
std::vector<std::string> i2cEvents(const std::vector<std::string>& traffic)
{
    std::vector<std::string> events;
    for (const std::string& line : traffic) {
        const std::size_t at = line.find(" i2c ");
        if (at != std::string::npos) {
            events.push_back(line.substr(at + 1));
        }
    }
    return events;
}

/// Returns the expected outputs if transfer `refused` fails, or if none fails (0). The bar is lit unless a required
/// transfer fails.
Leds ledsWithout(int refused)
{
    Leds leds{};
    const bool isDark = refused == firstSelection || refused == enableWrite || refused == brightnessWrite;
    if (!isDark) {
        std::fill(leds.begin() + 12, leds.end(), std::uint8_t{255});
    }
    if (refused >= firstOutputWrite && refused < secondSelection) {
        leds[static_cast<std::size_t>(refused - firstOutputWrite)] = 0;
    }
    return leds;
}

std::vector<std::string> expectedViolations(int refused)
{
    // Without the first selection, no device answers until the second selection.
    const std::size_t unanswered = refused == firstSelection ? secondSelection - resetWrite : 0;
    return std::vector<std::string>(unanswered, "an I2C write to an unused address");
}

TEST(RefusedI2cTransfer, DoesNotPreventLaterTransfersOrTheFirstPicture)
{
    TestDevice healthy;
    healthy.switchOn();
    const auto events = i2cEvents(healthy->traffic());
    const ProcessCensus census = takeCensus(healthy->processId());
    ASSERT_EQ(events.size(), static_cast<std::size_t>(i2cTransferCount));
    EXPECT_EQ(healthy->leds(), ledsWithout(0));

    for (int refused = 1; refused <= i2cTransferCount; ++refused) {
        SCOPED_TRACE("refused transfer " + std::to_string(refused));
        TestDevice device;
        device.switchOn({.refusedI2cTransfer = refused});
        EXPECT_EQ(i2cEvents(device->traffic()), events);
        EXPECT_EQ(device->leds(), ledsWithout(refused));
        EXPECT_EQ(device->violations(), expectedViolations(refused));
        device->runTo(27);
        EXPECT_EQ(device->frameCount(), 2U) << "expected only the cleared screen and the first picture";
        EXPECT_EQ(device->standardError(), "");
        const ProcessCensus now = takeCensus(device->processId());
        EXPECT_EQ(now.descriptors, census.descriptors);
        EXPECT_EQ(now.threads, census.threads);
    }
}

} // namespace
