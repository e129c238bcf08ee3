// The pictures that a run saves: every distinct screen, and a movie.
#pragma once

#include "sim/run/frame_folder.h"
#include "sim/session/movie.h"
#include "sim/session/observation.h"

#include <filesystem>
#include <string>

namespace sim {

class Pictures {
public:
    /// Saves no screens if `frameFolder` is empty, and no movie if `movieFile` is empty. Throws std::runtime_error if
    /// the folder cannot be created.
    Pictures(const std::filesystem::path& frameFolder, std::filesystem::path movieFile);

    /// Adds the current screen. `name` is its name; empty if it has none.
    void add(const Observation& seen, const std::string& name);
    /// Writes the movie up to now. Throws std::runtime_error if there is no screen or the file cannot be written.
    void writeMovie(const Observation& seen);

private:
    FrameFolder frames;
    const std::filesystem::path moviePath;
    Movie movie;
};

} // namespace sim
