#ifndef CMNSYS_UTIL_SRC_LOOKUPS_SCHEMA_FILE_PATHS_H_
#define CMNSYS_UTIL_SRC_LOOKUPS_SCHEMA_FILE_PATHS_H_

#include <string>
#include <vector>

namespace CmnSys::Util {

// Paths of the library's schema files as they are registered, written by the build.
const std::vector<std::string>& SchemaFilePaths();

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_LOOKUPS_SCHEMA_FILE_PATHS_H_
