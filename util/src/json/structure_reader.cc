#include "json/structure_reader.h"

#include <set>
#include <string_view>
#include <utility>

namespace CmnSys::Util {

namespace {

// What stands where a token was read.
std::string Found(JsonToken token) {
  switch (token) {
    case JsonToken::kObjectBegin:
      return "an object";
    case JsonToken::kObjectEnd:
      return "\"}\"";
    case JsonToken::kArrayBegin:
      return "an array";
    case JsonToken::kArrayEnd:
      return "\"]\"";
    case JsonToken::kColon:
      return "\":\"";
    case JsonToken::kComma:
      return "\",\"";
    case JsonToken::kString:
      return "a string";
    case JsonToken::kNumber:
      return "a number";
    case JsonToken::kTrue:
      return "true";
    case JsonToken::kFalse:
      return "false";
    case JsonToken::kNull:
      return "null";
    case JsonToken::kInvalid:
      break;
  }
  return "";
}

}  // namespace

bool StructureReader::FailAt(const JsonPlace& place, std::string reason) {
  error_ = {place.line, place.column, place.offset, path_.Text(), std::move(reason)};
  return false;
}

bool StructureReader::Unexpected(JsonToken token, const std::string& expected) {
  return Fail(token == JsonToken::kInvalid
                  ? std::string(lexer_->text())
                  : Found(token) + " stands here; expected is " + expected);
}

bool StructureReader::FailForDepth(const char* what) {
  lexer_->Peek();
  return Fail(what + (" are nested more than " + std::to_string(max_depth_)) +
              " deep; raise max_depth if that is right");
}

bool StructureReader::SkipValue(int depth) {
  if (!CheckDepth(depth, "values")) return false;
  switch (const JsonToken token = lexer_->Next()) {
    case JsonToken::kObjectBegin: {
      std::set<std::string> seen;
      return ReadMembers([&] {
        if (!ExpectName()) return false;
        if (!seen.emplace(lexer_->text()).second) {
          return Fail(Quoted(lexer_->text()) + " stands here a second time");
        }
        return ExpectColon() && SkipValue(depth + 1);
      });
    }
    case JsonToken::kArrayBegin:
      return ReadElements([&] { return SkipValue(depth + 1); });
    case JsonToken::kString:
    case JsonToken::kNumber:
    case JsonToken::kTrue:
    case JsonToken::kFalse:
    case JsonToken::kNull:
      return true;
    default:
      return Unexpected(token, "a value");
  }
}

bool StructureReader::ReadText(int depth, JsonPlace* place, std::string* text) {
  lexer_->Peek();
  *place = lexer_->place();
  lexer_->StartCopy(text);
  const bool read = SkipValue(depth);
  lexer_->StopCopy();
  return read;
}

}  // namespace CmnSys::Util
