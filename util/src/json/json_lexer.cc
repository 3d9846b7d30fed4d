#include "json/json_lexer.h"

#include <algorithm>
#include <utility>

#include "json/bytes_text.h"
#include "json/json_number.h"
#include "json/plain_text.h"
#include "text/runtime_text.h"

namespace CmnSys::Util {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool IsNumberCharacter(char c) {
  return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

void AppendUtf8(std::uint32_t code, std::string* text) {
  const auto add = [text](std::uint32_t byte) { *text += static_cast<char>(byte); };
  if (code < 0x80) {
    add(code);
  } else if (code < 0x800) {
    add(0xc0 | code >> 6);
    add(0x80 | (code & 0x3f));
  } else if (code < 0x10000) {
    add(0xe0 | code >> 12);
    add(0x80 | (code >> 6 & 0x3f));
    add(0x80 | (code & 0x3f));
  } else {
    add(0xf0 | code >> 18);
    add(0x80 | (code >> 12 & 0x3f));
    add(0x80 | (code >> 6 & 0x3f));
    add(0x80 | (code & 0x3f));
  }
}

constexpr const char* kHalfSurrogate = "the string holds half of a surrogate pair";

}  // namespace

std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const bool cut = text.size() > kLongest;
  return "\"" + CEscaped(text.substr(0, kLongest)) + (cut ? "...\"" : "\"");
}

JsonLexer::JsonLexer(google::protobuf::io::ZeroCopyInputStream* input, const JsonPlace& start)
    : input_(input),
      block_offset_(start.offset),
      line_(start.line),
      line_start_(start.offset + 1 - start.column),
      at_start_(start.offset == 0),
      place_(start.offset) {}

JsonLexer::~JsonLexer() {
  if (next_ != block_end_) input_->BackUp(static_cast<int>(block_end_ - next_));
}

bool JsonLexer::Refill() {
  while (next_ == block_end_) {
    FlushCopy();
    const void* data = nullptr;
    int size = 0;
    if (!input_->Next(&data, &size)) return false;
    block_offset_ += static_cast<std::uint64_t>(block_end_ - block_begin_);
    block_begin_ = next_ = copy_from_ = static_cast<const char*>(data);
    block_end_ = block_begin_ + size;
  }
  SetEnd();
  return next_ != end_;
}

void JsonLexer::SetEnd() {
  const auto left = static_cast<std::uint64_t>(block_end_ - next_);
  end_ = next_ + std::min(left, limit_ - std::min(limit_, offset()));
}

void JsonLexer::Limit(std::uint64_t bytes) {
  most_bytes_ = bytes;
  limit_ = offset() + std::min(bytes, UINT64_MAX - offset());
  SetEnd();
}

void JsonLexer::StartCopy(std::string* copy) {
  copy_ = copy;
  copy_from_ = next_;
}

void JsonLexer::StopCopy() {
  FlushCopy();
  copy_ = nullptr;
}

void JsonLexer::FlushCopy() {
  if (copy_ == nullptr || copy_from_ == next_) return;
  copy_->append(copy_from_, next_);
  copy_from_ = next_;
}

void JsonLexer::SkipByteOrderMark() {
  at_start_ = false;
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  if (!Available() || *next_ != kMark[0]) return;
  for (const char c : kMark) {
    broken_mark_ = !Available() || *next_ != c;
    if (broken_mark_) return;
    ++next_;
  }
}

char JsonLexer::PeekBehindBlanks() {
  if (at_start_) SkipByteOrderMark();
  while (Available() && IsBlank(*next_)) {
    const bool new_line = *next_ == '\n';
    ++next_;
    if (new_line) {
      ++line_;
      line_start_ = offset();
    }
  }
  Mark();
  return next_ == end_ ? '\0' : *next_;
}

bool JsonLexer::AtEnd() {
  Peek();
  return !Available() && next_ == block_end_ && !broken_mark_;
}

JsonToken JsonLexer::Next() {
  const char c = Peek();
  if (broken_mark_) {
    place_ = 0;
    return Invalid("the text begins with a part of a byte order mark");
  }
  if (next_ == end_) return Ended();
  switch (c) {
    case '{':
      return Single(JsonToken::kObjectBegin);
    case '}':
      return Single(JsonToken::kObjectEnd);
    case '[':
      return Single(JsonToken::kArrayBegin);
    case ']':
      return Single(JsonToken::kArrayEnd);
    case ':':
      return Single(JsonToken::kColon);
    case ',':
      return Single(JsonToken::kComma);
    case '"':
      return String();
    default:
      return c == '-' || (c >= '0' && c <= '9') ? Number() : Word();
  }
}

JsonToken JsonLexer::Single(JsonToken token) {
  ++next_;
  return token;
}

JsonToken JsonLexer::String() {
  ++next_;
  bool ascii = true;
  // Mostly all of it stands in one block, without escapes.
  const char* const stop = SkipPlain(next_, end_, &ascii);
  if (stop != end_ && *stop == '"') {
    text_ = {next_, static_cast<std::size_t>(stop - next_)};
    next_ = stop + 1;
  } else {
    buffer_.clear();
    while (true) {
      if (!Available()) return Ended();
      const char* const run = next_;
      next_ = SkipPlain(next_, end_, &ascii);
      buffer_.append(run, next_);
      if (next_ == end_) continue;
      const char c = *next_++;
      if (c == '"') break;
      if (c != '\\') return Invalid("the string holds a control character, which must be escaped");
      if (!Escape()) return JsonToken::kInvalid;
    }
    text_ = buffer_;
  }
  if (ascii) return JsonToken::kString;
  const std::size_t invalid = FirstInvalidUtf8(text_);
  if (invalid == text_.size()) return JsonToken::kString;
  return Invalid("the string is not UTF-8 (byte 0x" + ToHexadecimal(text_.substr(invalid, 1)) +
                 ")");
}

// Reads an escape behind its backslash. Returns false after an error.
bool JsonLexer::Escape() {
  if (!Available()) return Ended(), false;
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  const char c = *next_++;
  if (const std::size_t letter = kLetters.find(c); letter != std::string_view::npos) {
    buffer_ += kMeanings[letter];
    return true;
  }
  if (c != 'u') return Invalid("the string holds an escape that JSON does not have"), false;
  std::uint32_t code = 0;
  if (!HexDigits(&code)) return false;
  if (code >= 0xdc00 && code < 0xe000) return Invalid(kHalfSurrogate), false;
  if (code >= 0xd800 && code < 0xdc00) {
    for (const char expected : {'\\', 'u'}) {
      if (!Available()) return Ended(), false;
      if (*next_++ != expected) return Invalid(kHalfSurrogate), false;
    }
    std::uint32_t low = 0;
    if (!HexDigits(&low)) return false;
    if (low < 0xdc00 || low >= 0xe000) return Invalid(kHalfSurrogate), false;
    code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
  }
  AppendUtf8(code, &buffer_);
  return true;
}

bool JsonLexer::HexDigits(std::uint32_t* code) {
  char digits[4];
  for (char& digit : digits) {
    if (!Available()) return Ended(), false;
    digit = *next_++;
  }
  char bytes[sizeof digits];
  if (ReadHexadecimal({digits, sizeof digits}, bytes) == nullptr) {
    return Invalid("\\u needs four hexadecimal digits"), false;
  }
  *code = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[0])) << 8 |
          static_cast<unsigned char>(bytes[1]);
  return true;
}

// Takes characters as long as they are `wanted`; the token is what was taken.
template <typename Wanted>
void JsonLexer::TakeRun(const Wanted& wanted) {
  const char* const run = next_;
  while (next_ != end_ && wanted(*next_)) ++next_;
  if (next_ != end_) {
    text_ = {run, static_cast<std::size_t>(next_ - run)};
    return;
  }
  buffer_.assign(run, next_);
  while (Available() && wanted(*next_)) buffer_ += *next_++;
  text_ = buffer_;
}

JsonToken JsonLexer::Number() {
  TakeRun(IsNumberCharacter);
  return IsJsonNumber(text_) ? JsonToken::kNumber : Invalid(Quoted(text_) + " is no number");
}

JsonToken JsonLexer::Word() {
  if (IsWordCharacter(*next_)) {
    TakeRun(IsWordCharacter);
  } else {
    text_ = {next_++, 1};
  }
  if (text_ == "true") return JsonToken::kTrue;
  if (text_ == "false") return JsonToken::kFalse;
  if (text_ == "null") return JsonToken::kNull;
  return Invalid(Quoted(text_) + " is no JSON");
}

JsonToken JsonLexer::Invalid(std::string reason) {
  buffer_ = std::move(reason);
  text_ = buffer_;
  return JsonToken::kInvalid;
}

// The text, or what the limit allows of it, has ended inside a token or before one.
JsonToken JsonLexer::Ended() {
  Mark();
  if (next_ != block_end_) {
    return Invalid("the message is longer than " + std::to_string(most_bytes_) +
                   " bytes; raise max_bytes if that is right");
  }
  return Invalid("the text ends before the message does");
}

}  // namespace CmnSys::Util
