// Executable files.
#pragma once

#include <filesystem>
#include <string>

namespace sim {

/// The dynamic loader that an executable asks for. Empty for a script, a static executable and whatever is no program.
[[nodiscard]] std::string interpreterOf(const std::filesystem::path& program);

/// Throws std::runtime_error unless the loader of this very program would start that one too, and preload libraries.
void requireDynamic(const std::filesystem::path& program);

} // namespace sim
