// The formats in which commands take and give messages.

#ifndef CMNSYS_TOOLS_FORMATS_FORMAT_H_
#define CMNSYS_TOOLS_FORMATS_FORMAT_H_

#include <map>
#include <string>
#include <string_view>

namespace CmnSys::Tool {

enum class Format {
  kAuto,          // By the ending of the file's name.
  kBinary,        // Wire bytes of one message.
  kDelimited,     // Any number of messages, each behind its length as a varint.
  kText,          // Text format; a line "---" stands between messages.
  kJson,          // One JSON object after the other.
  kJsonLines,     // The same, each on a line of its own.
  kHex,           // A dump of the wire bytes of each message.
  kDelimitedHex,  // A dump of kDelimited.
};

// The formats by the names that the command line has for them.
const std::map<std::string, Format>& FormatNames();

// The given format, or for kAuto the one that the file's name tells by its ending, else `other`.
Format ResolveFormat(Format format, std::string_view path, Format other);

// What the formats and the endings that stand for them are, for help texts.
extern const char kFormatHelp[];

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_FORMAT_H_
