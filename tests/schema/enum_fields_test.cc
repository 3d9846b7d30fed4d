// What must hold of every enum field of the schema, also of enums that do not begin at 0.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wire_format_lite.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "support/messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::internal::WireFormatLite;

// All enum fields, those of messages nested in others included.
std::vector<const FieldDescriptor*> EnumFields() {
  std::vector<const FieldDescriptor*> fields;
  const auto* pool = google::protobuf::DescriptorPool::generated_pool();
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    const auto* message = pool->FindMessageTypeByName(name);
    for (int i = 0; i < message->field_count(); ++i) {
      if (message->field(i)->enum_type() != nullptr) fields.push_back(message->field(i));
    }
  }
  return fields;
}

int SmallestNumberNotIn(const EnumDescriptor& type) {
  int number = 0;
  while (type.FindValueByNumber(number) != nullptr) ++number;
  return number;
}

std::string OneNumber(const FieldDescriptor& field, int number) {
  std::string bytes;
  google::protobuf::io::StringOutputStream stream(&bytes);
  google::protobuf::io::CodedOutputStream output(&stream);
  output.WriteVarint32(WireFormatLite::MakeTag(field.number(), WireFormatLite::WIRETYPE_VARINT));
  output.WriteVarint32SignExtended(number);
  output.Trim();
  return bytes;
}

TEST(EnumFields, KeepANumberThatTheEnumLacksAsUnknown) {
  for (const FieldDescriptor* field : EnumFields()) {
    SCOPED_TRACE(field->full_name());
    const int number = SmallestNumberNotIn(*field->enum_type());
    const std::string bytes = OneNumber(*field, number);
    const std::unique_ptr<Message> message = NewMessage(field->containing_type()->full_name());
    ASSERT_TRUE(message->ParseFromString(bytes));
    const auto* reflection = message->GetReflection();
    if (field->is_repeated()) {
      EXPECT_EQ(reflection->FieldSize(*message, field), 0);
    } else {
      EXPECT_FALSE(reflection->HasField(*message, field));
      EXPECT_EQ(reflection->GetEnum(*message, field), field->default_value_enum());
    }
    EXPECT_EQ(message->SerializeAsString(), bytes);
  }
}

TEST(EnumFields, ReadTheFirstListedValueWhenUnsetAndTellItFromTheSameValueSet) {
  int beginning_elsewhere = 0;
  for (const FieldDescriptor* field : EnumFields()) {
    const EnumDescriptor& type = *field->enum_type();
    if (field->is_repeated() || type.value(0)->number() == 0) continue;
    SCOPED_TRACE(field->full_name());
    ++beginning_elsewhere;
    const std::unique_ptr<Message> message = NewMessage(field->containing_type()->full_name());
    const auto* reflection = message->GetReflection();
    EXPECT_EQ(reflection->GetEnumValue(*message, field), type.value(0)->number());
    EXPECT_TRUE(message->SerializeAsString().empty());

    const std::string bytes = OneNumber(*field, type.value(0)->number());
    ASSERT_TRUE(message->ParseFromString(bytes));
    EXPECT_TRUE(reflection->HasField(*message, field));
    EXPECT_EQ(message->SerializeAsString(), bytes);

    // 0 is an ordinary value of some of these enums, and none of the others.
    ASSERT_TRUE(message->ParseFromString(OneNumber(*field, 0)));
    EXPECT_EQ(reflection->HasField(*message, field), type.FindValueByNumber(0) != nullptr);
    EXPECT_EQ(message->SerializeAsString(), OneNumber(*field, 0));
  }
  EXPECT_GE(beginning_elsewhere, 20);
}

}  // namespace
}  // namespace CmnSys::Test
