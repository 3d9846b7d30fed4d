#include "analysis/wire_size.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format.h>

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error "This file uses internals of protobuf 3.21; adapt tools/cmnsys/analysis/wire_size.cc."
#endif

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;
using google::protobuf::internal::WireFormat;
using google::protobuf::io::CodedOutputStream;

std::uint64_t FieldBytes(const Message& message, const FieldDescriptor& field) {
  if (field.cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
    return WireFormat::FieldByteSize(&field, message);
  }
  const google::protobuf::Reflection* reflection = message.GetReflection();
  const int count = field.is_repeated() ? reflection->FieldSize(message, &field) : 1;
  std::uint64_t bytes =
      WireFormat::TagSize(field.number(), field.type()) * static_cast<std::uint64_t>(count);
  for (int i = 0; i < count; ++i) {
    const Message& value = field.is_repeated() ? reflection->GetRepeatedMessage(message, &field, i)
                                               : reflection->GetMessage(message, &field);
    const auto size = static_cast<std::uint32_t>(value.GetCachedSize());
    bytes += size;
    if (field.type() == FieldDescriptor::TYPE_MESSAGE) {
      bytes += CodedOutputStream::VarintSize32(size);
    }
  }
  return bytes;
}

std::uint64_t FieldBytes(const UnknownField& field) {
  const auto tag = static_cast<std::uint64_t>(
      CodedOutputStream::VarintSize32(static_cast<std::uint32_t>(field.number()) << 3));
  switch (field.type()) {
    case UnknownField::TYPE_VARINT:
      return tag + CodedOutputStream::VarintSize64(field.varint());
    case UnknownField::TYPE_FIXED32:
      return tag + 4;
    case UnknownField::TYPE_FIXED64:
      return tag + 8;
    case UnknownField::TYPE_LENGTH_DELIMITED: {
      const std::uint64_t size = field.length_delimited().size();
      return tag + CodedOutputStream::VarintSize64(size) + size;
    }
    case UnknownField::TYPE_GROUP:
      return 2 * tag + FieldBytes(field.group());
  }
  return 0;
}

std::uint64_t FieldBytes(const UnknownFieldSet& fields) {
  return WireFormat::ComputeUnknownFieldsSize(fields);
}

}  // namespace CmnSys::Tool
