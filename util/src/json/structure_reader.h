#ifndef CMNSYS_UTIL_SRC_JSON_STRUCTURE_READER_H_
#define CMNSYS_UTIL_SRC_JSON_STRUCTURE_READER_H_

#include <string>

#include "CmnSys/Util/Json.h"
#include "json/json_lexer.h"
#include "json/json_path.h"

namespace CmnSys::Util {

// Reads what JSON is made of, whatever it means: members, elements, values to skip. Keeps what is
// wrong; the functions return false after an error.
class StructureReader {
 public:
  // The lexer must outlive the reader.
  StructureReader(int max_depth, JsonLexer* lexer) : lexer_(lexer), max_depth_(max_depth) {}

  // Reports an error at the last token.
  bool Fail(std::string reason) { return FailAt(lexer_->place(), std::move(reason)); }

  JsonError TakeError() { return std::move(error_); }

 protected:
  ~StructureReader() = default;

  bool FailAt(const JsonPlace& place, std::string reason);
  bool Unexpected(JsonToken token, const std::string& expected);

  bool Expect(JsonToken wanted, const char* expected) {
    const JsonToken token = lexer_->Next();
    return token == wanted || Unexpected(token, expected);
  }

  // The name of a member becomes the last token.
  bool ExpectName() { return Expect(JsonToken::kString, "the name of a member"); }
  bool ExpectColon() { return Expect(JsonToken::kColon, "\":\""); }

  // `what` is nested at this depth, "messages" or "values".
  bool CheckDepth(int depth, const char* what) { return depth <= max_depth_ || FailForDepth(what); }

  // Calls read_member() for each member of an object behind its "{", at its name; it reads all of
  // the member.
  template <typename ReadMember>
  bool ReadMembers(const ReadMember& read_member) {
    if (lexer_->Peek() == '}') return Expect(JsonToken::kObjectEnd, "");
    while (true) {
      if (!read_member()) return false;
      const JsonToken token = lexer_->Next();
      if (token == JsonToken::kObjectEnd) return true;
      if (token != JsonToken::kComma) return Unexpected(token, "\",\" or \"}\"");
      lexer_->Peek();
    }
  }

  // Calls read_element() for each element of an array behind its "[".
  template <typename ReadElement>
  bool ReadElements(const ReadElement& read_element) {
    if (lexer_->Peek() == ']') return Expect(JsonToken::kArrayEnd, "");
    while (true) {
      if (!read_element()) return false;
      const JsonToken token = lexer_->Next();
      if (token == JsonToken::kArrayEnd) return true;
      if (token != JsonToken::kComma) return Unexpected(token, "\",\" or \"]\"");
    }
  }

  // Reads a value of any kind without looking at what it means.
  bool SkipValue(int depth);

  // The text of the next value, which begins at `place`.
  bool ReadText(int depth, JsonPlace* place, std::string* text);

  JsonLexer* lexer_;
  JsonPath path_;

 private:
  bool FailForDepth(const char* what);

  const int max_depth_;
  JsonError error_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_STRUCTURE_READER_H_
