// Implements operator new with malloc and operator delete with free. Every form of delete that matches a replaced form
// of new is replaced too, because sanitizers report mismatched pairs.
#include "tests/support/allocation_counter.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;

void* countedMalloc(std::size_t size) noexcept
{
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}

void* countedAlignedMalloc(std::size_t size, std::align_val_t alignment) noexcept
{
    ++allocations;
    void* memory = nullptr;
    // aligned_alloc would require a size rounded up to the alignment, which would hide accesses past the end from
    // AddressSanitizer.
    const bool isAllocated =
        posix_memalign(&memory, static_cast<std::size_t>(alignment), std::max<std::size_t>(size, 1)) == 0;
    return isAllocated ? memory : nullptr;
}

void* orThrow(void* memory)
{
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

AllocationCounter::AllocationCounter() : start(allocations)
{}

std::size_t AllocationCounter::count() const
{
    return allocations - start;
}

// clang-format off
void* operator new(std::size_t size) { return orThrow(countedMalloc(size)); }
void* operator new[](std::size_t size) { return orThrow(countedMalloc(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return countedMalloc(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return countedMalloc(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return orThrow(countedAlignedMalloc(size, alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return orThrow(countedAlignedMalloc(size, alignment)); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
// clang-format on
