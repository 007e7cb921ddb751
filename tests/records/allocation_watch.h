// The largest single allocation a piece of code makes: this test program
// replaces the global operator new to see every request.
#ifndef THRIFTYOL_TESTS_RECORDS_ALLOCATION_WATCH_H
#define THRIFTYOL_TESTS_RECORDS_ALLOCATION_WATCH_H

#include <cstddef>

namespace allocation_watch {

// Starts watching, forgetting what was seen before.
void start();
// Stops watching; returns the largest request seen since start().
std::size_t stop();

}  // namespace allocation_watch

#endif  // THRIFTYOL_TESTS_RECORDS_ALLOCATION_WATCH_H
