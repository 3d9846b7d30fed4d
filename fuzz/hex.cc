// Bytes written as a dump in the dialects that tools have, and text read as a dump.
//
// A dump gives its bytes or is refused as ambiguous, never other bytes; one in our own form is
// never refused. What a text was read as, our own dump of it gives again.

#include <cstdio>

#include "formats/hex_dump.h"
#include "io/failure.h"
#include "target.h"

namespace CmnSys::Fuzz {
namespace {

struct Dialect {
  const char* offset;  // printf's, "" for none.
  std::size_t bytes;   // Of a line.
  std::size_t group;   // Bytes between two blanks.
  const char* digits;  // printf's, of one byte.
  const char* between;
  const char* column;  // What opens and closes the column of characters, "" for none.
  const char* end;     // printf's, of the offset behind the last byte.
};
constexpr Dialect kDialects[] = {
    {"%08zx: ", 16, 2, "%02x", " ", "  ", ""},           // xxd
    {"%08zx: ", 16, 1, "%02x", " ", "  ", ""},           // xxd -g1
    {"%08zx: ", 16, 2, "%02X", " ", "  ", ""},           // xxd -u
    {"%08zx: ", 8, 4, "%02x", " ", "", ""},              // xxd -c8 -g4, cut
    {"", 30, 30, "%02x", "", "", ""},                    // xxd -p
    {"  ", 12, 1, "0x%02x", ", ", "", ""},               // xxd -i
    {"%08zx  ", 16, 1, "%02x", " ", " ||", "%08zx\n"},   // hexdump -C
    {"%08zx  ", 16, 1, "%02x", " ", " ||", ""},          // ours
    {"%07zx ", 16, 1, "%02x", " ", "", "%07zx\n"},       // od -A x -t x1
    {"%07zu ", 16, 1, "%02x", " ", "", "%07zu\n"},       // od -A d -t x1
    {"%07zo ", 16, 1, "%02x", " ", "", "%07zo\n"},       // od -t x1
    {"%06zx ", 16, 1, "%02x", " ", "  ><", "%06zx\n"},   // od -A x -t x1z
    {"%07zo ", 16, 1, "%02x", " ", "  ><", "%07zo\n"},   // od -t x1z
    {"\t0x%04zx:  ", 16, 2, "%02x", " ", "  ", ""},      // network tools
    {"%04zx   ", 16, 1, "%02x", " ", "   ", ""},         // network tools, exported
    {"%04zx  ", 16, 1, "%02x", " ", "", ""},             // the same without characters
    {"0x%zx <b+%zu>:\t", 8, 1, "0x%02x", "\t", "", ""},  // gdb
    {"0x%zx:\t", 8, 1, "0x%02x", "\t", "", ""},          // gdb without symbols
    {"", 16, 1, "%02x", " ", "", ""},                    // od -A n
    {"", 1 << 20, 1, "%02X", " ", "", ""},               // logs
    {"", 1 << 20, 1, "%02X", ":", "", ""},               // openssl
    {"", 1 << 20, 1, "%02X", "-", "", ""},               // .NET
    {"", 1 << 20, 1, "\\x%02x", "", "", ""},             // C string, Python
    {"", 1 << 20, 1, "0x%02X", ",", "", ""},             // lists
    {"", 1 << 20, 1 << 20, "%02x", "", "", ""},          // one word
};

template <typename... Values>
std::string Printed(const char* format, Values... values) {
  char text[64];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, format, values...))};
}

std::string Dump(const Dialect& dialect, std::string_view bytes) {
  std::string dump;
  for (std::size_t start = 0; start < bytes.size(); start += dialect.bytes) {
    const std::string_view line = bytes.substr(start, dialect.bytes);
    dump += Printed(dialect.offset, start, start);
    std::string shown;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (i > 0 && i % dialect.group == 0) dump += dialect.between;
      const auto byte = static_cast<unsigned char>(line[i]);
      dump += Printed(dialect.digits, static_cast<unsigned>(byte));
      shown += byte >= 0x20 && byte < 0x7f ? line[i] : '.';
    }
    const std::string_view column = dialect.column;
    if (!column.empty()) {
      // Columns stand under each other.
      const std::size_t missing = dialect.bytes - line.size();
      dump += std::string(missing * 2 + missing / dialect.group, ' ');
      const std::size_t blanks = column.find_last_of(' ') + 1;
      dump += column.substr(0, blanks);
      const std::string_view bars = column.substr(blanks);
      dump +=
          std::string(bars.substr(0, 1)) + shown + std::string(bars.empty() ? "" : bars.substr(1));
    }
    dump += '\n';
  }
  return dump + Printed(dialect.end, bytes.size());
}

std::vector<std::string> Read(std::string_view text) {
  return Tool::ParseHexDumps(text, "dump", 1 << 20);
}

void Run(std::string_view input) {
  for (const Dialect& dialect : kDialects) {
    // More lines of the same bring nothing new.
    const std::string_view bytes = input.substr(0, 100);
    if (bytes.empty()) break;
    const std::string dump = Dump(dialect, bytes);
    try {
      const auto read = Read(dump);
      Expect(read.size() == 1 && read[0] == bytes, "these are other bytes:\n" + dump);
    } catch (const Tool::Failure& failure) {
      Expect(!std::string_view(failure.what()).empty(), "a refusal says why");
    }
  }
  const auto ours = Read(Tool::FormatHexDump(input));
  Expect(ours.size() == 1 && ours[0] == input, "our own dump gives the bytes");
  try {
    for (const std::string& bytes : Read(input)) {
      const auto again = Read(Tool::FormatHexDump(bytes));
      Expect(again.size() == 1 && again[0] == bytes, "what was read is dumped and read");
    }
  } catch (const Tool::Failure& failure) {
    Expect(!std::string_view(failure.what()).empty(), "a refusal says why");
  }
}

std::vector<std::string> Seeds() {
  std::string bytes = "\x0a\x0b 0a 0b ff>|\n";
  for (int i = 0; i < 30; ++i) bytes += static_cast<char>(i * 9);
  std::vector<std::string> seeds = {bytes, bytes.substr(7), std::string(64, 'a'), "0"};
  for (const Dialect& dialect : kDialects) {
    seeds.push_back(Dump(dialect, bytes));
    // Groups of four bytes may be numbers of the machine that they were dumped on.
    if (dialect.group == 4) continue;
    Expect(Read(seeds.back()) == std::vector{bytes}, "this is not refused:\n" + seeds.back());
  }
  return seeds;
}

const Registration kRegistration({"hex", Run, Seeds});

}  // namespace
}  // namespace CmnSys::Fuzz
