#include "filter/lexer.h"

#include <algorithm>
#include <utility>

#include "io/failure.h"

namespace CmnSys::Tool {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsControl(char c) { return (c >= '\0' && c < ' ') || c == '\x7f'; }
// Whether a character of UTF-8 has begun before.
bool IsInside(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class Lexer {
 public:
  explicit Lexer(std::string_view condition) : condition_(condition) {}

  std::vector<Token> All() {
    std::vector<Token> tokens;
    do {
      while (IsBlank(Peek())) ++at_;
      tokens.push_back(Next());
    } while (tokens.back().kind != TokenKind::kEnd);
    return tokens;
  }

 private:
  // '\0' behind the end, where a condition from a command line has none.
  char Peek(std::size_t ahead = 0) const {
    return at_ + ahead < condition_.size() ? condition_[at_ + ahead] : '\0';
  }

  Token Next() {
    const std::size_t start = at_;
    if (at_ == condition_.size()) return {TokenKind::kEnd, "", start};
    const char c = Peek();
    if (IsLetter(c)) {
      while (IsLetter(Peek()) || IsDigit(Peek())) ++at_;
      return {TokenKind::kName, Since(start), start};
    }
    if (IsDigit(c) || c == '-') return Number();
    if (c == '"' || c == '\'') return Text();
    return Symbol();
  }

  std::string Since(std::size_t start) const {
    return std::string(condition_.substr(start, at_ - start));
  }

  // Everything that may belong to a number; what it means depends on the field.
  Token Number() {
    const std::size_t start = at_++;
    while (IsLetter(Peek()) || IsDigit(Peek()) || Peek() == '.' ||
           ((Peek() == '+' || Peek() == '-') && (condition_[at_ - 1] | 0x20) == 'e')) {
      ++at_;
    }
    return {TokenKind::kNumber, Since(start), start};
  }

  Token Text() {
    const std::size_t start = at_;
    const char quote = condition_[at_++];
    std::string text;
    while (Peek() != quote) {
      if (at_ == condition_.size()) FailAt(condition_, start, "this text has no end");
      if (Peek() == '\\') {
        text += Escape();
      } else {
        text += condition_[at_++];
      }
    }
    ++at_;
    return {TokenKind::kText, std::move(text), start};
  }

  // The escapes of the text format.
  char Escape() {
    static constexpr std::pair<char, char> kSingle[] = {
        {'a', '\a'}, {'b', '\b'}, {'f', '\f'},  {'n', '\n'},  {'r', '\r'}, {'t', '\t'},
        {'v', '\v'}, {'?', '?'},  {'\\', '\\'}, {'\'', '\''}, {'"', '"'},
    };
    const std::size_t start = at_++;
    const char c = Peek();
    int value = 0;
    if (c >= '0' && c <= '7') {
      for (int i = 0; i < 3 && Peek() >= '0' && Peek() <= '7'; ++i) {
        value = value * 8 + (condition_[at_++] - '0');
      }
      if (value <= 0xff) return static_cast<char>(value);
    } else if (c == 'x' && HexDigit(Peek(1)) >= 0) {
      ++at_;
      for (int i = 0; i < 2 && HexDigit(Peek()) >= 0; ++i) {
        value = value * 16 + HexDigit(condition_[at_++]);
      }
      return static_cast<char>(value);
    } else {
      for (const auto& [letter, meaning] : kSingle) {
        if (letter != c) continue;
        ++at_;
        return meaning;
      }
    }
    FailAt(condition_, start, "there is no such escape; those of the text format are known");
  }

  Token Symbol() {
    const std::size_t start = at_;
    static constexpr std::string_view kSymbols[] = {"!=", "<=", ">=", "=", "<", ">",
                                                    ".",  "[",  "]",  "(", ")"};
    // What other languages have for it.
    static constexpr std::pair<std::string_view, std::string_view> kOthers[] = {
        {"==", "="}, {"<>", "!="}, {"&&", "and"}, {"||", "or"}, {"!", "not"}};
    const std::string_view rest = condition_.substr(at_);
    const auto begins = [rest](std::string_view start_of_it) {
      return rest.substr(0, start_of_it.size()) == start_of_it;
    };
    for (const auto& [other, ours] : kOthers) {
      if (begins(other) && !begins("!=")) {
        FailAt(condition_, start,
               "instead of " + std::string(other) + ", write " + std::string(ours));
      }
    }
    for (const std::string_view symbol : kSymbols) {
      if (!begins(symbol)) continue;
      at_ += symbol.size();
      return {TokenKind::kSymbol, std::string(symbol), start};
    }
    FailAt(condition_, start, "nothing begins with this character; text stands in quotes");
  }

  std::string_view condition_;
  std::size_t at_ = 0;
};

// Characters of UTF-8 in the text.
std::size_t Characters(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsInside));
}

}  // namespace

std::vector<Token> Tokens(std::string_view condition) { return Lexer(condition).All(); }

void FailAt(std::string_view condition, std::size_t offset, const std::string& what) {
  constexpr std::size_t kMostShown = 100;  // Bytes before and behind the place.
  std::size_t begin = offset - std::min(offset, kMostShown);
  std::size_t end = std::min(offset + kMostShown, condition.size());
  while (begin > 0 && IsInside(condition[begin])) --begin;
  while (end < condition.size() && IsInside(condition[end])) ++end;
  const std::string cut = begin > 0 ? "..." : "";
  const std::size_t mark = cut.size() + Characters(condition.substr(begin, offset - begin));
  std::string line = cut + std::string(condition.substr(begin, end - begin));
  if (end < condition.size()) line += "...";
  // On one line, where every character takes one column.
  std::replace_if(line.begin(), line.end(), IsControl, ' ');
  throw Failure("--where, column " + std::to_string(Characters(condition.substr(0, offset)) + 1) +
                ": " + what + "\n  " + line + "\n  " + std::string(mark, ' ') + "^");
}

}  // namespace CmnSys::Tool
