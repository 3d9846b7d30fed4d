#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/WireFault.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "util/all_messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

bool HasUnknownFields(const Message& message) {
  if (message.GetReflection()->GetUnknownFields(message).field_count() > 0) return true;
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    const int count = field->is_repeated() ? message.GetReflection()->FieldSize(message, field) : 1;
    for (int i = 0; i < count; ++i) {
      const Message& child = field->is_repeated()
                                 ? message.GetReflection()->GetRepeatedMessage(message, field, i)
                                 : message.GetReflection()->GetMessage(message, field);
      if (HasUnknownFields(child)) return true;
    }
  }
  return false;
}

TEST(RandomMessage, IsValidForItsTypeAndWithinItsLimits) {
  Util::RandomMessageOptions options;
  options.percent_set = 100;
  options.max_depth = 3;
  options.max_bytes = 700;
  for (const Message* type : AllMessages()) {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
      const std::unique_ptr<Message> message(type->New());
      Util::FillRandom(seed, options, message.get());
      const std::string bytes = message->SerializeAsString();
      EXPECT_LE(bytes.size(), options.max_bytes) << type->GetTypeName();
      EXPECT_FALSE(Util::FindWireFault(*type->GetDescriptor(), bytes, options.max_depth));

      // An undeclared enum value would come back as an unknown field.
      const std::unique_ptr<Message> again(type->New());
      ASSERT_TRUE(again->ParseFromString(bytes));
      EXPECT_FALSE(HasUnknownFields(*again)) << type->GetTypeName() << " " << seed;
      EXPECT_EQ(again->SerializeAsString(), bytes);
    }
  }
}

TEST(RandomMessage, FollowsThePairingRulesOnDemand) {
  Util::RandomMessageOptions options;
  int violations_without = 0;
  for (const Message* type : AllMessages()) {
    for (std::uint64_t seed = 0; seed < 8; ++seed) {
      const std::unique_ptr<Message> message(type->New());
      options.follow_pairing = false;
      Util::FillRandom(seed, options, message.get());
      if (!Util::Check(*message).empty()) ++violations_without;

      options.follow_pairing = true;
      Util::FillRandom(seed, options, message.get());
      const std::vector<Util::Violation> violations = Util::Check(*message);
      ASSERT_TRUE(violations.empty())
          << type->GetTypeName() << " " << seed << " " << violations[0].path << ": "
          << violations[0].sentence << "\n"
          << message->DebugString();
      EXPECT_LE(message->ByteSizeLong(), options.max_bytes);
    }
  }
  EXPECT_GT(violations_without, 100);
}

TEST(RandomMessage, DependsOnSeedAndOptionsOnly) {
  const Util::RandomMessageOptions options;
  Pb::CmnSys::Events::Event first;
  Pb::CmnSys::Events::Event second;
  Util::FillRandom(7, options, &first);
  Util::FillRandom(8, options, &second);
  EXPECT_NE(first.SerializeAsString(), second.SerializeAsString());
  Util::FillRandom(7, options, &second);
  EXPECT_EQ(first.SerializeAsString(), second.SerializeAsString());
}

TEST(RandomMessage, ReachesAllExtensionsOneAtATime) {
  std::vector<const FieldDescriptor*> all;
  Pb::CmnSys::Events::Event event;
  event.GetDescriptor()->file()->pool()->FindAllExtensions(event.GetDescriptor(), &all);
  ASSERT_GT(all.size(), 100U);

  std::set<const FieldDescriptor*> seen;
  for (std::uint64_t seed = 0; seed < 40 * all.size(); ++seed) {
    Util::RandomMessageOptions options;
    options.max_bytes = 100;
    Util::FillRandom(seed, options, &event);
    std::vector<const FieldDescriptor*> fields;
    event.GetReflection()->ListFields(event, &fields);
    int extensions = 0;
    for (const FieldDescriptor* field : fields) {
      if (!field->is_extension()) continue;
      ++extensions;
      seen.insert(field);
    }
    EXPECT_LE(extensions, 1);
  }
  EXPECT_EQ(seen.size(), all.size());
}

}  // namespace
}  // namespace CmnSys::Test
