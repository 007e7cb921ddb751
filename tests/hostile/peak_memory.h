// How much memory a piece of work needs at its peak. This test program
// replaces the global operator new and delete to keep count of the bytes
// that are live, in every thread (server threads included).
#ifndef THRIFTYOL_TESTS_HOSTILE_PEAK_MEMORY_H
#define THRIFTYOL_TESTS_HOSTILE_PEAK_MEMORY_H

#include <cstddef>

namespace peak_memory {

constexpr std::size_t kMiB = 1024 * 1024;

// Starts a measurement from the bytes live now.
void reset();
// The most bytes live at once since reset(), beyond those live at reset().
std::size_t peak_since_reset();
// The process's resident set high-water mark (VmHWM), in bytes; it also
// sees memory that does not come from operator new.
std::size_t resident_high_water();

}  // namespace peak_memory

#endif  // THRIFTYOL_TESTS_HOSTILE_PEAK_MEMORY_H
