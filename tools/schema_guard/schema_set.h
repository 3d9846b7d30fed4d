#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_SCHEMA_SET_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_SCHEMA_SET_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <memory>
#include <string>
#include <vector>

namespace CmnSys::SchemaGuard {

// Reads a file that protoc wrote with --descriptor_set_out. Throws std::runtime_error.
google::protobuf::FileDescriptorSet ReadDescriptorSet(const std::string& path);

// Takes out what protoc adds to a file on its own and the file's text does not say: the JSON names.
void RemoveDerivedNames(google::protobuf::FileDescriptorProto* file);

// A schema in a descriptor pool of its own, apart from the one that the linked library registered.
class SchemaSet {
 public:
  // Each file must stand after those that it imports, as protoc orders them. Throws
  // std::runtime_error with the pool's messages when the files do not make a valid schema.
  explicit SchemaSet(google::protobuf::FileDescriptorSet set);

  // The library's own files; the siblings' files that they import are only in the pool.
  const std::vector<const google::protobuf::FileDescriptor*>& files() const { return files_; }

  const google::protobuf::DescriptorPool& pool() const { return *pool_; }

 private:
  std::unique_ptr<google::protobuf::DescriptorPool> pool_;
  std::vector<const google::protobuf::FileDescriptor*> files_;
};

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_SCHEMA_SET_H_
