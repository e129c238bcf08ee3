// Collects the screens of a session.
#include "sim/run/pictures.h"

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// The number of iterations since the first power-on.
std::uint64_t timeOf(const Observation& seen)
{
    return seen.earlierIterations + seen.iteration;
}

} // namespace

Pictures::Pictures(const fs::path& frameFolder, fs::path movieFile)
    : frames(frameFolder), moviePath(std::move(movieFile))
{}

void Pictures::add(const Observation& seen, const std::string& name)
{
    frames.add(seen.screen, name);
    if (!moviePath.empty()) {
        movie.add(timeOf(seen), seen.screen);
    }
}

void Pictures::writeMovie(const Observation& seen)
{
    if (moviePath.empty()) {
        return;
    }
    const auto screens = movie.screens(timeOf(seen));
    if (screens.empty()) {
        throw std::runtime_error("no screen for the movie " + moviePath.string());
    }
    if (!(std::ofstream(moviePath, std::ios::binary) << animatedPngOf(screens)).flush()) {
        throw std::runtime_error("cannot write " + moviePath.string());
    }
}

} // namespace sim
