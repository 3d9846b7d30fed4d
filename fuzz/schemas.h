// Inputs that hold schema files: google.protobuf.FileDescriptorSet, see messages.h.

#ifndef CMNSYS_FUZZ_SCHEMAS_H_
#define CMNSYS_FUZZ_SCHEMAS_H_

#include <google/protobuf/descriptor.pb.h>

#include <string>
#include <vector>

namespace CmnSys::Fuzz {

// Two small files, one of which imports the other, with every kind of declaration.
const google::protobuf::FileDescriptorSet& SmallSchema();

// The small schema as input.
std::vector<std::string> SchemaSeeds();

}  // namespace CmnSys::Fuzz

#endif  // CMNSYS_FUZZ_SCHEMAS_H_
