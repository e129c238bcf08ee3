// Tests of the sample series and the options of the soak test.
#include "tests/soak/options.h"
#include "tests/soak/sample_series.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using soak::SampleSeries;

constexpr std::uint64_t sampleCount = 2 * SampleSeries::warmUpDivisor; // the first two samples are the warm-up

struct SampledRun {
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t later;
    std::uint64_t last;
    bool isFlat;
};

TEST(SampleSeries, IsFlatUnlessALaterSampleExceedsTheWarmUp)
{
    for (const SampledRun& run :
         {SampledRun{5, 5, 5, 5, true}, SampledRun{1, 5, 5, 5, true}, SampledRun{5, 1, 4, 5, true},
          SampledRun{5, 5, 0, 0, true}, SampledRun{1, 2, 3, 2, false}, SampledRun{5, 5, 5, 6, false},
          SampledRun{0, 0, 0, 1, false}}) {
        SampleSeries series("tested", sampleCount);
        series.add(run.first);
        series.add(run.second);
        for (std::uint64_t i = 3; i < sampleCount; ++i) {
            series.add(run.later);
        }
        series.add(run.last);
        EXPECT_EQ(series.isFlat(), run.isFlat) << run.first << ' ' << run.second << ' ' << run.later << ' ' << run.last;
    }
}

soak::Options parse(std::vector<std::string> arguments)
{
    std::vector<char*> words;
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    return soak::parseOptions(words);
}

TEST(SoakOptions, OverrideTheDefaultsOfADayAndAThousandUpdates)
{
    EXPECT_EQ(parse({}).iterations, 24U * 60 * 60 * 1000);
    EXPECT_EQ(parse({}).updates, 1000U);
    const soak::Options options = parse({"--updates", "48", "--iterations", "3600000"});
    EXPECT_EQ(options.iterations, 3'600'000U);
    EXPECT_EQ(options.updates, 48U);
    EXPECT_EQ(parse({"--updates", "0"}).updates, 0U);
}

TEST(SoakOptions, RejectInvalidArguments)
{
    for (const std::vector<std::string>& wrong :
         std::vector<std::vector<std::string>>{{"--days", "3"},
                                               {"48"},
                                               {"--updates"},
                                               {"--updates", ""},
                                               {"--updates", "47"},
                                               {"--updates", "-48"},
                                               {"--iterations", "1e9"},
                                               {"--iterations", "99999999999999999999"}}) {
        EXPECT_THROW(parse(wrong), soak::UsageError) << wrong.front();
    }
}

} // namespace
