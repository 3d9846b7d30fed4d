#include "io/colour.h"

#include <unistd.h>

#include <cstdlib>

namespace CmnSys::Tool {
namespace {

ColourChoice chosen = ColourChoice::kAuto;

bool IsSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

const char* Start(Colour colour) {
  switch (colour) {
    case Colour::kRed:
      return "\x1b[31m";
    case Colour::kGreen:
      return "\x1b[32m";
    case Colour::kYellow:
      return "\x1b[33m";
    case Colour::kCyan:
      return "\x1b[36m";
    case Colour::kBold:
      return "\x1b[1m";
    case Colour::kFaint:
      return "\x1b[2m";
  }
  return "";
}

}  // namespace

void ChooseColours(ColourChoice choice) { chosen = choice; }

bool HasColours(int descriptor) {
  if (chosen != ColourChoice::kAuto) return chosen == ColourChoice::kAlways;
  const char* terminal = std::getenv("TERM");
  const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
  return ::isatty(descriptor) == 1 && !dumb && !IsSet("NO_COLOR");
}

std::string Painted(Colour colour, std::string_view text, int descriptor) {
  std::string result(text);
  if (text.empty() || !HasColours(descriptor)) return result;
  return Start(colour) + result + "\x1b[0m";
}

}  // namespace CmnSys::Tool
