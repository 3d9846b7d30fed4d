// The schema files inside this program, of which only those are read that somebody asks for: their
// comments are many times longer than their declarations.

#ifndef CMNSYS_TOOLS_SCHEMA_SCHEMA_DATABASE_H_
#define CMNSYS_TOOLS_SCHEMA_SCHEMA_DATABASE_H_

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::Tool {

class SchemaDatabase : public google::protobuf::DescriptorDatabase {
 public:
  // The files of a serialized FileDescriptorSet, which must outlive the database. Throws Failure
  // when it is damaged.
  explicit SchemaDatabase(std::string_view set);

  // The library's own files, sorted by path; the set holds those of the siblings too.
  std::vector<std::string> OwnPaths() const;

  // Full names of everything that the library's own files declare, packages left out, sorted.
  std::vector<std::string> OwnNames() const;

  // DescriptorDatabase.
  bool FindFileByName(const std::string& path,
                      google::protobuf::FileDescriptorProto* file) override;
  bool FindFileContainingSymbol(const std::string& name,
                                google::protobuf::FileDescriptorProto* file) override;
  // Not known: who asks for all extensions of a message must have read all files.
  bool FindFileContainingExtension(const std::string& extendee, int number,
                                   google::protobuf::FileDescriptorProto* file) override;

 private:
  struct File {
    std::string path;
    std::string_view bytes;
  };
  struct Symbol {
    std::string name;
    std::size_t file;
    bool is_package;
  };

  void AddSymbols(std::size_t file, const google::protobuf::FileDescriptorProto& declarations);

  std::vector<File> files_;      // Sorted by path.
  std::vector<Symbol> symbols_;  // Sorted by name; packages stand in them once for each file.
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_SCHEMA_SCHEMA_DATABASE_H_
