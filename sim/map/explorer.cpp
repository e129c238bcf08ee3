// Lists the acts and searches the states.
#include "sim/map/explorer.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace sim {

namespace {

bool always(const State& /*state*/)
{
    return true;
}

bool isUnplugged(const State& state)
{
    return !state.hasDrive;
}

bool isPlugged(const State& state)
{
    return state.hasDrive;
}

bool isScriptRunning(const State& state)
{
    return !state.place.script.empty();
}

bool isDecrypting(const State& state)
{
    return state.place.script.starts_with("decrypt.sh");
}

bool isWorking(const State& state)
{
    return isScriptRunning(state) && !isDecrypting(state);
}

} // namespace

/// If decrypt.sh fails, the updater has a message for each of the exit statuses 1, 2 and 3, and none for the others,
/// which "exit 4" represents. If another script fails, the message does not depend on the exit status.
const std::vector<Act>& allActs()
{
    using Device = ExploredDevice;
    static const std::vector<Act> acts = {
        {"turn right", always, [](Device& device) { device.turn(1); }},
        {"turn left", always, [](Device& device) { device.turn(-1); }},
        {"click", always, [](Device& device) { device.click(); }},
        {"long press", always, [](Device& device) { device.pressLong(); }},
        {"plug", isUnplugged, [](Device& device) { device.plug(); }},
        {"unplug", isPlugged, [](Device& device) { device.unplug(); }},
        {"progress", isScriptRunning, [](Device& device) { device.printProgress(); }},
        {"success, older version installed", isDecrypting, [](Device& device) { device.endScript(0, true); }},
        {"success, no version installed", isDecrypting, [](Device& device) { device.endScript(0, false); }},
        {"success", isWorking, [](Device& device) { device.endScript(0); }},
        {"exit 1", isScriptRunning, [](Device& device) { device.endScript(1); }},
        {"exit 2", isDecrypting, [](Device& device) { device.endScript(2); }},
        {"exit 3", isDecrypting, [](Device& device) { device.endScript(3); }},
        {"exit 4", isDecrypting, [](Device& device) { device.endScript(4); }},
        {"killed", isScriptRunning, [](Device& device) { device.killScript(); }},
    };
    return acts;
}

Explorer::Explorer(ExploredDevice::Programs chosenPrograms) : programs(std::move(chosenPrograms))
{
    ExploredDevice first(programs);
    wheel = WheelFrames(first.settle());
}

const std::vector<Explorer::Node>& Explorer::explore()
{
    restart();
    current = numberOf(observe(), {});
    for (std::size_t number = 0; number < nodes.size(); ++number) {
        while (const Act* act = nextAct(number)) {
            visit(number);
            take(*act);
        }
    }
    return nodes;
}

void Explorer::restart()
{
    device.reset(); // removes the folder that the next device uses
    device = std::make_unique<ExploredDevice>(programs);
}

/// Brings the device to the state with this number. Starts a new device unless the device is already in that state.
void Explorer::visit(std::size_t number)
{
    if (current == number) {
        return;
    }
    restart();
    State state = observe();
    for (const Act* act : nodes[number].path) {
        act->perform(*device);
        state = observe();
    }
    if (state != nodes[number].state) {
        throw std::runtime_error("the program reacts differently to the same inputs");
    }
    current = number;
}

void Explorer::take(const Act& act)
{
    act.perform(*device);
    auto path = nodes[current].path;
    path.push_back(&act);
    const std::size_t target = numberOf(observe(), path);
    nodes[current].transitions.push_back({&act, target});
    current = target;
}

std::size_t Explorer::numberOf(const State& state, const std::vector<const Act*>& path)
{
    const auto [entry, isNew] = numbers.try_emplace(state, nodes.size());
    if (isNew) {
        nodes.push_back({state, path});
    }
    return entry->second;
}

State Explorer::observe()
{
    State state = device->state(*wheel);
    for (const std::string& violation : device->violations()) {
        throw std::runtime_error("protocol violation: " + violation);
    }
    return state;
}

/// The first possible act that has not been taken in the state; null if there is none.
const Act* Explorer::nextAct(std::size_t number) const
{
    const Node& node = nodes[number];
    const auto isOpen = [&](const Act& act) {
        return act.isPossible(node.state) &&
               std::none_of(node.transitions.begin(), node.transitions.end(),
                            [&](const Transition& transition) { return transition.act == &act; });
    };
    const auto& acts = allActs();
    const auto found = std::find_if(acts.begin(), acts.end(), isOpen);
    return found == acts.end() ? nullptr : &*found;
}

} // namespace sim
