// write_schema <descriptor set> <folder>
//
// Writes the schema files of a descriptor set below <folder>, in a form that Wireshark reads in
// full. Wireshark knows no extensions, so each stands as an ordinary field of the message that it
// extends: the bytes of every message stay the same. What describes the schema to compilers only is
// left out: comments, the options of services and methods, and google/protobuf/descriptor.proto.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "pool_errors.h"

namespace {

namespace fs = std::filesystem;

using google::protobuf::DescriptorPool;
using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;
using google::protobuf::RepeatedPtrField;

constexpr char kCompilerSchema[] = "google/protobuf/descriptor.proto";
constexpr char kCompilerPackage[] = ".google.protobuf.";

FileDescriptorSet ReadSet(const std::string& path) {
  FileDescriptorSet set;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  if (!set.ParseFromIstream(&in)) throw std::runtime_error(path + " is no descriptor set");
  return set;
}

// Rewrites one file.
class Rewriter {
 public:
  explicit Rewriter(FileDescriptorProto* file) : file_(file) {
    const std::string prefix = file->package().empty() ? "." : "." + file->package() + ".";
    for (DescriptorProto& message : *file->mutable_message_type()) Index(prefix, &message);
  }

  void Run() {
    file_->clear_source_code_info();
    RemoveImportOfCompilerSchema();
    for (auto& service : *file_->mutable_service()) {
      service.clear_options();
      for (auto& method : *service.mutable_method()) method.clear_options();
    }
    TurnIntoFields(file_->mutable_extension());
    for (auto& [name, message] : messages_) TurnIntoFields(message->mutable_extension());
    for (auto& [name, message] : messages_) {
      // The ranges would overlap with the numbers of the new fields.
      message->clear_extension_range();
      for (FieldDescriptorProto& field : *message->mutable_field()) field.clear_json_name();
    }
  }

 private:
  void Index(const std::string& prefix, DescriptorProto* message) {
    messages_[prefix + message->name()] = message;
    for (DescriptorProto& nested : *message->mutable_nested_type()) {
      Index(prefix + message->name() + ".", &nested);
    }
  }

  void RemoveImportOfCompilerSchema() {
    auto* imports = file_->mutable_dependency();
    imports->erase(std::remove(imports->begin(), imports->end(), kCompilerSchema), imports->end());
  }

  void TurnIntoFields(RepeatedPtrField<FieldDescriptorProto>* extensions) {
    for (FieldDescriptorProto& extension : *extensions) {
      if (extension.extendee().rfind(kCompilerPackage, 0) == 0) continue;
      const auto extended = messages_.find(extension.extendee());
      if (extended == messages_.end()) {
        // Its message may be imported by the file of the extended one only against the imports.
        std::cerr << "warning: " << file_->name() << ": " << extension.name() << " extends "
                  << extension.extendee()
                  << " of another file; Wireshark will show it as an unknown field\n";
        continue;
      }
      FieldDescriptorProto* field = extended->second->add_field();
      field->Swap(&extension);
      field->clear_extendee();
    }
    extensions->Clear();
  }

  FileDescriptorProto* file_;
  std::map<std::string, DescriptorProto*> messages_;  // By full name, with a leading dot.
};

void WriteSchema(const std::string& set_path, const fs::path& folder) {
  FileDescriptorSet set = ReadSet(set_path);
  DescriptorPool pool;
  for (FileDescriptorProto& file : *set.mutable_file()) {
    if (file.name() == kCompilerSchema) continue;
    Rewriter(&file).Run();
    CmnSys::SchemaGuard::PoolErrors errors;
    const auto* descriptor = pool.BuildFileCollectingErrors(file, &errors);
    if (descriptor == nullptr) throw std::runtime_error(errors.text());
    const fs::path path = folder / file.name();
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << "// The schema as Wireshark reads it, with extensions as fields: nothing else should "
           "use "
           "it.\n\n"
        << descriptor->DebugString();
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: write_schema DESCRIPTOR_SET FOLDER\n";
    return 2;
  }
  try {
    WriteSchema(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "write_schema: " << error.what() << "\n";
    return 1;
  }
}
