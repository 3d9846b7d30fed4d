#include "io/failure.h"

#include <unistd.h>

#include <iostream>

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

}  // namespace

void PrintError(std::string_view text) {
  Progress::Hide();
  std::cerr << Painted(Colour::kRed, "cmnsys:", STDERR_FILENO) << ' ' << Harmless(text) << '\n';
}

}  // namespace CmnSys::Tool
