#ifndef CMNSYS_UTIL_SRC_TABLES_EXTENSIONS_H_
#define CMNSYS_UTIL_SRC_TABLES_EXTENSIONS_H_

#include <google/protobuf/descriptor.h>

#include <vector>

#include "tables/indexes.h"

namespace CmnSys::Util {

// The extensions of a type that are known when this is made. None for types that are not
// generated, whose tables are made too often for that.
class Extensions {
 public:
  explicit Extensions(const google::protobuf::Descriptor& type);

  const std::vector<const google::protobuf::FieldDescriptor*>& all() const { return all_; }

  // Where it stands in all(); -1 when it came later.
  int IndexOf(int number) const { return by_number_.Find(number); }
  int IndexOf(const google::protobuf::FieldDescriptor& extension) const {
    const int index = IndexOf(extension.number());
    return index >= 0 && all_[static_cast<std::size_t>(index)] == &extension ? index : -1;
  }

 private:
  std::vector<const google::protobuf::FieldDescriptor*> all_;
  NumberIndex by_number_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TABLES_EXTENSIONS_H_
