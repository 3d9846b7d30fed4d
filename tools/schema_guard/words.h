#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_WORDS_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_WORDS_H_

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::SchemaGuard {

// The words of a name or a text, in lower case: "deviceGid" and "DEVICE_GID" both give device, gid.
std::vector<std::string> Words(std::string_view text);

// What a comment speaks of: its words without those that carry no meaning of their own, plurals as
// singulars, abbreviations written out. A constant such as GID_TYPE_USER is one word.
std::set<std::string> Topics(std::string_view text);

// The same of a name, where a constant is taken apart.
std::set<std::string> NameTopics(std::string_view name);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_WORDS_H_
