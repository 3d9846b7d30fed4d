// What generated writers are made of. Programs include the writer header of a schema file, for
// example "ProtoBuf/CmnSys/CmnSys.Events.writer.h", and need nothing of this directly but
// WriteBuffer and what is public in MessageWriter.

#ifndef CMNSYS_VIEW_WRITER_H_
#define CMNSYS_VIEW_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "CmnSys/View/Extension.h"
#include "CmnSys/View/Wire.h"
#include "CmnSys/View/WriteBuffer.h"

namespace CmnSys::View {

// See View.h.
template <typename Message>
struct ViewOf;

// WriterOf<Message>::type is the writer of a generated message class. The writer header of its
// schema file must be included.
template <typename Message>
struct WriterOf;

namespace internal {

// A tag as it stands on the wire.
struct TagBytes {
  std::uint64_t bytes;  // The first one lowest.
  std::uint32_t size;
};

constexpr TagBytes BytesOf(std::uint32_t tag) {
  TagBytes result = {0, 1};
  std::uint64_t rest = tag;
  for (; rest >= 0x80; rest >>= 7, ++result.size) {
    result.bytes |= ((rest & 0x7f) | 0x80) << (8 * (result.size - 1));
  }
  result.bytes |= rest << (8 * (result.size - 1));
  return result;
}

// The functions Put... write at p and return the place behind. Up to 8 bytes there are overwritten
// even if fewer are needed.

inline char* PutEightBytes(char* p, std::uint64_t bytes) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                "Writers are for little-endian machines.");
  std::memcpy(p, &bytes, sizeof bytes);
  return p + sizeof bytes;
}

inline char* PutTag(char* p, TagBytes tag) {
  PutEightBytes(p, tag.bytes);
  return p + tag.size;
}

[[gnu::noinline]] inline char* PutVarintByteByByte(char* p, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) *p++ = static_cast<char>(number | 0x80);
  *p = static_cast<char>(number);
  return p + 1;
}

// Numbers of up to 8 bytes without a branch that depends on their length.
inline char* PutUInt64(char* p, std::uint64_t number) {
  if (number < 0x80) {
    *p = static_cast<char>(number);
    return p + 1;
  }
  if (number >> 56 != 0) return PutVarintByteByByte(p, number);
  // Open gaps between groups of 28, then 14, then 7 bits.
  std::uint64_t bytes = number + (number & 0x00fffffff0000000) * 15;
  bytes += (bytes & 0x0fffc0000fffc000) * 3;
  bytes += bytes & 0x3f803f803f803f80;
  // The index of the last byte: a seventh of that of the highest bit.
  const auto last = static_cast<unsigned>((63 ^ __builtin_clzll(number)) * 37) >> 8;
  PutEightBytes(p, bytes | (0x0080808080808080 & ~(~std::uint64_t{0} << (8 * last))));
  return p + last + 1;
}

inline char* PutUInt32(char* p, std::uint32_t number) { return PutUInt64(p, number); }
inline char* PutInt64(char* p, std::int64_t number) {
  return PutUInt64(p, static_cast<std::uint64_t>(number));
}
inline char* PutInt32(char* p, std::int32_t number) { return PutInt64(p, number); }
inline char* PutSInt64(char* p, std::int64_t number) {
  return PutUInt64(
      p, static_cast<std::uint64_t>(number) << 1 ^ static_cast<std::uint64_t>(number >> 63));
}
inline char* PutSInt32(char* p, std::int32_t number) {
  return PutUInt32(
      p, static_cast<std::uint32_t>(number) << 1 ^ static_cast<std::uint32_t>(number >> 31));
}
inline char* PutBool(char* p, bool value) {
  *p = value ? 1 : 0;
  return p + 1;
}
template <typename Enum>
char* PutEnum(char* p, Enum value) {
  return PutInt32(p, static_cast<std::int32_t>(value));
}

template <typename T>
char* PutFixed(char* p, T value) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                "Writers are for little-endian machines.");
  std::memcpy(p, &value, sizeof value);
  return p + sizeof value;
}

// Copies fewer than 16 bytes.
inline void PutFew(char* p, const char* from, std::size_t size) {
  if (size >= 8) {
    std::memcpy(p, from, 8);
    std::memcpy(p + size - 8, from + size - 8, 8);
  } else if (size >= 4) {
    std::memcpy(p, from, 4);
    std::memcpy(p + size - 4, from + size - 4, 4);
  } else if (size > 0) {
    p[0] = from[0];
    p[size / 2] = from[size / 2];
    p[size - 1] = from[size - 1];
  }
}

// The writer of a message, without its fields. An outermost one writes into a buffer; a nested one
// goes on writing where its parent is, which must not be used until the nested one is closed.
class MessageWriter {
 public:
  // Begins a message in the buffer, in place of what that holds.
  explicit MessageWriter(WriteBuffer* buffer) : buffer_(buffer) {
    const Cursor cursor = buffer->Begin();
    p_ = cursor.p;
    limit_ = cursor.limit;
  }

  // Begins a sub-message. For generated code.
  MessageWriter(MessageWriter* parent, TagBytes tag) : parent_(parent) {
    char* const p = PutTag(parent->Room(), tag);
    buffer_ = parent->buffer_;
    expected_ = &buffer_->length_sizes_[(tag.bytes ^ tag.bytes >> 7) & 63];
    length_size_ = *expected_;
    p_ = p + length_size_;
    limit_ = parent->limit_;
    start_ = static_cast<std::size_t>(p_ - buffer_->begin());
    parent->p_ = parent->limit_ = nullptr;
  }

  MessageWriter(const MessageWriter&) = delete;
  MessageWriter& operator=(const MessageWriter&) = delete;

  // Ends the message, as the end of its scope does. The writers nested in it must be closed by
  // then, or the program ends; nothing may be written through it afterwards.
  void Close() {
    if (buffer_ == nullptr) return;
    if (p_ == nullptr) Misuse("a writer was closed while a nested one of it is open");
    if (parent_ == nullptr) {
      buffer_->End(p_);
    } else {
      char* const start = buffer_->begin() + start_;
      const auto length = static_cast<std::size_t>(p_ - start);
      if (length < 0x80 && length_size_ == 1) {
        start[-1] = static_cast<char>(length);
      } else if (length - 0x80 < 0x4000 - 0x80 && length_size_ == 2) {
        start[-2] = static_cast<char>(length | 0x80);
        start[-1] = static_cast<char>(length >> 7);
      } else {
        const Cursor cursor = buffer_->PutLength(p_, limit_, start_, length_size_, expected_);
        p_ = cursor.p;
        limit_ = cursor.limit;
      }
      parent_->p_ = p_;
      parent_->limit_ = limit_;
    }
    buffer_ = nullptr;
    p_ = limit_ = nullptr;
  }

  // Appends bytes of the same message type as they are: all fields of another message, or some.
  void AppendFields(std::string_view fields) { Append(fields); }

  // Appends a field as ForEachUnknownField of a view gives it.
  void AppendField(const UnknownField& field) {
    const TagBytes tag = BytesOf(MakeTag(field.number, field.wire_type));
    if (field.wire_type == kLengthDelimited) {
      Bytes(tag, field.value);
    } else {
      p_ = PutTag(Room(), tag);
      Append(field.value);
    }
  }

 protected:
  ~MessageWriter() { Close(); }

  void Int32(TagBytes tag, std::int32_t value) { p_ = PutInt32(Begin(tag), value); }
  void Int64(TagBytes tag, std::int64_t value) { p_ = PutInt64(Begin(tag), value); }
  void UInt32(TagBytes tag, std::uint32_t value) { p_ = PutUInt32(Begin(tag), value); }
  void UInt64(TagBytes tag, std::uint64_t value) { p_ = PutUInt64(Begin(tag), value); }
  void SInt32(TagBytes tag, std::int32_t value) { p_ = PutSInt32(Begin(tag), value); }
  void SInt64(TagBytes tag, std::int64_t value) { p_ = PutSInt64(Begin(tag), value); }
  void Bool(TagBytes tag, bool value) { p_ = PutBool(Begin(tag), value); }
  void Fixed32(TagBytes tag, std::uint32_t value) { p_ = PutFixed(Begin(tag), value); }
  void Fixed64(TagBytes tag, std::uint64_t value) { p_ = PutFixed(Begin(tag), value); }
  void SFixed32(TagBytes tag, std::int32_t value) { p_ = PutFixed(Begin(tag), value); }
  void SFixed64(TagBytes tag, std::int64_t value) { p_ = PutFixed(Begin(tag), value); }
  void Float(TagBytes tag, float value) { p_ = PutFixed(Begin(tag), value); }
  void Double(TagBytes tag, double value) { p_ = PutFixed(Begin(tag), value); }

  // Inlined, as the most frequent lengths take little more than a call would.
  [[gnu::always_inline]] void Bytes(TagBytes tag, std::string_view value) {
    const std::size_t size = value.size();
    if (__builtin_expect(static_cast<long>(size > 32), 0L) != 0) {
      const Cursor cursor = LongBytes(buffer_, p_, limit_, tag, value);
      p_ = cursor.p;
      limit_ = cursor.limit;
      return;
    }
    char* p = Begin(tag);
    *p++ = static_cast<char>(size);
    if (size >= 16) {
      std::memcpy(p, value.data(), 16);
      std::memcpy(p + size - 16, value.data() + size - 16, 16);
    } else {
      PutFew(p, value.data(), size);
    }
    p_ = p + size;
  }

  // A sub-message that there is already: its bytes, its view or an object of its class. Returns
  // whether it could be written: a view may be of bytes that cannot be told apart.
  template <typename Message, typename From>
  bool Copy(TagBytes tag, const From& from) {
    if constexpr (std::is_convertible_v<const From&, std::string_view>) {
      Bytes(tag, from);
    } else if constexpr (std::is_same_v<From, Message>) {
      const std::size_t size = from.ByteSizeLong();
      BeginLong(tag, size);
      if (!EnsureRoom(size)) return true;  // The buffer has an error.
      from.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(p_));
      p_ += size;
    } else {
      static_assert(std::is_same_v<From, typename ViewOf<Message>::type>,
                    "Neither bytes, nor a view or message of the field's type.");
      std::size_t size = 0;
      if (!from.ForEachPiece([&size](std::string_view piece) { size += piece.size(); })) {
        return false;
      }
      BeginLong(tag, size);
      from.ForEachPiece([this](std::string_view piece) { Append(piece); });
    }
    return true;
  }

  // For lists: up to 10 bytes, and the place behind them.
  char* Room() {
    if (__builtin_expect(static_cast<long>(p_ < limit_), 1L) != 0) return p_;
    const Cursor cursor = WriteBuffer::MakeRoom(buffer_, p_, 0);
    limit_ = cursor.limit;
    return cursor.p;
  }
  void AdvanceTo(char* p) { p_ = p; }

  // For lists: ends one that has nothing in it, of which not even the tag remains.
  bool CloseEmpty(std::size_t tag_size) {
    if (p_ == nullptr || p_ != buffer_->begin() + start_) return false;
    parent_->p_ = p_ - length_size_ - tag_size;
    parent_->limit_ = limit_;
    buffer_ = nullptr;
    p_ = limit_ = nullptr;
    return true;
  }

 private:
  char* Begin(TagBytes tag) { return PutTag(Room(), tag); }

  void Grow(std::size_t more) {
    const Cursor cursor = WriteBuffer::MakeRoom(buffer_, p_, more);
    p_ = cursor.p;
    limit_ = cursor.limit;
  }

  [[gnu::noinline]] static Cursor LongBytes(WriteBuffer* buffer, char* p, char* limit, TagBytes tag,
                                            std::string_view value) {
    if (buffer != nullptr) buffer->RequireForeign(value);
    if (p >= limit || static_cast<std::size_t>(limit - p) < value.size()) {
      const Cursor cursor = WriteBuffer::MakeRoom(buffer, p, value.size());
      if (buffer->HasError()) return cursor;
      p = cursor.p;
      limit = cursor.limit;
    }
    p = PutUInt64(PutTag(p, tag), value.size());
    std::memcpy(p, value.data(), value.size());
    return {p + value.size(), limit};
  }

  void BeginLong(TagBytes tag, std::size_t size) {
    if (size > kMaxLength) size = kMaxLength;  // There is no room for that much.
    p_ = PutUInt64(Begin(tag), size);
  }

  // Whether there is room for so many bytes; there is none once the buffer has an error.
  bool EnsureRoom(std::size_t size) {
    if (p_ >= limit_ || static_cast<std::size_t>(limit_ - p_) < size) Grow(size);
    return !buffer_->HasError();
  }

  void Append(std::string_view bytes) {
    if (buffer_ != nullptr) buffer_->RequireForeign(bytes);
    if (!EnsureRoom(bytes.size())) return;
    if (!bytes.empty()) std::memcpy(p_, bytes.data(), bytes.size());
    p_ += bytes.size();
  }

  // Where the next byte goes, and from where on there must be more room first. Both are null while
  // a nested writer is open and when this one is closed, so that nothing is written then.
  char* p_;
  char* limit_;
  WriteBuffer* buffer_;  // Null when the writer is closed.
  MessageWriter* parent_ = nullptr;
  // Of a nested writer: where the message begins in the buffer, how many bytes before it are kept
  // for its length, and where the buffer remembers that.
  std::size_t start_ = 0;
  std::size_t length_size_ = 0;
  std::uint8_t* expected_ = nullptr;
};

}  // namespace internal

// Writes the elements of a packed list, which stand together.
template <typename T, char* (*put)(char*, T)>
class PackedWriter : public internal::MessageWriter {
 public:
  // For generated code.
  PackedWriter(internal::MessageWriter* parent, internal::TagBytes tag)
      : MessageWriter(parent, tag), tag_size_(tag.size) {}
  ~PackedWriter() { Close(); }

  // Appends an element.
  void Add(T value) { AdvanceTo(put(Room(), value)); }

  // Ends the list, as the end of its scope does. An empty one leaves nothing behind.
  void Close() {
    if (!CloseEmpty(tag_size_)) MessageWriter::Close();
  }

 private:
  std::size_t tag_size_;
};

}  // namespace CmnSys::View

#endif  // CMNSYS_VIEW_WRITER_H_
