#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_FINDINGS_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_FINDINGS_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace CmnSys::SchemaGuard {

// What is wrong with a declaration of the schema.
struct Finding {
  // "<file>:<line>: <full name>"; without the line where the descriptors have no source
  // information.
  std::string place;
  // The fault, and what to do about it.
  std::string problem;
};

// Collects findings in the order in which they are added.
class Findings {
 public:
  // `declaration` is a descriptor of any kind.
  template <class Declaration>
  void Add(const Declaration& declaration, std::string problem) {
    all_.push_back({PlaceOf(declaration), std::move(problem)});
  }

  // For what has no descriptor.
  void AddAt(std::string place, std::string problem) {
    all_.push_back({std::move(place), std::move(problem)});
  }

  const std::vector<Finding>& all() const { return all_; }

  // One finding a line.
  std::string Text() const;

 private:
  template <class Declaration>
  static std::string PlaceOf(const Declaration& declaration) {
    google::protobuf::SourceLocation source;
    const bool known = declaration.GetSourceLocation(&source);
    return Place(*FileOf(declaration), known ? source.start_line + std::int64_t{1} : 0,
                 NameOf(declaration));
  }
  static std::string PlaceOf(const google::protobuf::FileDescriptor& file) { return file.name(); }

  static std::string Place(const google::protobuf::FileDescriptor& file, std::int64_t line,
                           std::string_view name);

  template <class Declaration>
  static const google::protobuf::FileDescriptor* FileOf(const Declaration& declaration) {
    return declaration.file();
  }
  static const google::protobuf::FileDescriptor* FileOf(
      const google::protobuf::MethodDescriptor& method) {
    return method.service()->file();
  }
  static const google::protobuf::FileDescriptor* FileOf(
      const google::protobuf::EnumValueDescriptor& value) {
    return value.type()->file();
  }

  template <class Declaration>
  static std::string NameOf(const Declaration& declaration) {
    return declaration.full_name();
  }
  // The full name of an enum value leaves the enum out; a person who looks for it wants it in.
  static std::string NameOf(const google::protobuf::EnumValueDescriptor& value) {
    return value.type()->full_name() + "." + value.name();
  }

  std::vector<Finding> all_;
};

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_FINDINGS_H_
