#ifndef CMNSYS_UTIL_SRC_JSON_JSON_LEXER_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_LEXER_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "CmnSys/Util/Json.h"

namespace CmnSys::Util {

enum class JsonToken {
  kObjectBegin,
  kObjectEnd,
  kArrayBegin,
  kArrayEnd,
  kColon,
  kComma,
  kString,
  kNumber,
  kTrue,
  kFalse,
  kNull,
  kInvalid,
};

// Text from the input, shortened and escaped to be part of an error.
std::string Quoted(std::string_view text);

// The tokens of JSON (RFC 8259) on a stream of protobuf's. Takes nothing from the stream beyond the
// last token, but for what the stream hands out at once, which the destructor gives back.
class JsonLexer {
 public:
  // The input must outlive the lexer. `start` is where the input begins in a longer text.
  explicit JsonLexer(google::protobuf::io::ZeroCopyInputStream* input, const JsonPlace& start = {});
  ~JsonLexer();
  JsonLexer(const JsonLexer&) = delete;
  JsonLexer& operator=(const JsonLexer&) = delete;

  // Skips white space, and a byte order mark at the beginning of the text. Returns the byte that
  // follows, '\0' when there is none.
  char Peek() {
    if (next_ == end_ || static_cast<unsigned char>(*next_) <= ' ') return PeekBehindBlanks();
    place_ = offset();
    return *next_;
  }

  // Whether nothing but white space follows.
  bool AtEnd();

  // Takes the next token, kInvalid where there is none.
  JsonToken Next();

  // Behind a Peek, takes `token`, which has at least two bytes, if exactly that stands next and is
  // not cut by the input.
  bool TakeIfNext(std::string_view token) {
    // Mostly the first byte behind the quote tells already.
    if (static_cast<std::size_t>(end_ - next_) < token.size() || next_[1] != token[1] ||
        std::memcmp(next_, token.data(), token.size()) != 0) {
      return false;
    }
    next_ += token.size();
    return true;
  }

  // Of the last token: the content of a string, which is UTF-8, the digits of a number, or why
  // there is no token. Ends with the next call.
  std::string_view text() const { return text_; }

  // Where the last token begins, or the byte that was peeked at since.
  JsonPlace place() const { return At(place_); }

  // Where the next byte stands.
  JsonPlace next_place() const { return At(offset()); }

  // Lets at most this many further bytes be read.
  void Limit(std::uint64_t bytes);

  // Appends what is taken from here on to `copy`, until StopCopy.
  void StartCopy(std::string* copy);
  void StopCopy();

 private:
  bool Available() { return next_ != end_ || Refill(); }
  bool Refill();
  void SetEnd();
  std::uint64_t offset() const {
    return block_offset_ + static_cast<std::uint64_t>(next_ - block_begin_);
  }
  JsonPlace At(std::uint64_t offset) const { return {line_, offset - line_start_ + 1, offset}; }
  void Mark() { place_ = offset(); }
  void FlushCopy();

  char PeekBehindBlanks();
  void SkipByteOrderMark();
  JsonToken Single(JsonToken token);
  JsonToken String();
  bool Escape();
  bool HexDigits(std::uint32_t* code);
  template <typename Wanted>
  void TakeRun(const Wanted& wanted);
  JsonToken Number();
  JsonToken Word();
  JsonToken Invalid(std::string reason);
  JsonToken Ended();

  google::protobuf::io::ZeroCopyInputStream* input_;
  const char* block_begin_ = nullptr;  // What the input has handed out last.
  const char* block_end_ = nullptr;
  const char* next_ = nullptr;
  const char* end_ = nullptr;  // Of the bytes that the limit allows.
  std::uint64_t block_offset_;
  std::uint64_t limit_ = UINT64_MAX;  // As an offset.
  std::uint64_t most_bytes_ = 0;      // As given to Limit.
  std::uint64_t line_;
  std::uint64_t line_start_;  // May lie before the beginning of the text, and then wraps around.
  bool at_start_;
  bool broken_mark_ = false;
  std::uint64_t place_;
  std::string_view text_;  // In what the input has handed out, or in buffer_.
  std::string buffer_;
  std::string* copy_ = nullptr;
  const char* copy_from_ = nullptr;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_LEXER_H_
