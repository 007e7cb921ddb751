// Peak heap while decoding the large payload and the list result, against
// the heap that the decoded value owns afterwards (object_size.h). Every
// operator new and every malloc of the process goes through the counters
// below; a decode is measured from a baseline taken just before it.
//
//   memory_bench [--json=FILE] [--check]
//
// Each row also gives what stays allocated after the decode, which must
// equal the walked size: that checks the walker and the counters together
// (with --check, a difference fails the run).

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include "hand_codec.h"
#include "object_size.h"
#include "payloads.h"

// --- Counting every allocation ----------------------------------------------------

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* p);
}

namespace {

std::atomic<long> liveBytes{0};
std::atomic<long> peakBytes{0};
std::atomic<long> allocations{0};

void counted(long delta) {
  const long now = liveBytes.fetch_add(delta, std::memory_order_relaxed) + delta;
  if (delta > 0) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    long peak = peakBytes.load(std::memory_order_relaxed);
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now)) {
    }
  }
}

// operator new counts the bytes asked for, kept in a header in front of the
// block; malloc, which has no such header, counts the usable size.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* newBlock(std::size_t size, std::size_t alignment) {
  const std::size_t header = alignment > kHeader ? alignment : kHeader;
  char* base = static_cast<char*>(alignment > kHeader ? __libc_memalign(alignment, size + header)
                                                      : __libc_malloc(size + header));
  if (base == nullptr) {
    return nullptr;
  }
  char* block = base + header;
  reinterpret_cast<std::size_t*>(block)[-1] = size;
  counted(static_cast<long>(size));
  return block;
}

void deleteBlock(void* p, std::size_t alignment) {
  if (p == nullptr) {
    return;
  }
  const std::size_t header = alignment > kHeader ? alignment : kHeader;
  char* block = static_cast<char*>(p);
  counted(-static_cast<long>(reinterpret_cast<std::size_t*>(block)[-1]));
  __libc_free(block - header);
}

void* newOrThrow(std::size_t size, std::size_t alignment) {
  void* p = newBlock(size, alignment);
  if (p == nullptr) {
    throw std::bad_alloc();
  }
  return p;
}

long usable(void* p) { return p == nullptr ? 0 : static_cast<long>(malloc_usable_size(p)); }

}  // namespace

void* operator new(std::size_t n) { return newOrThrow(n, 0); }
void* operator new[](std::size_t n) { return newOrThrow(n, 0); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return newBlock(n, 0); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return newBlock(n, 0); }
void* operator new(std::size_t n, std::align_val_t a) {
  return newOrThrow(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a) {
  return newOrThrow(n, static_cast<std::size_t>(a));
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return newBlock(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return newBlock(n, static_cast<std::size_t>(a));
}
void operator delete(void* p) noexcept { deleteBlock(p, 0); }
void operator delete[](void* p) noexcept { deleteBlock(p, 0); }
void operator delete(void* p, std::size_t) noexcept { deleteBlock(p, 0); }
void operator delete[](void* p, std::size_t) noexcept { deleteBlock(p, 0); }
void operator delete(void* p, const std::nothrow_t&) noexcept { deleteBlock(p, 0); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { deleteBlock(p, 0); }
void operator delete(void* p, std::align_val_t a) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}
void operator delete[](void* p, std::align_val_t a) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}
void operator delete(void* p, std::size_t, std::align_val_t a) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}
void operator delete[](void* p, std::size_t, std::align_val_t a) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}
void operator delete(void* p, std::align_val_t a, const std::nothrow_t&) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}
void operator delete[](void* p, std::align_val_t a, const std::nothrow_t&) noexcept {
  deleteBlock(p, static_cast<std::size_t>(a));
}

extern "C" {
void* malloc(std::size_t size) noexcept {
  void* p = __libc_malloc(size);
  counted(usable(p));
  return p;
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  void* p = __libc_calloc(count, size);
  counted(usable(p));
  return p;
}
void* realloc(void* old, std::size_t size) noexcept {
  const long before = usable(old);
  void* p = __libc_realloc(old, size);
  if (p != nullptr || size == 0) {
    counted(-before);
    counted(usable(p));
  }
  return p;
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
  void* p = __libc_memalign(alignment, size);
  counted(usable(p));
  return p;
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept {
  void* p = memalign(alignment, size);
  if (p == nullptr) {
    return ENOMEM;
  }
  *out = p;
  return 0;
}
void free(void* p) noexcept {
  counted(-usable(p));
  __libc_free(p);
}
}

// --- Measuring -------------------------------------------------------------------

namespace {

using ::apache::thrift::protocol::TBinaryProtocolT;
using ::apache::thrift::protocol::TCompactProtocolT;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;

struct Row {
  std::string payload;
  std::string protocol;
  std::string decoder;
  long peak = 0;      // most bytes allocated at once during the decode
  long retained = 0;  // bytes still allocated after it
  long own = 0;       // bytes the decoded value owns, by walking it
  long allocations = 0;
};

std::shared_ptr<TProtocol> protocolOn(const std::string& name,
                                      std::shared_ptr<TMemoryBuffer> buffer) {
  if (name == "binary") {
    return std::make_shared<TBinaryProtocolT<TMemoryBuffer>>(buffer);
  }
  return std::make_shared<TCompactProtocolT<TMemoryBuffer>>(buffer);
}

template <class Record>
std::string encoded(const std::string& protocol, const Record& record) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  record.write(protocolOn(protocol, buffer).get());
  return buffer->getBufferAsString();
}

// Decodes `bytes` once to warm the protocol's own scratch buffers, then
// again inside the measured window into a fresh value on the stack.
template <class Record, class Decode>
Row measure(const std::string& payload, const std::string& protocol, const std::string& decoder,
            const std::string& bytes, Decode decode) {
  auto* data = reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()));
  const auto size = static_cast<uint32_t>(bytes.size());
  auto buffer = std::make_shared<TMemoryBuffer>(data, size, TMemoryBuffer::OBSERVE);
  auto prot = protocolOn(protocol, buffer);
  {
    Record warm;
    decode(*prot, warm);
  }
  buffer->resetBuffer(data, size, TMemoryBuffer::OBSERVE);

  Row row{payload, protocol, decoder};
  Record value;
  const long base = liveBytes.load();
  const long allocationsBefore = allocations.load();
  peakBytes.store(base);
  decode(*prot, value);
  row.peak = peakBytes.load() - base;
  row.retained = liveBytes.load() - base;
  row.allocations = allocations.load() - allocationsBefore;
  row.own = static_cast<long>(bench::heapBytes(value));
  return row;
}

template <class Record>
void measureAll(const std::string& payload, const Record& record, std::vector<Row>& rows) {
  for (const std::string protocol : {"binary", "compact"}) {
    const std::string bytes = encoded(protocol, record);
    rows.push_back(measure<Record>(payload, protocol, "ours", bytes,
                                   [](TProtocol& p, Record& r) { r.read(&p); }));
    rows.push_back(measure<Record>(payload, protocol, "hand_virtual", bytes,
                                   [](TProtocol& p, Record& r) { bench::hand::decode(p, r); }));
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string jsonPath;
  bool check = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--json=", 0) == 0) {
      jsonPath = arg.substr(7);
    } else if (arg == "--check") {
      check = true;
    } else {
      std::cerr << "usage: memory_bench [--json=FILE] [--check]\n";
      return 2;
    }
  }

  std::vector<Row> rows;
  measureAll("large", bench::largePayload(), rows);
  measureAll("list", bench::listPayload(), rows);

  std::ofstream json;
  if (!jsonPath.empty()) json.open(jsonPath);
  std::printf("%-6s %-8s %-13s %12s %12s %12s %8s %12s\n", "load", "protocol", "decoder", "peak B",
              "retained B", "own B", "peak/own", "allocations");
  bool agree = true;
  for (const Row& r : rows) {
    std::printf("%-6s %-8s %-13s %12ld %12ld %12ld %8.3f %12ld\n", r.payload.c_str(),
                r.protocol.c_str(), r.decoder.c_str(), r.peak, r.retained, r.own,
                static_cast<double>(r.peak) / static_cast<double>(r.own), r.allocations);
    agree = agree && r.retained == r.own;
    if (json) {
      json << "{\"payload\": \"" << r.payload << "\", \"protocol\": \"" << r.protocol
           << "\", \"decoder\": \"" << r.decoder << "\", \"peak_bytes\": " << r.peak
           << ", \"retained_bytes\": " << r.retained << ", \"own_bytes\": " << r.own
           << ", \"allocations\": " << r.allocations << "}\n";
    }
  }
  if (check && !agree) {
    std::cerr << "memory_bench: what stays allocated differs from the walked size\n";
    return 1;
  }
  return 0;
}
