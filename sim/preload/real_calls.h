// Access to the C library functions that the preloaded library overrides.
#pragma once

#include <dlfcn.h>

namespace sim {

/// Returns the definition of `name` that this library overrides.
template <typename Function>
Function* realCall(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace sim

/// The C library's function `name`, looked up once.
#define REAL(name)                                                                                                     \
    ([] {                                                                                                              \
        static auto* const real = sim::realCall<decltype(::name)>(#name);                                              \
        return real;                                                                                                   \
    }())
