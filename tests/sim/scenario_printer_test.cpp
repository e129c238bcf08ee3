// Tests for the movie of a session in which the device is switched off and on.
#include "sim/run/scenario_printer.h"

#include "tests/sim/png_chunks.h"
#include "tests/support/scratch_folder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

/// The sum of the delays in the frame control chunks, in milliseconds.
std::uint64_t millisecondsOf(const std::string& movie)
{
    constexpr std::size_t delay = 20;
    std::uint64_t sum = 0;
    for (const Chunk& chunk : chunksOf(movie)) {
        if (chunk.type == "fcTL") {
            EXPECT_EQ(numberAt(chunk.data, delay + 2, 2), 1000U);
            sum += numberAt(chunk.data, delay, 2);
        }
    }
    return sum;
}

TEST(ScenarioPrinter, AMovieLastsAsLongAsAllPowerCyclesTogether)
{
    const ScratchFolder folder;
    sim::DeviceFiles files(SIM_DIR "/scripts", SIM_DIR "/firmware");
    sim::Session session(files, {UPDATER, PRELOAD, {}});
    const sim::ReferenceScreens references(SCREENS_DIR);
    sim::Pictures pictures({}, folder / "movie.png");
    std::ostringstream output;
    sim::ScenarioPrinter printer(session, references, pictures, output);
    std::uint64_t total = 0;
    // The second frame is complete in iteration 27, so two of the power cycles have only one frame.
    for (const std::uint64_t iterations : {10U, 500U, 20U, 200U}) {
        session.apply({sim::Verb::PowerOn}); // no effect the first time
        printer.update();
        session.run(iterations - 1);
        printer.update();
        total += iterations;
        session.apply({sim::Verb::PowerOff});
    }
    pictures.writeMovie(session.observe());
    // The movie begins at the end of the first iteration.
    EXPECT_EQ(millisecondsOf(folder.read("movie.png")), total - 1) << output.str();
}

} // namespace
