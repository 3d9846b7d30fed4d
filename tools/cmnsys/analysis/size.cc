#include "analysis/size.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wire_format.h>

#include <vector>

#include "text/field_path.h"

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;
using google::protobuf::internal::WireFormat;

namespace {

std::string PathOf(const std::string& parent, const std::string& name) {
  return parent.empty() ? name : parent + "." + name;
}

void AddMessage(const Message& message, const std::string& path, int depth, FieldSizes* sizes);

void AddField(const Message& message, const FieldDescriptor* field, const std::string& parent,
              int depth, FieldSizes* sizes) {
  const Reflection* reflection = message.GetReflection();
  const std::string name = Util::FieldName(*field);
  const std::string path = PathOf(parent, field->is_repeated() ? name + "[]" : name);
  const int count = field->is_repeated() ? reflection->FieldSize(message, field) : 1;
  FieldSize& own = (*sizes)[path];
  own.bytes += WireFormat::FieldByteSize(field, message);
  own.count += static_cast<std::uint64_t>(count);
  own.depth = depth;
  if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return;
  for (int i = 0; i < count; ++i) {
    AddMessage(field->is_repeated() ? reflection->GetRepeatedMessage(message, field, i)
                                    : reflection->GetMessage(message, field),
               path, depth + 1, sizes);
  }
}

void AddMessage(const Message& message, const std::string& path, int depth, FieldSizes* sizes) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) AddField(message, field, path, depth, sizes);

  const UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    UnknownFieldSet single;
    single.AddField(unknown.field(i));
    FieldSize& own = (*sizes)[PathOf(path, std::to_string(unknown.field(i).number()))];
    own.bytes += WireFormat::ComputeUnknownFieldsSize(single);
    own.count += 1;
    own.depth = depth;
  }
}

}  // namespace

void AddFieldSizes(const Message& message, FieldSizes* sizes) { AddMessage(message, "", 1, sizes); }

}  // namespace CmnSys::Tool
