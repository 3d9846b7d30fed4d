#include "schema/schema_source.h"

#include <google/protobuf/descriptor.pb.h>

#include <cstddef>
#include <sstream>

#include "schema/schema_database.h"

extern "C" const char cmnsys_embedded_schema_begin[];
extern "C" const char cmnsys_embedded_schema_end[];

namespace CmnSys::Tool {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;

namespace {

SchemaDatabase& Database() {
  static auto* const database = new SchemaDatabase(
      {cmnsys_embedded_schema_begin,
       static_cast<std::size_t>(cmnsys_embedded_schema_end - cmnsys_embedded_schema_begin)});
  return *database;
}

}  // namespace

const DescriptorPool& SchemaSource() {
  static const auto* const pool = new DescriptorPool(&Database());
  return *pool;
}

const std::vector<const FileDescriptor*>& SchemaSourceFiles() {
  static const auto* const files = [] {
    auto* result = new std::vector<const FileDescriptor*>;
    for (const std::string& path : Database().OwnPaths()) {
      result->push_back(SchemaSource().FindFileByName(path));
    }
    return result;
  }();
  return *files;
}

std::vector<std::string> SchemaSourceNames() {
  std::vector<std::string> names = Database().OwnNames();
  const std::vector<std::string> paths = Database().OwnPaths();
  names.insert(names.end(), paths.begin(), paths.end());
  return names;
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
