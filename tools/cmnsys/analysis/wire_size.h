// Sizes on the wire, by functions of the protobuf runtime that are not part of its interface.

#ifndef CMNSYS_TOOLS_ANALYSIS_WIRE_SIZE_H_
#define CMNSYS_TOOLS_ANALYSIS_WIRE_SIZE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include <cstdint>

namespace CmnSys::Tool {

// The bytes of a field that is set, with tags and lengths. The size of the whole message must have
// been asked for (ByteSizeLong) since it was last changed: sub-messages keep theirs from then.
std::uint64_t FieldBytes(const google::protobuf::Message& message,
                         const google::protobuf::FieldDescriptor& field);

// The same for one and for all fields that the type does not know.
std::uint64_t FieldBytes(const google::protobuf::UnknownField& field);
std::uint64_t FieldBytes(const google::protobuf::UnknownFieldSet& fields);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_WIRE_SIZE_H_
