// Plays a scenario, and checks its expectations.
#pragma once

#include "sim/session/reference_screens.h"
#include "sim/session/session.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace sim {

class ScenarioPlayer {
public:
    /// How long an "await" waits by default, in iterations.
    static constexpr std::uint64_t longestWait = 60000;

    /// `chosenSession` must be new, with the set-up of the scenario to be played. `play` calls `callAfterRunning` at
    /// its start, after each input, and at least every 20 iterations. The device sends at most one frame in 20
    /// iterations. An "await" fails after `chosenWaitLimit` iterations.
    ScenarioPlayer(Session& chosenSession, const DeviceFiles& files, const ReferenceScreens& screens,
                   std::function<void()> callAfterRunning, std::uint64_t chosenWaitLimit = longestWait);

    /// Executes the lines of the scenario. Returns a description of the last awaited or expected screen, memory
    /// contents or program state; empty if there was none. Throws std::runtime_error with the message "NAME:LINE: ..."
    /// if a statement fails, or after a protocol violation or the end of the updater, unless the scenario expects it.
    std::string play(const Scenario& scenario, const std::string& name);

private:
    void execute(const Statement& statement);
    void press(std::uint64_t iterations);
    void run(std::uint64_t iterations);
    void runTo(std::uint64_t iteration);

    void await(const Statement& statement);
    [[nodiscard]] bool findScriptStart(const std::string& command);
    /// Runs until `isTrue` returns true. Throws if the updater is not running, or after `waitLimit` iterations.
    /// `awaited` describes the event.
    void runUntil(const std::function<bool()>& isTrue, const std::string& awaited);

    void expect(const Statement& statement);
    void keepMemory();
    void expectMemoryUnchanged();
    void expectLeds(const Statement& statement);
    void expectLevel(std::size_t output, std::int64_t expected);
    void expectProgram(bool toRun);
    void expectSignal(const std::string& number);
    void expectNoFrame(std::uint64_t iterations);
    void checkHealth(const Scenario& scenario) const;

    /// The name of the reference picture that equals the screen; empty if none does.
    [[nodiscard]] std::string screenName() const;
    [[nodiscard]] std::string describeScreen() const;
    [[nodiscard]] std::string describeEnd() const;

    Session& session;
    const DeviceFiles& deviceFiles;
    const ReferenceScreens& references;
    const std::function<void()> afterRunning;
    const std::uint64_t waitLimit;
    bool comparesMemory = false; ///< whether the scenario contains "expect memory unchanged"
    /// The internal memory at the last power-on, if `comparesMemory`.
    std::string initialMemory;
    std::size_t eventsSearched = 0;
    std::string lastScreen;
    std::string result;
};

} // namespace sim
