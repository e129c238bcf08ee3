// Using all of the vector registers that a development machine has.
#pragma once

/// Stands before a function that works on long rows of pixels. GCC makes it, with all that it calls, once more for each
/// newer instruction set of x86-64, and the machine takes the widest that it has when the program starts: the basic set
/// has registers of 16 bytes only, and cannot choose between the pixels of two. The device has a single set, which can.
#if defined(__x86_64__) && !defined(__clang__)
#define TONECRATE_WIDE_VECTORS __attribute__((target_clones("arch=x86-64-v4", "avx2", "default"), flatten))
#else
#define TONECRATE_WIDE_VECTORS
#endif
