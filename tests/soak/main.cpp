// Runs the updater on the waiting screen for a long time, then runs many updates. Checks the screens, and that resource
// use does not grow.
#include "tests/soak/options.h"
#include "tests/soak/updates.h"
#include "tests/soak/waiting.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    constexpr int failed = 1;
    constexpr int wrongUsage = 2;
    try {
        const soak::Options options = soak::parseOptions({argv + 1, argv + argc});
        const bool isSteady = options.iterations == 0 || soak::soakWaiting(options.iterations, std::cout);
        const bool areRight = options.updates == 0 || soak::soakUpdates(options.updates, std::cout << std::flush);
        std::cout << std::flush;
        return isSteady && areRight && std::cout ? 0 : failed;
    } catch (const soak::UsageError& error) {
        std::cerr << "tonecrate-soak: " << error.what() << '\n';
        return wrongUsage;
    } catch (const std::exception& error) {
        std::cerr << "tonecrate-soak: " << error.what() << '\n';
        return failed;
    }
}
