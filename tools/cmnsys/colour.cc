#include "colour.h"

#include <unistd.h>

#include <cstdlib>

namespace CmnSys::Tool {
namespace {

const char kAuto[] = "auto";
const char kAlways[] = "always";
const char kNever[] = "never";

// What --color says; set once, while the command line is parsed.
std::string& Choice() {
  static std::string choice = kAuto;
  return choice;
}

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

void AddColourOption(CLI::App* app) {
  app->add_option("--color", Choice(), "Colours; auto: at a terminal and when NO_COLOR is not set")
      ->check(CLI::IsMember({kAuto, kAlways, kNever}))
      ->type_name("WHEN")
      ->capture_default_str();
}

bool HasColours(int descriptor) {
  if (Choice() != kAuto) return Choice() == kAlways;
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
