// The code generator behind protoc-gen-cmnsys. It completes the output of protoc's own C++
// generator through that output's insertion points, so both must run in one protoc call with the
// same output folder, --cpp_out first. Besides, it writes a header of views and one of
// writers for each file.

#ifndef CMNSYS_COMPILER_GENERATOR_H_
#define CMNSYS_COMPILER_GENERATOR_H_

#include <google/protobuf/compiler/code_generator.h>

#include <string>
#include <vector>

namespace CmnSys::Compiler {

class Generator : public google::protobuf::compiler::CodeGenerator {
 public:
  bool Generate(const google::protobuf::FileDescriptor* file, const std::string& parameter,
                google::protobuf::compiler::GeneratorContext* context,
                std::string* error) const override;

  bool GenerateAll(const std::vector<const google::protobuf::FileDescriptor*>& files,
                   const std::string& parameter,
                   google::protobuf::compiler::GeneratorContext* context,
                   std::string* error) const override;

  uint64_t GetSupportedFeatures() const override { return FEATURE_PROTO3_OPTIONAL; }
};

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_GENERATOR_H_
