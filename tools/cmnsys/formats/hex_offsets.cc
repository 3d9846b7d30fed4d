// Dumps whose lines begin with offsets.

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "formats/hex_lines.h"

namespace CmnSys::Tool {
namespace {

constexpr std::string_view kHexPrefix = "0x";

// The offset at the beginning of a line: its digits, and where the rest begins.
struct Offset {
  std::string_view digits;
  std::size_t end = 0;
  bool prefixed = false;
  bool colon = false;
};

// Whether a byte, and no second colon, stands behind a short offset: "0a: 0b: 0c" are bytes.
bool IsFollowedByBytes(std::string_view line, std::size_t position) {
  std::size_t start = line.find_first_not_of(kHexBlanks, position);
  if (start == line.npos) return true;
  if (line.substr(start, 2) == kHexPrefix) start += 2;
  const std::string_view digits = HexDigitsAt(line, start);
  return !digits.empty() && IsApart(line, start + digits.size());
}

std::optional<Offset> FindOffset(std::string_view line) {
  constexpr std::size_t kFewestDigits = 4;  // Of an offset without a colon.
  std::size_t start = std::min(line.find_first_not_of(kHexBlanks), line.size());
  Offset offset;
  offset.prefixed = line.substr(start, 2) == kHexPrefix;
  if (offset.prefixed) start += 2;
  offset.digits = HexDigitsAt(line, start);
  offset.end = start + offset.digits.size();
  if (offset.digits.empty() || offset.digits.size() > 16) return std::nullopt;
  // gdb names the symbol: "0x601048 <buffer+8>:".
  if (offset.prefixed && line.substr(offset.end, 2) == " <") {
    const std::size_t symbol_end = line.find(">:", offset.end);
    if (symbol_end != line.npos) offset.end = symbol_end + 1;
  }
  offset.colon = line.substr(offset.end, 1) == ":";
  if (offset.colon) ++offset.end;
  if (!IsApart(line, offset.end)) return std::nullopt;
  const bool is_short = offset.digits.size() < kFewestDigits;
  if (is_short && !(offset.colon && IsFollowedByBytes(line, offset.end))) return std::nullopt;
  return offset;
}

bool IsRepetition(std::string_view line) {
  const std::size_t start = line.find_first_not_of(kHexBlanks);
  return line[start] == '*' && line.find_first_not_of(kHexBlanks, start + 1) == line.npos;
}

// How the lines are read where that cannot be told from one line alone.
struct Reading {
  bool columns = true;    // Text that may be bytes or a column that shows those before is a column.
  bool reversed = false;  // The bytes of each group stand last byte first, as "xxd -e" has them.
};

// The bytes of all lines, one after the other.
struct Content {
  std::string bytes;
  std::vector<std::size_t> ends;  // Of each line, in bytes.
  std::size_t widest_group = 2;   // In digits.
  bool has_doubtful_column = false;
  bool shown = true;  // Each line with bytes has a column that shows them.
};

class LineReader {
 public:
  LineReader(const std::string& name, const Reading& reading, Content* content)
      : name_(name), reading_(reading), content_(content) {}

  // Adds the bytes of one line from `position` on, up to a column of characters.
  void Read(const HexLine& line, std::size_t position) {
    std::string bytes;
    const bool has_column = ReadGroups(line, position, &bytes);
    content_->shown = content_->shown && (has_column || bytes.empty());
    content_->bytes += bytes;
  }

 private:
  // Returns whether a column that shows the bytes follows them.
  bool ReadGroups(const HexLine& line, std::size_t position, std::string* bytes) {
    const std::string_view text = line.text;
    while (true) {
      const std::size_t start = std::min(text.find_first_not_of(kHexBlanks, position), text.size());
      if (start == text.size()) return false;
      const bool is_gap = !bytes->empty() && start >= position + 2;
      const bool is_wide_gap = is_gap && start > position + 2;
      if (text[start] == '|' || text[start] == '>') return false;
      if (is_gap && FindColumn(text, position + 1, start, *bytes) != text.npos) {
        const bool doubtful = !is_wide_gap && LooksLikeBytes(text.substr(start));
        content_->has_doubtful_column = content_->has_doubtful_column || doubtful;
        if (!doubtful || reading_.columns) return true;
      }
      std::size_t digits_start = start;
      if (text.substr(start, 2) == kHexPrefix) digits_start += 2;
      const std::string_view digits = HexDigitsAt(text, digits_start);
      const std::size_t end = digits_start + digits.size();
      const bool is_byte = digits_start > start && (digits.size() == 1 || digits.size() == 2);
      const bool is_group = digits_start == start && !digits.empty() && digits.size() % 2 == 0;
      if (!(is_byte || is_group) || !IsApart(text, end)) {
        // Characters that some program in between has changed.
        if (is_gap) return false;
        throw line.Wrong(name_, start, "bytes are expected, two hexadecimal digits each");
      }
      if (is_wide_gap && !reading_.reversed) {
        throw line.Wrong(name_, start,
                         "what stands here may be bytes or characters; remove it if it is the "
                         "column of characters");
      }
      Append(digits, bytes);
      position = end;
    }
  }

  void Append(std::string_view digits, std::string* bytes) {
    const std::size_t start = bytes->size();
    if (digits.size() == 1) {
      *bytes += static_cast<char>(HexDigit(digits[0]));
    } else {
      AppendHexPairs(digits, bytes);
    }
    content_->widest_group = std::max(content_->widest_group, digits.size());
    if (reading_.reversed) {
      std::reverse(bytes->begin() + static_cast<std::ptrdiff_t>(start), bytes->end());
    }
  }

  const std::string& name_;
  Reading reading_;
  Content* content_;
};

// A dump whose lines are known to begin with offsets.
class Dump {
 public:
  Dump(const std::vector<HexLine>& lines, const std::string& name, std::uint64_t max_bytes)
      : lines_(lines), name_(name), max_bytes_(max_bytes), first_(*FindOffset(lines[0].text)) {}

  std::string Bytes() {
    if (lines_.size() == 1 && !first_.colon && !BeginsAtZero(lines_[0])) {
      throw lines_[0].Wrong(name_, 0,
                            std::string(first_.digits) +
                                " may be an offset or bytes; remove it, or write a colon after it "
                                "if it is an offset");
    }
    const Reading usual;
    const std::optional<Content> content = TryRead(usual);
    if (content) Collect(*content);
    if (content && content->has_doubtful_column) CollectReading({false, false});
    // Dumps of words are last byte first or first byte first. Those of two bytes are taken for the
    // latter, as xxd writes them, unless the characters say otherwise.
    const std::size_t width = content ? content->widest_group : 16;
    if (width == 4 || width == 8 || width == 16) {
      CollectReading({true, true}, width == 4 || !content);
    }
    if (fitting_.empty()) return WithOffsets(Read(usual), Bases()[0][0]);
    return TheOnlyOne();
  }

 private:
  struct Fit {
    std::string bytes;
    bool shown = false;
  };

  // The bases that offsets like the first one may have, the usual ones in front. od writes 7 digits
  // in octal, or in decimal on demand; hexdump and xxd write 8.
  std::vector<std::vector<int>> Bases() const {
    if (first_.prefixed) return {{16}};
    if (first_.colon) return {{16, 10}};
    if (first_.digits.size() == 7) return {{8, 10}, {16}};
    return {{16}, {10}};
  }

  Content Read(const Reading& reading) const {
    Content content;
    LineReader reader(name_, reading, &content);
    for (const HexLine& line : lines_) {
      if (!IsRepetition(line.text)) reader.Read(line, FindOffset(line.text)->end);
      content.ends.push_back(content.bytes.size());
      CheckHexSize(content.bytes.size(), name_, max_bytes_);
    }
    return content;
  }

  std::optional<Content> TryRead(const Reading& reading) const {
    try {
      return Read(reading);
    } catch (const Failure&) {
      return std::nullopt;
    }
  }

  void CollectReading(const Reading& reading, bool only_if_shown = false) {
    const std::optional<Content> content = TryRead(reading);
    if (content && (content->shown || !only_if_shown)) Collect(*content);
  }

  // Adds the bytes for each base that fits, of the first row of bases of which one does.
  void Collect(const Content& content) {
    for (const std::vector<int>& bases : Bases()) {
      const std::size_t before = fitting_.size();
      for (const int base : bases) {
        try {
          fitting_.push_back({WithOffsets(content, base), content.shown});
        } catch (const Failure&) {
          continue;
        }
      }
      if (fitting_.size() > before) return;
    }
  }

  // Repeats lines as the offsets tell. Throws Failure where offsets and bytes do not go together.
  std::string WithOffsets(const Content& content, int base) const {
    std::string bytes;
    std::string last_line;
    std::uint64_t first_value = 0;
    bool repeat = false;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      const HexLine& line = lines_[i];
      if (IsRepetition(line.text)) {
        repeat = true;
        continue;
      }
      const Offset offset = *FindOffset(line.text);
      std::uint64_t value = 0;
      const char* const end = offset.digits.data() + offset.digits.size();
      if (std::from_chars(offset.digits.data(), end, value, base).ptr != end) {
        throw line.Wrong(name_, 0, "the offset is not a number to base " + std::to_string(base));
      }
      if (i == 0) first_value = value;
      while (repeat && !last_line.empty() && value > first_value + bytes.size()) {
        bytes += last_line;
        CheckHexSize(bytes.size(), name_, max_bytes_);
      }
      repeat = false;
      if (value != first_value + bytes.size()) {
        throw line.Wrong(name_, 0,
                         "the offset is " + std::string(offset.digits) + " but " +
                             std::to_string(bytes.size()) +
                             " bytes stand above; is a line missing or cut off?");
      }
      const std::size_t start = i == 0 ? 0 : content.ends[i - 1];
      last_line = content.bytes.substr(start, content.ends[i] - start);
      bytes += last_line;
      CheckHexSize(bytes.size(), name_, max_bytes_);
    }
    if (repeat) {
      throw lines_.back().Wrong(name_, 0, "the dump ends here without telling how often to repeat");
    }
    return bytes;
  }

  // A column that shows the bytes on every line tells how they are meant.
  std::string TheOnlyOne() {
    const bool any_shown =
        std::any_of(fitting_.begin(), fitting_.end(), [](const Fit& fit) { return fit.shown; });
    const std::string* only = nullptr;
    for (const Fit& fit : fitting_) {
      if (any_shown && !fit.shown) continue;
      if (only != nullptr && *only != fit.bytes) {
        throw Failure(name_ + " can be read in several ways, as " + std::to_string(only->size()) +
                      " bytes and as " + std::to_string(fit.bytes.size()) +
                      " others; dump single bytes and all lines with xxd -g 1, \"hexdump -v -C\" "
                      "or \"od -v -A x -t x1\"");
      }
      only = &fit.bytes;
    }
    return *only;
  }

  const std::vector<HexLine>& lines_;
  const std::string& name_;
  std::uint64_t max_bytes_;
  Offset first_;
  std::vector<Fit> fitting_;
};

}  // namespace

bool HasOffsets(const std::vector<HexLine>& lines) {
  bool first = true;
  for (const HexLine& line : lines) {
    if (!first && IsRepetition(line.text)) continue;
    const std::optional<Offset> offset = FindOffset(line.text);
    if (!offset) return false;
    if (first && !offset->colon) {
      // Without a colon, bytes that stand alone tell an offset from a group of bytes; so does the
      // column of characters where there are no bytes.
      const std::size_t start = line.text.find_first_not_of(kHexBlanks, offset->end);
      if (start == line.text.npos) return false;
      if (line.text[start] != '|' && HexDigitsAt(line.text, start).size() != 2) return false;
    }
    first = false;
  }
  return !lines.empty();
}

bool BeginsAtZero(const HexLine& line) {
  const std::optional<Offset> offset = FindOffset(line.text);
  return offset && offset->digits.find_first_not_of('0') == offset->digits.npos;
}

std::string BytesWithOffsets(const std::vector<HexLine>& lines, const std::string& name,
                             std::uint64_t max_bytes) {
  return Dump(lines, name, max_bytes).Bytes();
}

}  // namespace CmnSys::Tool
