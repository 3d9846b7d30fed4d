#include "schema_set.h"

#include <fstream>
#include <stdexcept>

#include "pool_errors.h"

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptor;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;

namespace {

constexpr char kOwnFolder[] = "ProtoBuf/CmnSys/";

// The JSON name that protoc derives from a field's name: without underscores, and the letter after
// each in upper case.
std::string DerivedName(const std::string& name) {
  std::string derived;
  bool upper = false;
  for (const char c : name) {
    if (c == '_') {
      upper = true;
      continue;
    }
    derived += upper && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    upper = false;
  }
  return derived;
}

void RemoveDerivedName(FieldDescriptorProto* field) {
  if (field->json_name() == DerivedName(field->name())) field->clear_json_name();
}

void RemoveDerivedNames(DescriptorProto* message) {
  for (FieldDescriptorProto& field : *message->mutable_field()) RemoveDerivedName(&field);
  for (FieldDescriptorProto& field : *message->mutable_extension()) field.clear_json_name();
  for (DescriptorProto& nested : *message->mutable_nested_type()) RemoveDerivedNames(&nested);
}

// A group declares its message where it stands itself, which a descriptor set need not obey: by way
// of another message it could hold itself, and printing it would not end.
void CheckGroup(const FieldDescriptor& field) {
  if (field.type() != FieldDescriptor::TYPE_GROUP) return;
  const Descriptor* const around =
      field.is_extension() ? field.extension_scope() : field.containing_type();
  if (field.message_type()->containing_type() == around) return;
  throw std::runtime_error("not a valid schema:\n" + field.file()->name() + ": " +
                           field.full_name() + ": the message of a group is declared elsewhere");
}

void CheckGroups(const Descriptor& message) {
  for (int i = 0; i < message.field_count(); ++i) CheckGroup(*message.field(i));
  for (int i = 0; i < message.extension_count(); ++i) CheckGroup(*message.extension(i));
  for (int i = 0; i < message.nested_type_count(); ++i) CheckGroups(*message.nested_type(i));
}

void CheckGroups(const FileDescriptor& file) {
  for (int i = 0; i < file.extension_count(); ++i) CheckGroup(*file.extension(i));
  for (int i = 0; i < file.message_type_count(); ++i) CheckGroups(*file.message_type(i));
}

}  // namespace

FileDescriptorSet ReadDescriptorSet(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  FileDescriptorSet set;
  if (!in || !set.ParseFromIstream(&in)) {
    throw std::runtime_error("cannot read a descriptor set from " + path);
  }
  return set;
}

void RemoveDerivedNames(FileDescriptorProto* file) {
  for (DescriptorProto& message : *file->mutable_message_type()) RemoveDerivedNames(&message);
  for (FieldDescriptorProto& field : *file->mutable_extension()) field.clear_json_name();
}

SchemaSet::SchemaSet(FileDescriptorSet set) : pool_(std::make_unique<DescriptorPool>()) {
  for (FileDescriptorProto& file : *set.mutable_file()) {
    RemoveDerivedNames(&file);
    PoolErrors errors;
    const FileDescriptor* built = pool_->BuildFileCollectingErrors(file, &errors);
    if (built == nullptr) throw std::runtime_error("not a valid schema:\n" + errors.text());
    CheckGroups(*built);
    if (built->name().rfind(kOwnFolder, 0) == 0) files_.push_back(built);
  }
}

}  // namespace CmnSys::SchemaGuard
