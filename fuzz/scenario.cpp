// Parses arbitrary text as a scenario. An accepted scenario must be unchanged after it has been printed and parsed
// again; an error must be one line.
#include "sim/session/scenario.h"
#include "fuzz/fuzz_target.h"

#include <string>
#include <string_view>

namespace {

void checkAccepted(const sim::Scenario& scenario)
{
    const std::string text = print(scenario);
    const sim::Scenario again = sim::parseScenario(text, "printed");
    require(again.setup == scenario.setup, "the printed set-up is parsed to the same set-up");
    require(again.lines.size() == scenario.lines.size(), "the printed scenario has the same number of statements");
    for (std::size_t i = 0; i < again.lines.size(); ++i) {
        require(again.lines[i].statement == scenario.lines[i].statement,
                "each printed statement is parsed to the same statement");
    }
    require(print(again) == text, "a printed scenario that is parsed and printed again is the same text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes), count);
    try {
        checkAccepted(sim::parseScenario(text, "input"));
    } catch (const sim::SyntaxError& error) {
        const std::string_view message = error.what();
        require(message.starts_with("input:"), "an error message begins with the file name");
        require(message.find('\n') == std::string_view::npos, "an error is described in one line");
    }
    return 0;
}
