// Collects the screens of a session.
#include "sim/run/pictures.h"

#include <fstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

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

/// The iterations are counted from 1 again after each power-on.
std::uint64_t Pictures::timeOf(const Observation& seen)
{
    elapsed += seen.iteration < lastIteration ? seen.iteration : seen.iteration - lastIteration;
    lastIteration = seen.iteration;
    return elapsed;
}

} // namespace sim
