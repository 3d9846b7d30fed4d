// Finding a name that a person typed: in full, by its last parts, or nearly right.

#ifndef CMNSYS_UTIL_SRC_TEXT_NAME_SEARCH_H_
#define CMNSYS_UTIL_SRC_TEXT_NAME_SEARCH_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Util {

// The names that equal the query; without any, the names that end in it after a dot or a slash, so
// that "Gid" finds "Pb.CmnSys.Gid", and "Gid.proto" a path that ends so. Case counts. One result
// means that the query is understood, several that it is ambiguous, none that there is no such
// name. Thread-safe; O(names).
std::vector<std::string> MatchingNames(const std::vector<std::string>& names,
                                       std::string_view query);

// At most `limit` names that the query may have been meant for, nearest first: those whose text,
// or whose last part, differs from the query's in few letters, whatever their case. Empty when
// nothing is near. Thread-safe; O(names * length^2).
std::vector<std::string> NearestNames(const std::vector<std::string>& names, std::string_view query,
                                      std::size_t limit = 3);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TEXT_NAME_SEARCH_H_
