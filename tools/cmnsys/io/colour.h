// Colours in what people read at a terminal.

#ifndef CMNSYS_TOOLS_IO_COLOUR_H_
#define CMNSYS_TOOLS_IO_COLOUR_H_

#include <string>
#include <string_view>

namespace CmnSys::Tool {

enum class Colour { kRed, kGreen, kYellow, kCyan, kBold, kFaint };

// When there are colours: with kAuto only where the text goes to a terminal other than a dumb one,
// and not when the variable NO_COLOR is set.
enum class ColourChoice { kAuto, kAlways, kNever };

// Makes the choice for the process; kAuto before.
void ChooseColours(ColourChoice choice);

// Whether text for this descriptor, STDOUT_FILENO or STDERR_FILENO, has colours.
bool HasColours(int descriptor);

// The text between escape sequences when the descriptor has colours, else the text as it is.
std::string Painted(Colour colour, std::string_view text, int descriptor);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_COLOUR_H_
