// Overrides the C library's functions that open a file or query its status, so that the test double intercepts the
// device's paths. The dynamic linker resolves these names to the program's definitions first, even for calls from
// shared libraries. Every variant is overridden, because versions of libstdc++ differ in the variants that they call.
#include "tests/support/system_calls.h"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Returns the C library's function `name`.
template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Returns the path to use in place of `path`. Null, with `errno` set, if the path does not exist on the device.
const char* placeOf(const char* path)
{
    const char* const place = SystemCalls::current != nullptr ? SystemCalls::current->resolve(path) : path;
    if (place == nullptr) {
        errno = ENOENT;
    }
    return place;
}

/// Returns whether a call of `open` with these flags passes a mode. All bits of O_TMPFILE are compared, because it
/// includes the bit of O_DIRECTORY.
bool isModeGiven(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's headers use reserved names.
// NOLINTBEGIN(bugprone-macro-parentheses): parameters and arguments are lists.

/// Defines one function. `arguments`: the arguments for the C library's function, with `place` instead of `path`.
#define PATH_CALL(Result, failure, name, parameters, arguments)                                                        \
    Result name parameters                                                                                             \
    {                                                                                                                  \
        static auto* const real = next<decltype(::name)>(#name);                                                       \
        const char* const place = placeOf(path);                                                                       \
        return place == nullptr ? failure : real arguments;                                                            \
    }

/// Defines a function whose last argument is the mode, which callers pass only for new files.
#define PATH_CALL_WITH_MODE(name, parameters, arguments)                                                               \
    int name parameters                                                                                                \
    {                                                                                                                  \
        std::va_list list;                                                                                             \
        va_start(list, flags);                                                                                         \
        const mode_t mode = isModeGiven(flags) ? va_arg(list, mode_t) : 0;                                             \
        va_end(list);                                                                                                  \
        if (SystemCalls::isDevice(path)) {                                                                             \
            return SystemCalls::openAnyDevice(path, flags);                                                            \
        }                                                                                                              \
        static auto* const real = next<decltype(::name)>(#name);                                                       \
        const char* const place = placeOf(path);                                                                       \
        return place == nullptr ? -1 : real arguments;                                                                 \
    }

extern "C" {

PATH_CALL_WITH_MODE(open, (const char* path, int flags, ...), (place, flags, mode))
PATH_CALL_WITH_MODE(open64, (const char* path, int flags, ...), (place, flags, mode))
PATH_CALL_WITH_MODE(openat, (int folder, const char* path, int flags, ...), (folder, place, flags, mode))
PATH_CALL_WITH_MODE(openat64, (int folder, const char* path, int flags, ...), (folder, place, flags, mode))
PATH_CALL(int, -1, creat, (const char* path, mode_t mode), (place, mode))
PATH_CALL(int, -1, creat64, (const char* path, mode_t mode), (place, mode))

PATH_CALL(FILE*, nullptr, fopen, (const char* path, const char* mode), (place, mode))
PATH_CALL(FILE*, nullptr, fopen64, (const char* path, const char* mode), (place, mode))
PATH_CALL(FILE*, nullptr, freopen, (const char* path, const char* mode, FILE* file), (place, mode, file))
PATH_CALL(FILE*, nullptr, freopen64, (const char* path, const char* mode, FILE* file), (place, mode, file))

PATH_CALL(int, -1, stat, (const char* path, struct stat* result), (place, result))
PATH_CALL(int, -1, stat64, (const char* path, struct stat64* result), (place, result))
PATH_CALL(int, -1, lstat, (const char* path, struct stat* result), (place, result))
PATH_CALL(int, -1, lstat64, (const char* path, struct stat64* result), (place, result))
PATH_CALL(int, -1, fstatat, (int folder, const char* path, struct stat* result, int flags),
          (folder, place, result, flags))
PATH_CALL(int, -1, fstatat64, (int folder, const char* path, struct stat64* result, int flags),
          (folder, place, result, flags))
PATH_CALL(int, -1, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* result),
          (folder, place, flags, mask, result))
PATH_CALL(int, -1, access, (const char* path, int mode), (place, mode))
PATH_CALL(int, -1, faccessat, (int folder, const char* path, int mode, int flags), (folder, place, mode, flags))
PATH_CALL(int, -1, euidaccess, (const char* path, int mode), (place, mode))
PATH_CALL(int, -1, eaccess, (const char* path, int mode), (place, mode))

} // extern "C"

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
