#include "formats/hint.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>

#include "analysis/sample.h"
#include "formats/hex_dump.h"
#include "io/failure.h"

namespace CmnSys::Tool {

namespace {

bool IsText(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) {
    return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t';
  });
}

bool IsHexDump(const std::string& text) {
  try {
    ParseHexDumps(text, "", std::numeric_limits<int>::max());
    return true;
  } catch (const Failure&) {
    return false;
  }
}

// Each message of a gRPC call stands behind a byte 0, or 1 when it is compressed, and its length in
// four bytes, the highest first.
bool HasGrpcPrefix(std::string_view bytes) {
  constexpr std::size_t kPrefix = 5;
  if (bytes.size() < kPrefix || bytes[0] != '\0') return false;
  std::size_t length = 0;
  for (const char c : bytes.substr(1, kPrefix - 1)) {
    length = length << 8 | static_cast<unsigned char>(c);
  }
  return length == bytes.size() - kPrefix;
}

}  // namespace

std::string HintAtText(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  if (text[begin] == '{') {
    return "; it looks like JSON, which \"cmnsys convert\" and others read with --from json";
  }
  if (!IsHexDump(text)) return "";
  return "; it is a hex dump, which \"cmnsys convert\" and others read with --from hex";
}

std::string HintAtBytes(const std::string& bytes, bool is_whole) {
  if (bytes.empty()) return "";
  if (IsText(bytes)) {
    const std::string kind = HintAtText(bytes);
    return !kind.empty() ? kind
                         : "; it is all text: \"cmnsys convert\" reads hex dumps, JSON and text "
                           "format when --from names them";
  }
  if (HasGrpcPrefix(bytes)) {
    return "; the first five bytes are the ones that gRPC puts in front of each message: leave "
           "them out";
  }
  // Nothing but zeros are records without fields, too, but rather a file that was never written.
  const bool is_blank = bytes.find_first_not_of('\0') == std::string::npos;
  const std::size_t records = is_blank ? 0 : DelimitedRecords(bytes, is_whole);
  if (records == 0) return "";
  return "; it is a delimited stream of " + std::string(is_whole ? "" : "at least ") +
         std::to_string(records) + (records == 1 ? " record" : " records") +
         ", which \"cmnsys convert\" and others read with --from delimited, or from a dump with "
         "--from delimited-hex";
}

}  // namespace CmnSys::Tool
