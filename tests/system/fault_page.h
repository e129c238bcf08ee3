// The page docs/faults.md, generated from the tables of the fault matrix.
#pragma once

#include <cstddef>
#include <string>

namespace matrix {

[[nodiscard]] std::string faultPage();
[[nodiscard]] std::size_t cellCount();

} // namespace matrix
