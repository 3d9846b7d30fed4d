#include "io/failure.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>

#include "io/colour.h"
#include "io/progress.h"

namespace CmnSys::Tool {

namespace {

// Control characters other than ends of line as octal numbers: a text may quote what a server or a
// file says, and terminals obey some of them, those of UTF-8 from C2 80 to C2 9F included.
std::string Harmless(std::string_view text) {
  std::string result;
  const auto escape = [&result](unsigned char byte) {
    result += "\\";
    for (const unsigned shift : {6U, 3U, 0U}) {
      result += static_cast<char>('0' + (byte >> shift & 7U));
    }
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {
      escape(byte);
      escape(next);
      ++i;
    } else if ((byte < ' ' && byte != '\n') || byte == 0x7f) {
      escape(byte);
    } else {
      result += text[i];
    }
  }
  return result;
}

// Without the middle of long lines: a text may quote a word of megabytes.
std::string Shortened(std::string_view text) {
  constexpr std::size_t kMostBefore = 2000;
  constexpr std::size_t kMostBehind = 1000;
  std::string result;
  while (!text.empty()) {
    const std::size_t size = std::min(text.find('\n'), text.size() - 1) + 1;
    const std::string_view line = text.substr(0, size);
    text.remove_prefix(size);
    if (line.size() <= kMostBefore + kMostBehind) {
      result += line;
      continue;
    }
    const std::size_t left_out = line.size() - kMostBefore - kMostBehind;
    result += line.substr(0, kMostBefore);
    result += " [... " + std::to_string(left_out) + " bytes ...] ";
    result += line.substr(kMostBefore + left_out);
  }
  return result;
}

}  // namespace

void PrintError(std::string_view text) {
  Progress::Hide();
  std::cerr << Painted(Colour::kRed, "cmnsys:", STDERR_FILENO) << ' ' << Harmless(Shortened(text))
            << '\n';
}

}  // namespace CmnSys::Tool
