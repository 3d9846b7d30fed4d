#include "json/json_output.h"

#include <algorithm>

#include "json/bytes_text.h"
#include "json/plain_text.h"

namespace CmnSys::Util {

namespace {

// The escape of a byte that is not plain.
std::string_view Escape(char c, char (&buffer)[6]) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      constexpr char kDigits[] = "0123456789ABCDEF";
      std::memcpy(buffer, "\\u00", 4);
      buffer[4] = kDigits[c >> 4];
      buffer[5] = kDigits[c & 15];
      return {buffer, sizeof buffer};
  }
}

// Calls put(piece) for one piece of the JSON string after the other.
template <typename Put>
void QuoteInPieces(std::string_view text, const Put& put) {
  const char* next = text.data();
  const char* const end = next + text.size();
  bool ascii = true;
  put("\"");
  while (true) {
    const char* const run = next;
    next = SkipPlain(next, end, &ascii);
    put(std::string_view(run, static_cast<std::size_t>(next - run)));
    if (next == end) break;
    char buffer[6];
    put(Escape(*next++, buffer));
  }
  put("\"");
}

// How many bytes are encoded at a time, and the most text that comes of them.
constexpr std::size_t kPiece = 48;  // A multiple of the three bytes that are four of base64.
constexpr std::size_t kLongestPiece = 2 * kPiece;

}  // namespace

std::string JsonQuoted(std::string_view text) {
  std::string quoted;
  QuoteInPieces(text, [&quoted](std::string_view piece) { quoted += piece; });
  return quoted;
}

void JsonOutput::Text(std::string_view text) {
  QuoteInPieces(text, [this](std::string_view piece) { Raw(piece); });
}

// encode(piece, place) writes the text of a piece to a place and returns where it ends.
template <typename Encode>
void JsonOutput::Encoded(std::string_view bytes, const Encode& encode) {
  Put('"');
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kPiece))) {
    const std::string_view piece = bytes.substr(0, kPiece);
    if (Left() >= kLongestPiece) {
      next_ = encode(piece, next_);
    } else {
      char text[kLongestPiece];
      const char* const end = encode(piece, text);
      RawInPieces({text, static_cast<std::size_t>(end - text)});
    }
  }
  Put('"');
}

void JsonOutput::Base64(std::string_view bytes) { Encoded(bytes, &WriteBase64); }

void JsonOutput::Hexadecimal(std::string_view bytes) { Encoded(bytes, &WriteHexadecimal); }

bool JsonOutput::Refill() {
  void* data = nullptr;
  int size = 0;
  while (!failed_ && size == 0) failed_ = !output_->Next(&data, &size);
  if (failed_) return false;
  next_ = static_cast<char*>(data);
  end_ = next_ + size;
  return true;
}

void JsonOutput::RawInPieces(std::string_view text) {
  while (!text.empty()) {
    if (next_ == end_ && !Refill()) return;
    const std::size_t count = std::min(Left(), text.size());
    std::memcpy(next_, text.data(), count);
    next_ += count;
    text.remove_prefix(count);
  }
}

void JsonOutput::NewLine() {
  Put('\n');
  for (std::size_t left = level_ * indent_; left > 0;) {
    constexpr std::string_view kBlanks = "                                ";
    const std::size_t count = std::min(left, kBlanks.size());
    Raw(kBlanks.substr(0, count));
    left -= count;
  }
}

}  // namespace CmnSys::Util
