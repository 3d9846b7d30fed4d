#ifndef CMNSYS_UTIL_SRC_JSON_WIRE_BYTES_H_
#define CMNSYS_UTIL_SRC_JSON_WIRE_BYTES_H_

#include <google/protobuf/io/coded_stream.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "CmnSys/View/Wire.h"

namespace CmnSys::Util {

// A message on the wire, written from front to back into memory that is used again.
class WireBytes {
 public:
  void Clear() { next_ = 0; }
  std::size_t size() const { return next_; }
  std::string_view From(std::size_t start) const { return {bytes_.get() + start, next_ - start}; }

  void Tag(int field_number, View::WireType type) {
    Varint(View::MakeTag(static_cast<std::uint32_t>(field_number), type));
  }

  void Varint(std::uint64_t value) {
    constexpr std::size_t kLongest = 10;
    char* place = Room(kLongest);
    while (value >= 0x80) {
      *place++ = static_cast<char>(value | 0x80);
      value >>= 7;
    }
    *place++ = static_cast<char>(value);
    End(place);
  }

  void Fixed32(std::uint32_t value) {
    auto* const place = reinterpret_cast<std::uint8_t*>(Room(sizeof value));
    End(google::protobuf::io::CodedOutputStream::WriteLittleEndian32ToArray(value, place));
  }

  void Fixed64(std::uint64_t value) {
    auto* const place = reinterpret_cast<std::uint8_t*>(Room(sizeof value));
    End(google::protobuf::io::CodedOutputStream::WriteLittleEndian64ToArray(value, place));
  }

  void Bytes(std::string_view bytes) {
    std::memcpy(Room(bytes.size() + 1), bytes.data(), bytes.size());
    next_ += bytes.size();
  }

  // Where `count` bytes may be written; End tells up to where they were.
  char* Room(std::size_t count) {
    if (capacity_ - next_ < count) Grow(count);
    return bytes_.get() + next_;
  }
  void End(const void* end) {
    next_ = static_cast<std::size_t>(static_cast<const char*>(end) - bytes_.get());
  }

  // Room for the length of what follows, up to the call of EndLength with the result. Lengths
  // always take five bytes, which the wire format allows and saves moving what they stand before.
  std::size_t BeginLength() {
    End(Room(kLength) + kLength);
    return next_;
  }
  void EndLength(std::size_t begin) {
    std::size_t length = next_ - begin;
    char* const place = bytes_.get() + begin - kLength;
    for (std::size_t i = 0; i + 1 < kLength; ++i) {
      place[i] = static_cast<char>(length | 0x80);
      length >>= 7;
    }
    place[kLength - 1] = static_cast<char>(length);
  }

 private:
  static constexpr std::size_t kFirst = 512;
  static constexpr std::size_t kLength = 5;

  void Grow(std::size_t count) {
    const std::size_t capacity = 2 * capacity_ + count + kFirst;
    // Not filled with anything.
    std::unique_ptr<char[]> bytes(new char[capacity]);
    if (next_ > 0) std::memcpy(bytes.get(), bytes_.get(), next_);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  std::size_t next_ = 0;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_WIRE_BYTES_H_
