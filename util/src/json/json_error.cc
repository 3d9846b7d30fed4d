#include "CmnSys/Util/Json.h"

namespace CmnSys::Util {

std::string ToString(const JsonError& error) {
  std::string text;
  if (error.line > 0) {
    text += "line " + std::to_string(error.line) + ", column " + std::to_string(error.column);
  }
  if (!error.path.empty()) text += (text.empty() ? "in " : ", in ") + error.path;
  return text.empty() ? error.reason : text + ": " + error.reason;
}

}  // namespace CmnSys::Util
