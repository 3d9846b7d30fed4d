// How many wire bytes each field of messages takes.

#ifndef CMNSYS_TOOLS_ANALYSIS_SIZE_H_
#define CMNSYS_TOOLS_ANALYSIS_SIZE_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CmnSys::Tool {

// One field on the way from the outermost message down, with all its values in all messages.
struct FieldSize {
  std::uint64_t bytes = 0;  // With tags and lengths.
  std::uint64_t count = 0;  // Values; elements of repeated fields one by one.
  // The fields below it: known ones by descriptor, others by number.
  std::map<std::pair<const google::protobuf::FieldDescriptor*, int>, std::unique_ptr<FieldSize>>
      fields;
};

// Adds the fields of one message to those below `all`, and the message itself to `all`. Linear in
// the size of the message, in time and memory.
void AddFieldSizes(const google::protobuf::Message& message, FieldSize* all);

// Adds the fields of other messages.
void MergeFieldSizes(const FieldSize& from, FieldSize* all);

struct SizeRow {
  // Names joined by dots, "[]" behind repeated fields, extensions in brackets, fields that the type
  // does not know by number.
  std::string path;
  std::uint64_t bytes = 0;
  std::uint64_t count = 0;
};

// The fields to the given depth, the largest first, but at most `limit`. `left_out` tells how many
// smaller ones there are.
std::vector<SizeRow> LargestFields(const FieldSize& all, int max_depth, std::size_t limit,
                                   std::size_t* left_out);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_SIZE_H_
