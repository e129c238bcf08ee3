// Explores the running program from power-on: tries every possible act in every state, breadth first.
#pragma once

#include "sim/map/explored_device.h"

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace sim {

/// Something that can happen to the device.
struct Act {
    std::string_view name;
    bool (*isPossible)(const State& state);
    void (*perform)(ExploredDevice& device);
};

[[nodiscard]] const std::vector<Act>& allActs();

/// Operations throw DeviceEnded if the program ends, and std::runtime_error if it violates a protocol or reacts
/// differently to the same acts.
class Explorer {
public:
    struct Transition {
        const Act* act;
        std::size_t target;
    };

    /// A state and the results of all acts that are possible in it.
    struct Node {
        State state;
        /// A shortest sequence of acts that leads to the state.
        std::vector<const Act*> path;
        std::vector<Transition> transitions{};
    };

    explicit Explorer(ExploredDevice::Programs chosenPrograms);

    [[nodiscard]] const WheelFrames& getWheel() const { return *wheel; }

    /// Returns all states that can be reached. The first one is the state after power-on.
    const std::vector<Node>& explore();

private:
    void restart();
    void visit(std::size_t number);
    void take(const Act& act);
    [[nodiscard]] std::size_t numberOf(const State& state, const std::vector<const Act*>& path);
    [[nodiscard]] State observe();
    [[nodiscard]] const Act* nextAct(std::size_t number) const;

    const ExploredDevice::Programs programs;
    std::optional<WheelFrames> wheel;
    std::unique_ptr<ExploredDevice> device;
    /// The node that `device` has reached.
    std::size_t current = 0;
    std::vector<Node> nodes;
    std::map<State, std::size_t> numbers;
};

} // namespace sim
