// Performs random sequences of user input, progress and script results, and compares the screen with the flow model
// after every step.
#include "tests/system/modelled_device.h"

#include <iostream>
#include <rapidcheck.h>
#include <sstream>

namespace {

enum class Act { TurnLeft, TurnRight, Click, LongPress, Wait, Progress, Noise, Succeed, Fail };

struct Step {
    Act act;
    /// Fail: the exit status. Wait and Noise: scales the length. Progress: the number in the line. Otherwise unused.
    int number;
};

void showValue(const Step& step, std::ostream& stream)
{
    constexpr const char* names[] = {"turn left", "turn right", "click",   "long press", "wait",
                                     "progress",  "noise",      "succeed", "fail"};
    stream << names[static_cast<int>(step.act)] << ' ' << step.number;
}

rc::Gen<Step> anyStep()
{
    return rc::gen::construct<Step>(rc::gen::weightedElement<Act>({{4, Act::TurnLeft},
                                                                   {4, Act::TurnRight},
                                                                   {6, Act::Click},
                                                                   {1, Act::LongPress},
                                                                   {2, Act::Wait},
                                                                   {3, Act::Progress},
                                                                   {1, Act::Noise},
                                                                   {5, Act::Succeed},
                                                                   {1, Act::Fail}}),
                                    rc::gen::inRange(1, 6));
}

class Walk {
public:
    Walk(const std::string& oldVersion, const std::string& newVersion) : walker(oldVersion, newVersion)
    {
        walker.findDrive();
    }

    void take(const Step& step)
    {
        switch (step.act) {
        case Act::TurnLeft:
        case Act::TurnRight:
            walker.turn(step.act == Act::TurnRight);
            break;
        case Act::Click:
            walker.click();
            break;
        case Act::LongPress:
            walker.pressLong();
            break;
        case Act::Wait:
            device->run(static_cast<std::uint64_t>(step.number) * 97);
            break;
        default:
            continueScript(step);
            break;
        }
        walker.settle();
    }

    [[nodiscard]] bool isAsExpected() { return walker.isAsExpected("walk"); }

    [[nodiscard]] bool isOver() const
    {
        return model.place() == FlowModel::Place::Done || model.place() == FlowModel::Place::Failed;
    }

    [[nodiscard]] bool wereTheRightScriptsStarted()
    {
        if (model.isScriptRunning()) {
            walker.currentScript().print(*device, "noise"); // waits until the script has recorded its call
        }
        const std::string format = model.isReset() ? "1\n" : "0\n";
        const bool hasFormatted = !device.format.calls().empty();
        const bool hasInstalled = !device.install.calls().empty();
        const bool mayHaveInstalled = model.place() >= FlowModel::Place::Installing;
        return device.decrypt.calls() == "/dev/sda1\n" && (!hasFormatted || device.format.calls() == format) &&
               (!hasInstalled || (mayHaveInstalled && device.install.calls() == "\n"));
    }

private:
    /// Does nothing unless a script is running.
    void continueScript(const Step& step)
    {
        if (!model.isScriptRunning()) {
            return;
        }
        const sim::ControlledScript& script = walker.currentScript();
        if (step.act == Act::Progress) {
            walker.printProgress(script, "step " + std::to_string(step.number));
        } else if (step.act == Act::Noise) {
            script.print(*device,
                         "noise\n\nSHOW:\n" + std::string(static_cast<std::size_t>(step.number) * 100, 'x') + "\n");
        } else {
            const int status = step.act == Act::Succeed ? 0 : step.number;
            walker.settle(); // the display must show the earlier progress before the result replaces it
            script.exit(*device, status);
            walker.awaitScriptEnd(status);
        }
    }

    ModelledDevice walker;
    TestDevice& device = walker.device;
    FlowModel& model = walker.model;
};

void walkAtRandom()
{
    const auto oldVersion = *rc::gen::element<std::string>("", "1.0", "1.0", "0.9.1-beta");
    const auto newVersion = *rc::gen::element<std::string>("2.0", "10.20.30", "");
    const auto steps = *rc::gen::container<std::vector<Step>>(anyStep());
    Walk walk(oldVersion, newVersion);
    for (const Step& step : steps) {
        walk.take(step);
        RC_ASSERT(walk.isAsExpected());
    }
    RC_ASSERT(walk.wereTheRightScriptsStarted());
    RC_CLASSIFY(walk.isOver(), "reached a final screen");
}

/// The parameter is the number of walks.
class RandomWalk : public testing::TestWithParam<int> {};

TEST_P(RandomWalk, MatchesTheModelAfterEveryStep)
{
    rc::detail::TestParams parameters = rc::detail::configuration().testParams;
    parameters.maxSuccess = GetParam();
    rc::detail::TestMetadata metadata;
    metadata.id = "RandomWalk";
    const rc::detail::TestResult result = rc::detail::checkTestable(walkAtRandom, metadata, parameters);
    std::ostringstream message;
    rc::detail::printResultMessage(result, message);
    std::cout << message.str() << '\n';
    EXPECT_TRUE(result.is<rc::detail::SuccessResult>()) << message.str();
}

INSTANTIATE_TEST_SUITE_P(Short, RandomWalk, testing::Values(10));
INSTANTIATE_TEST_SUITE_P(Long, RandomWalk, testing::Values(100));

} // namespace
