#include "io/failure.h"

#include <unistd.h>

#include <iostream>

#include "io/colour.h"
#include "io/progress.h"

namespace CmnSys::Tool {

void PrintError(std::string_view text) {
  Progress::Hide();
  std::cerr << Painted(Colour::kRed, "cmnsys:", STDERR_FILENO) << ' ' << text << '\n';
}

}  // namespace CmnSys::Tool
