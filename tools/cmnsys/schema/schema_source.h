// The schema as it was written: its descriptors together with the comments of the schema files.

#ifndef CMNSYS_TOOLS_SCHEMA_SCHEMA_SOURCE_H_
#define CMNSYS_TOOLS_SCHEMA_SCHEMA_SOURCE_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace CmnSys::Tool {

// A pool of all schema files, the siblings' included, with source information. A file is read when
// something in it is asked for, so that the extensions of a message are those of the files read.
const google::protobuf::DescriptorPool& SchemaSource();

// The library's own files in that pool, sorted by path. Reads them all.
const std::vector<const google::protobuf::FileDescriptor*>& SchemaSourceFiles();

// The full names of everything that the library's own files declare, and then the paths of the
// files. Reads none of them into the pool.
std::vector<std::string> SchemaSourceNames();

// The comment above a declaration, its lines trimmed and joined by '\n'; empty when there is none.
// Works for every descriptor class that has GetSourceLocation.
template <typename DescriptorType>
std::string CommentOf(const DescriptorType* descriptor);

// The comment at the top of a file.
std::string FileComment(const google::protobuf::FileDescriptor* file);

// Removes the blanks around each line of a comment and the empty lines around all.
std::string TrimmedComment(const std::string& comment);

template <typename DescriptorType>
std::string CommentOf(const DescriptorType* descriptor) {
  google::protobuf::SourceLocation location;
  return descriptor->GetSourceLocation(&location) ? TrimmedComment(location.leading_comments) : "";
}

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_SCHEMA_SCHEMA_SOURCE_H_
