#include "sim/panel/options.h"

#include <gtest/gtest.h>
#include <vector>

namespace sim {

using Arguments = std::vector<std::string>;

TEST(PanelOptions, DefaultToThisComputerOnly)
{
    const PanelOptions options = parsePanelOptions({});
    EXPECT_EQ(options.address, "127.0.0.1");
    EXPECT_EQ(options.port, 7256);
    EXPECT_FALSE(options.wantsHelp);
}

TEST(PanelOptions, AcceptPortAndAddress)
{
    const PanelOptions options = parsePanelOptions(Arguments{"--port", "0", "--bind", "::1", "--help"});
    EXPECT_EQ(options.port, 0);
    EXPECT_EQ(options.address, "::1");
    EXPECT_TRUE(options.wantsHelp);
}

TEST(PanelOptions, RejectEverythingElse)
{
    const Arguments invalid[] = {{"--port"},       {"--port", ""},    {"--port", "65536"},
                                 {"--port", "-1"}, {"--port", "80x"}, {"--bind"},
                                 {"--port=80"},    {"page"},          {""}};
    for (const Arguments& arguments : invalid) {
        EXPECT_THROW((void)parsePanelOptions(arguments), PanelUsageError) << arguments.front();
    }
}

} // namespace sim
