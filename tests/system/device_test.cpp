// Devices that fail while the updater runs.
#include "tests/support/process_census.h"
#include "tests/system/modelled_device.h"

#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <iterator>
#include <linux/input.h>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

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

/// The device on its way through an update, and what its updater holds of the system.
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
        walker.comeToRest();
    }

    ModelledDevice walker{"1.0", "2.0"};
    TestDevice& device = walker.device;
    ProcessCensus before;
};

// The display.

/// The fault begins in a place, and lasts beyond the step to the next one.
class FailingDisplay : public FailingDevice, public testing::WithParamInterface<std::tuple<std::string, Place>> {
protected:
    [[nodiscard]] std::string fault() const { return std::get<std::string>(GetParam()); }
    [[nodiscard]] bool losesPictures() const { return fault() != sim::fault::hangingDisplay; }

    /// So that there is one to be overtaken by the last.
    void changeThePictureTwice()
    {
        for (const char* progress : {"meanwhile", "last of all"}) {
            if (walker.model.isScriptRunning()) {
                walker.tell(walker.currentScript(), progress);
            } else {
                walker.turn(true);
            }
            walker.comeToRest();
        }
    }

    /// A picture that was lost is not sent again. The wheel brings the next one by itself; where it is gone, the knob.
    void bringTheNextPicture()
    {
        if (losesPictures() && !walker.model.isScriptRunning()) {
            walker.turn(true);
        }
    }
};

TEST_P(FailingDisplay, ShowsWhereTheUpdaterIsOnceTheBusWorksAgain)
{
    goTo(std::get<Place>(GetParam()));
    const std::uint64_t frames = device->frameCount();
    device->setInjectedFault(fault(), true);
    walker.advance(false);
    walker.comeToRest();
    EXPECT_EQ(device->frameCount(), frames) << "no picture arrives";
    changeThePictureTwice();
    device->run(10000);
    device->setInjectedFault(fault(), false);
    bringTheNextPicture();
    device->run(3000);
    EXPECT_TRUE(walker.showsWhatItShould("recovered"));
    const bool isCut = fault() == sim::fault::shortTransfers;
    EXPECT_EQ(device->violations().empty(), !isCut);
    EXPECT_THAT(device->violations(), testing::Each("a frame is short: 5120 of 10240 bytes"));
}

constexpr auto nameOfCell = [](const auto& test) {
    return nameOf(std::get<std::string>(test.param)) + "_from_" + nameOf(std::get<Place>(test.param));
};

INSTANTIATE_TEST_SUITE_P(Fault, FailingDisplay,
                         testing::Combine(testing::Values(sim::fault::failingDisplay, sim::fault::shortTransfers,
                                                          sim::fault::hangingDisplay),
                                          testing::Values(Place::Waiting, Place::Preparing, Place::Menu, Place::Dialog,
                                                          Place::Formatting)),
                         nameOfCell);

// Nothing is drawn after the last step of all, so that only a picture that is merely late arrives.
INSTANTIATE_TEST_SUITE_P(LastStep, FailingDisplay,
                         testing::Combine(testing::Values(sim::fault::hangingDisplay),
                                          testing::Values(Place::Installing)),
                         nameOfCell);

// The encoder.

class FailingEncoder : public FailingDevice, public testing::WithParamInterface<const char*> {};

TEST_P(FailingEncoder, LosesNothing)
{
    goTo(Place::Menu);
    device->setInjectedFault(GetParam(), true);
    device->turn(1);
    device->run(10000);
    EXPECT_TRUE(walker.isAsExpected("not_turned"));
    device->setInjectedFault(GetParam(), false);
    walker.model.turned(true);
    walker.comeToRest();
    EXPECT_TRUE(walker.isAsExpected("turned"));
}

INSTANTIATE_TEST_SUITE_P(Fault, FailingEncoder, testing::Values(sim::fault::failingEncoder, sim::fault::endedEncoder),
                         [](const auto& test) { return nameOf(test.param); });

using HurriedEncoder = FailingDevice;

TEST_F(HurriedEncoder, ABurstOfAThousandRecordsIsWorkedOffOneAnIteration)
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

/// What is attempted on the bus, in this order.
constexpr int i2cTransferCount = 23;
constexpr int firstSelection = 1;
constexpr int resetWrite = 2;
constexpr int enableWrite = 3;
constexpr int firstOutputWrite = 4;
constexpr int secondSelection = 22;
constexpr int brightnessWrite = 23;

std::vector<std::string> i2cEvents(const std::vector<std::string>& traffic)
{
    std::vector<std::string> events;
    std::copy_if(traffic.begin(), traffic.end(), std::back_inserter(events),
                 [](const std::string& line) { return line.find(" i2c ") != std::string::npos; });
    return events;
}

/// The bar shines, unless something that it needs was refused.
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

class RefusedI2cTransfer : public testing::TestWithParam<int> {
protected:
    [[nodiscard]] static std::vector<std::string> expectedViolations(int refused)
    {
        // Without the first selection nobody is spoken to until the second.
        const std::size_t unanswered = refused == firstSelection ? secondSelection - resetWrite : 0;
        return std::vector<std::string>(unanswered, "an I2C write to an address where nothing answers");
    }
};

TEST_P(RefusedI2cTransfer, CostsItsOwnEffectAndNothingElse)
{
    TestDevice healthy;
    healthy.switchOn();
    const auto events = i2cEvents(healthy->traffic());
    ASSERT_EQ(events.size(), static_cast<std::size_t>(i2cTransferCount));
    EXPECT_EQ(healthy->leds(), ledsWithout(0));

    TestDevice device;
    device.switchOn({.refusedI2cTransfer = GetParam()});
    EXPECT_EQ(i2cEvents(device->traffic()), events);
    EXPECT_EQ(device->leds(), ledsWithout(GetParam()));
    EXPECT_EQ(device->violations(), expectedViolations(GetParam()));
    device->runTo(27);
    EXPECT_EQ(device->frameCount(), 2U) << "the cleared screen and the first picture";
    EXPECT_EQ(device->standardError(), "");
    const pid_t process = device->processId();
    EXPECT_EQ(takeCensus(process).descriptors, takeCensus(healthy->processId()).descriptors);
    EXPECT_EQ(takeCensus(process).threads, 2U);
}

INSTANTIATE_TEST_SUITE_P(Number, RefusedI2cTransfer, testing::Range(1, i2cTransferCount + 1));

// Without some of them.

TEST(AbsentDevices, AreMissedByNobodyDuringAWholeUpdate)
{
    TestDevice device;
    device.switchOn({.injectedFaults = {sim::fault::absentDisplay, sim::fault::absentLeds}});
    device.toInstalling(false);
    device.install.exit(*device, 0);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\nEverything done");
    EXPECT_EQ(device->standardError(), "Unable to open SPI\n");
}

} // namespace
