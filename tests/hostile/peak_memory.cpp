#include "peak_memory.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

namespace {

// Each block carries its size in front of it, so delete knows what leaves.
// The header keeps the alignment that operator new promises.
constexpr std::size_t kHeader = alignof(std::max_align_t);

std::atomic<std::size_t> live{0};
std::atomic<std::size_t> start{0};
std::atomic<std::size_t> peak{0};

void* allocate(std::size_t size) {
  auto* block = static_cast<unsigned char*>(std::malloc(kHeader + size));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  *reinterpret_cast<std::size_t*>(block) = size;
  const std::size_t now = live.fetch_add(size, std::memory_order_relaxed) + size;
  std::size_t seen = peak.load(std::memory_order_relaxed);
  while (now > seen && !peak.compare_exchange_weak(seen, now, std::memory_order_relaxed)) {
  }
  return block + kHeader;
}

void release(void* p) noexcept {
  if (p == nullptr) {
    return;
  }
  auto* block = static_cast<unsigned char*>(p) - kHeader;
  live.fetch_sub(*reinterpret_cast<std::size_t*>(block), std::memory_order_relaxed);
  std::free(block);
}

}  // namespace

namespace peak_memory {

void reset() {
  const std::size_t now = live.load();
  start = now;
  peak = now;
}

std::size_t peak_since_reset() {
  const std::size_t most = peak.load();
  const std::size_t from = start.load();
  return most > from ? most - from : 0;
}

std::size_t resident_high_water() {
  std::ifstream status("/proc/self/status");
  std::string key;
  while (status >> key) {
    if (key == "VmHWM:") {
      std::size_t kib = 0;
      status >> kib;
      return kib * 1024;
    }
    status.ignore(4096, '\n');
  }
  return 0;
}

}  // namespace peak_memory

// Kept alone in this file: callers must not see these bodies (the compiler
// would then pair a new expression with free() and warn).
void* operator new(std::size_t size) {
  return allocate(size);
}

void* operator new[](std::size_t size) {
  return allocate(size);
}

void operator delete(void* p) noexcept {
  release(p);
}

void operator delete[](void* p) noexcept {
  release(p);
}

void operator delete(void* p, std::size_t) noexcept {
  release(p);
}

void operator delete[](void* p, std::size_t) noexcept {
  release(p);
}
