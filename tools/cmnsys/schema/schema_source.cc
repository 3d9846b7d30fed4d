#include "schema/schema_source.h"

#include <google/protobuf/descriptor.pb.h>

#include <sstream>

#include "CmnSys/Util/Schema.h"
#include "io/failure.h"

extern "C" const char cmnsys_embedded_schema_begin[];
extern "C" const char cmnsys_embedded_schema_end[];

namespace CmnSys::Tool {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;

const DescriptorPool& SchemaSource() {
  static const DescriptorPool* const pool = [] {
    FileDescriptorSet set;
    if (!set.ParseFromArray(
            cmnsys_embedded_schema_begin,
            static_cast<int>(cmnsys_embedded_schema_end - cmnsys_embedded_schema_begin))) {
      throw Failure("the schema inside this program is damaged; install it again");
    }
    auto* result = new DescriptorPool;
    for (const FileDescriptorProto& file : set.file()) result->BuildFile(file);
    return result;
  }();
  return *pool;
}

const std::vector<const FileDescriptor*>& SchemaSourceFiles() {
  static const auto* const files = [] {
    auto* result = new std::vector<const FileDescriptor*>;
    for (const FileDescriptor* file : Util::SchemaFiles()) {
      result->push_back(SchemaSource().FindFileByName(file->name()));
    }
    return result;
  }();
  return *files;
}

std::string FileComment(const FileDescriptor* file) {
  google::protobuf::SourceLocation location;
  // The file's comment stands above its syntax statement, apart from it by an empty line.
  if (!file->GetSourceLocation({FileDescriptorProto::kSyntaxFieldNumber}, &location)) return "";
  std::string text;
  for (const std::string& block : location.leading_detached_comments) text += block + "\n";
  return TrimmedComment(text + location.leading_comments);
}

std::string TrimmedComment(const std::string& comment) {
  constexpr const char* kBlanks = " \t\r";
  std::istringstream in(comment);
  std::string result;
  for (std::string line; std::getline(in, line);) {
    const std::size_t begin = line.find_first_not_of(kBlanks);
    const std::size_t end = line.find_last_not_of(kBlanks);
    result += (begin == std::string::npos ? "" : line.substr(begin, end - begin + 1)) + "\n";
  }
  const std::size_t begin = result.find_first_not_of('\n');
  if (begin == std::string::npos) return "";
  return result.substr(begin, result.find_last_not_of('\n') - begin + 1);
}

}  // namespace CmnSys::Tool
