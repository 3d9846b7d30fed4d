// How many wire bytes each field of messages takes.

#ifndef CMNSYS_TOOLS_ANALYSIS_SIZE_H_
#define CMNSYS_TOOLS_ANALYSIS_SIZE_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <string>

namespace CmnSys::Tool {

struct FieldSize {
  std::uint64_t bytes = 0;  // With tags and lengths.
  std::uint64_t count = 0;  // Values; elements of repeated fields one by one.
  int depth = 0;            // 1 for a field of the outermost message.
};

// By path: names joined by dots, "[]" behind repeated fields, extensions in brackets, fields that
// the type does not know by number.
using FieldSizes = std::map<std::string, FieldSize>;

// Adds the fields of one message.
void AddFieldSizes(const google::protobuf::Message& message, FieldSizes* sizes);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_SIZE_H_
