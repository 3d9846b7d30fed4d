#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Parse.h"
#include "CmnSys/Util/RandomMessage.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "util/all_messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

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

      // An undeclared enum value would come back as an unknown field and be lost here.
      const std::unique_ptr<Message> again(type->New());
      ASSERT_TRUE(again->ParseFromString(bytes));
      again->DiscardUnknownFields();
      EXPECT_EQ(again->SerializeAsString(), bytes) << type->GetTypeName() << " " << seed;
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
      ASSERT_TRUE(Util::Check(*message).empty()) << type->GetTypeName() << " " << seed << "\n"
                                                 << message->DebugString();
      EXPECT_LE(message->ByteSizeLong(), options.max_bytes);
    }
  }
  EXPECT_GT(violations_without, 100);
}

TEST(RandomMessage, ReachesAllExtensionsOneAtATime) {
  std::vector<const FieldDescriptor*> all;
  Pb::CmnSys::Events::Event event;
  event.GetDescriptor()->file()->pool()->FindAllExtensions(event.GetDescriptor(), &all);
  ASSERT_GT(all.size(), 100U);
  Util::RandomMessageOptions options;
  options.max_bytes = 100;
  std::set<const FieldDescriptor*> seen;
  for (std::uint64_t seed = 0; seed < 40 * all.size(); ++seed) {
    Util::FillRandom(seed, options, &event);
    std::vector<const FieldDescriptor*> fields;
    event.GetReflection()->ListFields(event, &fields);
    const auto rest = std::partition(fields.begin(), fields.end(),
                                     [](const auto* field) { return field->is_extension(); });
    EXPECT_LE(rest - fields.begin(), 1);
    seen.insert(fields.begin(), rest);
  }
  EXPECT_EQ(seen.size(), all.size());
}

}  // namespace
}  // namespace CmnSys::Test
