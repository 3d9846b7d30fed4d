// The names in the schema, by what they name.

#ifndef CMNSYS_TOOLS_SCHEMA_NAMES_H_
#define CMNSYS_TOOLS_SCHEMA_NAMES_H_

#include <string>
#include <vector>

namespace CmnSys::Tool {

// "messages", "files", "services", "methods" and "all".
const std::vector<std::string>& NameKinds();

// The names of one of these kinds in the library's own schema files, sorted. Methods stand as
// SERVICE/METHOD, files with their area in a second column, so that a part of either finds them.
std::vector<std::string> NamesOf(const std::string& kind);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_SCHEMA_NAMES_H_
