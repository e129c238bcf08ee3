// The C library's own functions, behind those of the same name that this library puts before them.
#pragma once

#include <dlfcn.h>

namespace sim {

/// The next definition of `name` after this library's.
template <typename Function>
Function* realCall(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace sim

/// The real function of the same name and type as `name`, looked up once.
#define REAL(name)                                                                                                     \
    ([] {                                                                                                              \
        static auto* const real = sim::realCall<decltype(::name)>(#name);                                              \
        return real;                                                                                                   \
    }())
