#include "names.h"

#include <sstream>

namespace CmnSys::Compiler {
namespace {

bool IsAsciiAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

std::string MangledPath(const std::string& path) {
  std::ostringstream out;
  for (const char c : path) {
    if (IsAsciiAlphanumeric(c)) {
      out << c;
    } else {
      out << '_' << std::hex << static_cast<int>(static_cast<unsigned char>(c));
    }
  }
  return out.str();
}

std::vector<std::string> PackageParts(const google::protobuf::FileDescriptor* file) {
  std::vector<std::string> parts;
  std::istringstream in(file->package());
  for (std::string part; std::getline(in, part, '.');) {
    parts.push_back(part);
  }
  return parts;
}

std::string QualifiedNamespace(const google::protobuf::FileDescriptor* file) {
  std::string result;
  for (const std::string& part : PackageParts(file)) {
    result += "::" + part;
  }
  return result;
}

std::string RegistrationRoutine(const google::protobuf::FileDescriptor* file) {
  return "protobuf_AddDesc_" + MangledPath(file->name());
}

bool BelongsToRuntime(const google::protobuf::FileDescriptor* file) {
  return file->name().rfind("google/protobuf/", 0) == 0;
}

}  // namespace CmnSys::Compiler
