// Compares docs/faults.md with the page generated from the tables of the fault matrix. If the environment variable
// UPDATE_SCREENS is set, writes the page instead.
#include "tests/system/fault_page.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace {

TEST(FaultPage, IsUpToDate)
{
    const std::string page = matrix::faultPage();
    if (std::getenv("UPDATE_SCREENS") != nullptr) {
        ASSERT_TRUE(std::ofstream(FAULT_PAGE) << page);
        return;
    }
    std::ifstream file(FAULT_PAGE);
    const std::string committed{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(committed == page) << FAULT_PAGE << " is out of date; ./dev screens updates it";
}

} // namespace
