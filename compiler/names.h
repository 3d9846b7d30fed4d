// Names that the generated code shares with the output of protoc's own C++ generator.

#ifndef CMNSYS_COMPILER_NAMES_H_
#define CMNSYS_COMPILER_NAMES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace CmnSys::Compiler {

// A schema path as part of a C++ identifier: every byte that is neither a letter nor a digit
// becomes "_" and its hexadecimal number, so "Net/Net.proto" becomes "Net_2fNet_2eproto".
std::string MangledPath(const std::string& path);

// The package of a file split at its dots; empty for a file without a package.
std::vector<std::string> PackageParts(const google::protobuf::FileDescriptor* file);

// The qualified namespace of a file, for example "::Pb::CmnSys"; empty without a package.
std::string QualifiedNamespace(const google::protobuf::FileDescriptor* file);

// The unqualified name of a file's registration routine.
std::string RegistrationRoutine(const google::protobuf::FileDescriptor* file);

// Whether the file is one of the protobuf runtime's own, which come from protoc's generator alone.
bool BelongsToRuntime(const google::protobuf::FileDescriptor* file);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_NAMES_H_
