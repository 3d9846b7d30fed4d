#ifndef CMNSYS_UTIL_SRC_JSON_JSON_OUTPUT_H_
#define CMNSYS_UTIL_SRC_JSON_JSON_OUTPUT_H_

#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "json/padded_text.h"

namespace CmnSys::Util {

// Text, which is UTF-8, as a JSON string with its quotes.
std::string JsonQuoted(std::string_view text);

// JSON on a stream of protobuf's. Once the output fails it takes no more. Members and elements are
// announced by Key and Element, their values follow.
class JsonOutput {
 public:
  // `indent` blanks for each level; 0 puts everything on one line.
  JsonOutput(google::protobuf::io::ZeroCopyOutputStream* output, std::size_t indent)
      : output_(output), indent_(indent) {}

  void Begin(char bracket) {
    Put(bracket);
    ++level_;
    first_ = true;
  }

  void End(char bracket) {
    --level_;
    if (!first_ && indent_ > 0) NewLine();
    Put(bracket);
    first_ = false;
  }

  // A name with its quotes and colon, ready to be copied.
  class MemberName {
   public:
    MemberName() = default;
    // The name is UTF-8.
    explicit MemberName(std::string_view name) : text_("," + JsonQuoted(name) + ":") {}

    // With quotes and colon.
    std::string_view text() const { return text_.view().substr(1); }

   private:
    friend class JsonOutput;
    PaddedText text_;  // Behind a comma.
  };

  void Key(const MemberName& name) {
    if (indent_ > 0) {
      Element();
      Raw(name.text());
      Put(' ');
    } else {
      Padded(name.text_, first_ ? 1 : 0);
      first_ = false;
    }
  }

  void Element() {
    if (!first_) Put(',');
    first_ = false;
    if (indent_ > 0) NewLine();
  }

  // JSON as it is.
  void Raw(std::string_view text) {
    if (Left() < text.size()) return RawInPieces(text);
    Copy(text);
    next_ += text.size();
  }

  void Raw(const PaddedText& text) { Padded(text, 0); }

  // UTF-8 as a string.
  void Text(std::string_view text);

  // Text of which every byte is plain (see IsPlain) as a string.
  void PlainText(std::string_view text) {
    Put('"');
    Raw(text);
    Put('"');
  }

  template <typename Integer>
  void Number(Integer value) {
    constexpr std::size_t kLongest = 20;
    if (Left() >= kLongest) {
      next_ = std::to_chars(next_, next_ + kLongest, value).ptr;
    } else {
      char digits[kLongest];
      const char* const end = std::to_chars(digits, digits + kLongest, value).ptr;
      RawInPieces({digits, static_cast<std::size_t>(end - digits)});
    }
  }

  template <typename Integer>
  void NumberAsText(Integer value) {
    Put('"');
    Number(value);
    Put('"');
  }

  // Bytes as a string, by RFC 4648.
  void Base64(std::string_view bytes);
  void Hexadecimal(std::string_view bytes);

  void Flush() {
    if (next_ != end_) output_->BackUp(static_cast<int>(end_ - next_));
    next_ = end_ = nullptr;
  }

  bool failed() const { return failed_; }

 private:
  std::size_t Left() const { return static_cast<std::size_t>(end_ - next_); }

  void Put(char c) {
    if (next_ == end_ && !Refill()) return;
    *next_++ = c;
  }

  // The text without its first `skipped` bytes, at most one.
  void Padded(const PaddedText& text, std::size_t skipped) {
    if (text.is_short() && Left() >= PaddedText::kShort) {
      std::memcpy(next_, text.data() + skipped, PaddedText::kShort);
      next_ += text.size() - skipped;
    } else {
      Raw(text.view().substr(skipped));
    }
  }

  template <typename Encode>
  void Encoded(std::string_view bytes, const Encode& encode);
  // Most texts are short, which a few instructions copy without a call.
  void Copy(std::string_view text) {
    const char* const from = text.data();
    const std::size_t size = text.size();
    if (size > 32) {
      std::memcpy(next_, from, size);
    } else if (size >= 16) {
      std::memcpy(next_, from, 16);
      std::memcpy(next_ + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
      std::memcpy(next_, from, 8);
      std::memcpy(next_ + size - 8, from + size - 8, 8);
    } else {
      for (std::size_t i = 0; i < size; ++i) next_[i] = from[i];
    }
  }

  bool Refill();
  void RawInPieces(std::string_view text);
  void NewLine();

  google::protobuf::io::ZeroCopyOutputStream* output_;
  std::size_t indent_;
  std::size_t level_ = 0;
  bool first_ = true;  // Nothing stands in the innermost object or array yet.
  bool failed_ = false;
  char* next_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_JSON_OUTPUT_H_
