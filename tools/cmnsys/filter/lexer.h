// The words of a filter's condition.

#ifndef CMNSYS_TOOLS_FILTER_LEXER_H_
#define CMNSYS_TOOLS_FILTER_LEXER_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Tool {

enum class TokenKind {
  kName,    // A field, an enum value or a word such as "and".
  kNumber,  // As it is written.
  kText,    // What stood in quotes, its escapes resolved.
  kSymbol,  // One of . [ ] ( ) = != < <= > >=
  kEnd,
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;
  std::size_t offset = 0;  // Where it begins, in bytes.
};

// The words of the condition, kEnd last. Throws Failure for what is none.
std::vector<Token> Tokens(std::string_view condition);

// Throws Failure with what is wrong, the column, and the condition with a mark below the byte at
// `offset`.
[[noreturn]] void FailAt(std::string_view condition, std::size_t offset, const std::string& what);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FILTER_LEXER_H_
