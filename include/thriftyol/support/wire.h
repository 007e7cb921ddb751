// Helpers that the generated records use to encode and decode themselves
// through a TProtocol. Everything here is inline: it sits on the data path
// and must cost no more than the protocol calls it wraps.
#ifndef THRIFTYOL_SUPPORT_WIRE_H
#define THRIFTYOL_SUPPORT_WIRE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <thrift/protocol/TProtocol.h>

namespace thriftyol {
namespace detail {

// Raises the protocol's output recursion depth for the lifetime of one
// record write and lowers it again on every way out, exceptions included.
// The runtime leaves the depth raised when the raise itself fails with
// DEPTH_LIMIT; the guard undoes that too, so a protocol that is reused
// after a failed write starts from the depth it had before.
class OutputDepthGuard {
 public:
  explicit OutputDepthGuard(::apache::thrift::protocol::TProtocol* prot)
      : prot_(prot) {
    try {
      prot_->incrementOutputRecursionDepth();
    } catch (...) {
      prot_->decrementOutputRecursionDepth();
      throw;
    }
  }
  ~OutputDepthGuard() { prot_->decrementOutputRecursionDepth(); }

  OutputDepthGuard(const OutputDepthGuard&) = delete;
  OutputDepthGuard& operator=(const OutputDepthGuard&) = delete;

 private:
  ::apache::thrift::protocol::TProtocol* prot_;
};

// A list read reserves less than this many bytes before its elements
// arrive. The announced count is untrusted input: a forged one (2^31 - 1
// elements, say) costs under a MiB per list that is open at the time, and
// lists nest only a few levels deep in our records, so the room taken ahead
// of the data stays small. Past it the vector grows as elements are
// actually read, never beyond the announced count.
constexpr std::size_t kMaxListReserveBytes = std::size_t{1} << 20;

template <class T>
std::uint32_t readList(::apache::thrift::protocol::TProtocol* iprot,
                       std::vector<T>& list);

// Reads one value of a member or list element type: an enumeration as an
// i32 converted without a range check, a record through its own read.
template <class T>
std::uint32_t readValue(::apache::thrift::protocol::TProtocol* iprot,
                        T& value) {
  if constexpr (std::is_enum_v<T>) {
    std::int32_t ecast;
    const std::uint32_t xfer = iprot->readI32(ecast);
    value = static_cast<T>(ecast);
    return xfer;
  } else if constexpr (std::is_same_v<T, bool>) {
    return iprot->readBool(value);
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return iprot->readI32(value);
  } else if constexpr (std::is_same_v<T, double>) {
    return iprot->readDouble(value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return iprot->readString(value);
  } else {
    return value.read(iprot);
  }
}

template <class T>
std::uint32_t readValue(::apache::thrift::protocol::TProtocol* iprot,
                        std::vector<T>& list) {
  return readList(iprot, list);
}

// Reads a list into `list`, replacing what it held. Elements are created
// only as they arrive. The room first reserved takes less than
// kMaxListReserveBytes; whenever it is full it doubles, never past the
// announced count. A forged count therefore makes the read allocate no
// more ahead of the data than that first reserve, or as much again as the
// elements that did arrive; a genuine list ends with exactly the room it
// needs. The element type announced by the list header is not checked.
template <class T>
std::uint32_t readList(::apache::thrift::protocol::TProtocol* iprot,
                       std::vector<T>& list) {
  list.clear();
  ::apache::thrift::protocol::TType etype;
  std::uint32_t size;
  std::uint32_t xfer = iprot->readListBegin(etype, size);
  const std::size_t count = size;
  const std::size_t most =
      std::max<std::size_t>((kMaxListReserveBytes - 1) / sizeof(T), 1);
  // The first room is the count halved (rounding up) until it fits, so
  // that doubling reaches the count exactly and the last growth starts
  // from about half of it: old and new room together then come to about
  // one and a half times the list's final room, not up to twice.
  std::size_t first = count;
  while (first > most) {
    first = (first + 1) / 2;
  }
  list.reserve(first);
  for (std::uint32_t i = 0; i < size; ++i) {
    if (list.size() == list.capacity()) {
      list.reserve(std::min(count, 2 * list.capacity()));
    }
    if constexpr (std::is_same_v<T, bool>) {
      bool value;  // std::vector<bool> hands out proxies, not bool&
      xfer += iprot->readBool(value);
      list.push_back(value);
    } else {
      list.emplace_back();
      xfer += readValue(iprot, list.back());
    }
  }
  xfer += iprot->readListEnd();
  return xfer;
}

}  // namespace detail
}  // namespace thriftyol

#endif  // THRIFTYOL_SUPPORT_WIRE_H
