#ifndef CMNSYS_UTIL_SRC_JSON_MAP_ENTRY_H_
#define CMNSYS_UTIL_SRC_JSON_MAP_ENTRY_H_

#include <string>

#include "json/json_type.h"

namespace CmnSys::Util {

// An entry of a map on the wire: where its key and its value stand behind their tags, unless they
// are unset.
struct MapEntry {
  const char* key = nullptr;
  const char* value = nullptr;
  const char* end = nullptr;  // Null for an entry that cannot be read.
};

// Reads the entry that begins with its length at `p`. `type` is that of the map's entries.
MapEntry ReadMapEntry(const JsonType& type, const char* p, const char* end);

// The text of an entry's key.
std::string KeyOf(const JsonType& type, const MapEntry& entry);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_MAP_ENTRY_H_
