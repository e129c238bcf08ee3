#include "sim/session/movie.h"

#include <gtest/gtest.h>

namespace sim {

namespace {

Screen filledWith(std::uint8_t level)
{
    Screen screen;
    screen.fill(level);
    return screen;
}

/// The grey level of each screen, and its duration in milliseconds.
std::vector<std::pair<int, unsigned>> contentOf(const Movie& movie, std::uint64_t iteration)
{
    std::vector<std::pair<int, unsigned>> content;
    for (const TimedScreen& timed : movie.screens(iteration)) {
        content.emplace_back(timed.screen[0], timed.milliseconds);
    }
    return content;
}

using Content = std::vector<std::pair<int, unsigned>>;

} // namespace

TEST(Movie, ShowsEachScreenUntilTheNext)
{
    Movie movie;
    movie.add(0, filledWith(0));
    movie.add(100, filledWith(1));
    movie.add(250, filledWith(1));
    movie.add(300, filledWith(2));
    EXPECT_EQ(contentOf(movie, 1000), (Content{{0, 100}, {1, 200}, {2, 700}}));
}

TEST(Movie, AScreenAddedInTheLastIterationHasDuration0)
{
    Movie movie;
    movie.add(0, filledWith(3));
    EXPECT_EQ(contentOf(movie, 0), (Content{{3, 0}}));
}

TEST(Movie, ContainsOnlyTheEndOfALongRun)
{
    Movie movie(60'000);
    movie.add(0, filledWith(0));
    movie.add(30'000, filledWith(1));
    movie.add(70'000, filledWith(2));
    EXPECT_EQ(contentOf(movie, 80'000), (Content{{0, 10'000}, {1, 40'000}, {2, 10'000}}));
    EXPECT_EQ(contentOf(movie, 200'000), (Content{{2, 60'000}}));
    movie.add(200'000, filledWith(3));
    EXPECT_EQ(contentOf(movie, 200'000), (Content{{2, 60'000}, {3, 0}}));
}

} // namespace sim
