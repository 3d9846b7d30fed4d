// What must hold of every enum field of the schema, also of enums that do not begin at 0.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "CmnSys/Util/Schema.h"
#include "support/messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The bytes of a message in which this field alone is set, to this number.
std::string OneNumber(const FieldDescriptor& field, int number) {
  const std::unique_ptr<Message> message = NewMessage(field.containing_type()->full_name());
  message->GetReflection()
      ->MutableUnknownFields(message.get())
      ->AddVarint(field.number(), static_cast<std::uint64_t>(number));
  return message->SerializeAsString();
}

void CheckEnumField(const FieldDescriptor& field) {
  const EnumDescriptor& type = *field.enum_type();
  const int unset =
      (field.has_default_value() ? field.default_value_enum() : type.value(0))->number();
  const std::unique_ptr<Message> message = NewMessage(field.containing_type()->full_name());
  const auto* reflection = message->GetReflection();
  EXPECT_EQ(reflection->GetEnumValue(*message, &field), unset);
  int missing = 0;
  while (type.FindValueByNumber(missing) != nullptr) ++missing;
  // 0 is an ordinary value of some of the enums that begin elsewhere, and none of the others.
  for (const int number : {unset, 0, missing}) {
    const bool known = type.FindValueByNumber(number) != nullptr;
    const std::string bytes = OneNumber(field, number);
    ASSERT_TRUE(message->ParseFromString(bytes));
    EXPECT_EQ(reflection->HasField(*message, &field), known);
    EXPECT_EQ(reflection->GetEnumValue(*message, &field), known ? number : unset);
    EXPECT_EQ(message->SerializeAsString(), bytes);
  }
}

TEST(EnumFields, ReadTheirDefaultOrFirstListedValueWhenUnsetAndKeepNumbersThatTheEnumLacks) {
  int beginning_elsewhere = 0;
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    const auto* message =
        google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor& field = *message->field(i);
      if (field.enum_type() == nullptr || field.is_repeated()) continue;
      SCOPED_TRACE(field.full_name());
      CheckEnumField(field);
      beginning_elsewhere += field.enum_type()->value(0)->number() != 0 ? 1 : 0;
    }
  }
  EXPECT_GE(beginning_elsewhere, 20);
}

}  // namespace
}  // namespace CmnSys::Test
