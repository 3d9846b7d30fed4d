#include "messages.h"

#include <google/protobuf/compiler/cpp/names.h>

#include <algorithm>

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

namespace {

void AddMessage(const Descriptor* message, std::vector<const Descriptor*>* messages) {
  messages->push_back(message);
  for (int i = 0; i < message->nested_type_count(); ++i) {
    AddMessage(message->nested_type(i), messages);
  }
}

}  // namespace

std::vector<const Descriptor*> MessagesOf(const FileDescriptor* file) {
  std::vector<const Descriptor*> messages;
  for (int i = 0; i < file->message_type_count(); ++i) AddMessage(file->message_type(i), &messages);
  return messages;
}

std::vector<const EnumDescriptor*> EnumsOf(const FileDescriptor* file) {
  std::vector<const EnumDescriptor*> enums;
  for (int i = 0; i < file->enum_type_count(); ++i) enums.push_back(file->enum_type(i));
  for (const Descriptor* message : MessagesOf(file)) {
    for (int i = 0; i < message->enum_type_count(); ++i) enums.push_back(message->enum_type(i));
  }
  return enums;
}

std::vector<const FieldDescriptor*> FieldsByNumber(const Descriptor* message) {
  std::vector<const FieldDescriptor*> fields;
  for (int i = 0; i < message->field_count(); ++i) fields.push_back(message->field(i));
  std::sort(fields.begin(), fields.end(),
            [](const auto* a, const auto* b) { return a->number() < b->number(); });
  return fields;
}

bool IsMessage(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}
bool IsEnum(const FieldDescriptor* field) { return field->type() == FieldDescriptor::TYPE_ENUM; }
bool IsText(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
}
bool IsNumeric(const FieldDescriptor* field) { return !IsMessage(field) && !IsText(field); }

std::string HeaderPath(const FileDescriptor* file, const std::string& suffix) {
  return google::protobuf::compiler::cpp::StripProto(file->name()) + suffix;
}

}  // namespace CmnSys::Compiler
