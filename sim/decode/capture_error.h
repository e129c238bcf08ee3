// A capture that cannot be read or decoded.
#pragma once

#include <stdexcept>

namespace sim {

/// The message is one line. It names the file, the position if there is one, and the reason.
class CaptureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace sim
