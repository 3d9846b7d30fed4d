#include "formats/format.h"

#include <utility>

namespace CmnSys::Tool {

const char kFormatHelp[] =
    "Formats, and the endings of file names by which \"auto\" knows them:\n"
    "  binary         one message as wire bytes (.bin, and any other ending)\n"
    "  delimited      any number, each behind its length as a varint (.delimited)\n"
    "  text           text format; a line --- stands between messages (.txt .textproto .txtpb)\n"
    "  json           one object after the other (.json)\n"
    "  jsonl          the same, each written on one line (.jsonl .ndjson)\n"
    "  hex            a dump of each message, as from xxd, hexdump -C, od -t x1 or a log (.hex);\n"
    "                 at offset 0 another message begins\n"
    "  delimited-hex  a dump of delimited";

const std::map<std::string, Format>& FormatNames() {
  static const auto* const names =
      new std::map<std::string, Format>{{"auto", Format::kAuto},
                                        {"binary", Format::kBinary},
                                        {"delimited", Format::kDelimited},
                                        {"text", Format::kText},
                                        {"json", Format::kJson},
                                        {"jsonl", Format::kJsonLines},
                                        {"hex", Format::kHex},
                                        {"delimited-hex", Format::kDelimitedHex}};
  return *names;
}

Format ResolveFormat(Format format, std::string_view path, Format other) {
  static constexpr std::pair<std::string_view, Format> kEndings[] = {
      {".json", Format::kJson}, {".jsonl", Format::kJsonLines}, {".ndjson", Format::kJsonLines},
      {".txt", Format::kText},  {".textproto", Format::kText},  {".txtpb", Format::kText},
      {".hex", Format::kHex},   {".bin", Format::kBinary},      {".delimited", Format::kDelimited},
  };
  if (format != Format::kAuto) return format;
  for (const auto& [ending, by_ending] : kEndings) {
    if (path.size() > ending.size() && path.substr(path.size() - ending.size()) == ending) {
      return by_ending;
    }
  }
  return other;
}

}  // namespace CmnSys::Tool
