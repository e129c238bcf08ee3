// Samples the resources of the waiting updater and counts its frames.
#include "tests/soak/waiting.h"

#include "tests/soak/sample_series.h"
#include "tests/system/system_test.h"

#include <algorithm>
#include <ostream>

namespace soak {

namespace {

constexpr std::uint64_t samplesPerWarmUp = 4;
constexpr std::uint64_t sampleCount = samplesPerWarmUp * SampleSeries::warmUpDivisor;

/// Returns the expected number of frames: the cleared display, the first picture, and one frame for each wheel step.
std::uint64_t framesDue(std::uint64_t iterations)
{
    constexpr std::uint64_t firstPictureShown = 20 + 7; // drawn in iteration 20, on the display 7 iterations later
    return iterations < firstPictureShown ? 1 : 2 + wheelStepsShown(firstPictureShown, iterations);
}

bool isStillWaiting(TestDevice& device, std::uint64_t iterations)
{
    const int wheelFrame = wheelFrameAt(drawingShownAt(iterations), 0);
    const auto expected = ScreenPainter().message(texts::waiting).wheel(wheelFrame).screen();
    return device->screen() == expected && device.isHealthy() && device->standardOutput() == "Starting updater...\n" &&
           device->standardError().empty();
}

} // namespace

bool soakWaiting(std::uint64_t iterations, std::ostream& table)
{
    TestDevice device;
    device.switchOn({.keepsTraffic = false});
    CensusSeries census("updater", sampleCount);
    for (std::uint64_t i = 1; i <= sampleCount; ++i) {
        device->runTo(std::max(iterations * i / sampleCount, device->iteration()));
        census.add(takeCensus(device->processId()));
    }
    const std::uint64_t due = framesDue(iterations);
    const std::uint64_t sent = device->frameCount();
    const bool isWaiting = isStillWaiting(device, iterations);
    table << "Waiting for " << iterations << " iterations:\n";
    census.print(table);
    table << "  frames: " << due << " due, " << sent << " sent: " << (due == sent ? "exact" : "WRONG") << '\n'
          << "  last screen: " << (isWaiting ? "correct" : "WRONG") << '\n';
    return census.isFlat() && due == sent && isWaiting;
}

} // namespace soak
