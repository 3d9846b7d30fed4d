// The exact bytes of fields whose type, label or number makes them easy to get wrong.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using std::string_literals::operator""s;

const std::string kMinusOneVarint = "\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01"s;

struct Encoding {
  const char* name;
  const char* type;
  const char* text;
  std::string bytes;
};

class EncodingTest : public testing::TestWithParam<Encoding> {};

TEST_P(EncodingTest, IsExactAndReadsBack) {
  const Encoding& expected = GetParam();
  const std::unique_ptr<Message> message = MessageFromText(expected.type, expected.text);
  EXPECT_EQ(message->SerializeAsString(), expected.bytes);

  const std::unique_ptr<Message> copy = Util::NewMessage(expected.type);
  ASSERT_TRUE(copy->ParseFromString(expected.bytes));
  EXPECT_EQ(copy->ShortDebugString(), message->ShortDebugString());
}

INSTANTIATE_TEST_SUITE_P(
    Fields, EncodingTest,
    testing::Values(
        Encoding{"Sint64MinusOne", "Pb.CmnSys.Events.Event", "this_id: -1", "\x08\x01"s},
        Encoding{"Sint64Min", "Pb.CmnSys.Events.Event", "this_id: -9223372036854775808",
                 "\x08" + kMinusOneVarint},
        Encoding{"Sint32Min", "Pb.CmnSys.Events.EventDeviceTTxPosEvent", "line_number: -2147483648",
                 "\x50\xff\xff\xff\xff\x0f"s},
        Encoding{"Int32MinusOneIsNotZigzag", "Pb.Rpc.SvcEmailRpc.SendTestEmailRsp", "error: -1",
                 "\x08" + kMinusOneVarint},
        Encoding{"NegativeTimeIsNotZigzag", "Pb.CmnSys.RecordTriggerParams",
                 "pre_post_record_time: -1", "\x08" + kMinusOneVarint},
        Encoding{"Sfixed64MinusOne", "Pb.CmnSys.Events.Event", "timestamp: -1",
                 "\x29\xff\xff\xff\xff\xff\xff\xff\xff"s},
        Encoding{"Sfixed64Min", "Pb.CmnSys.Alarms.AlarmTrigger", "timestamp: -9223372036854775808",
                 "\x11\x00\x00\x00\x00\x00\x00\x00\x80"s},
        Encoding{"Fixed64Max", "Pb.CmnSys.Queries.QuerySystemEventsType",
                 "time_end: 18446744073709551615", "\x11\xff\xff\xff\xff\xff\xff\xff\xff"s},
        Encoding{"Fixed32Max", "Pb.CmnSys.Events.EventUserLogin", "user_id: 4294967295",
                 "\x0d\xff\xff\xff\xff"s},
        Encoding{"PackedSint32", "Pb.CmnSys.Stor.AccessUnits", "length_diffs: [0, -1, 1]",
                 "\x0a\x03\x00\x01\x02"s},
        Encoding{"UnpackedUint32", "Pb.CmnSys.Events.EventDeviceAnalyticsStart",
                 "target_ids: [311, 305, 311]", "\x30\xb7\x02\x30\xb1\x02\x30\xb7\x02"s},
        Encoding{"UnpackedEnum", "Pb.CmnSys.Queries.QuerySystemEventsType",
                 "event_types: [EVENT_DEVICE_MOTION_START, EVENT_ALL]", "\x28\x95\x27\x28\x00"s},
        Encoding{"Field127", "Pb.CmnSys.Stor.Usage", "tiers {}", "\xfa\x07\x00"s},
        Encoding{"Field1000", "Pb.CmnSys.Schedule.RecurrenceMonthly", "recurrence_yearly {}",
                 "\xc2\x3e\x00"s},
        Encoding{"Field99999", "Pb.CmnSys.SystemInfos.EntityInfoCamera",
                 "image_encoding: IMAGE_ENCODING_JPEG2K", "\xf8\xe9\x30\x00"s},
        Encoding{"Value99999", "Pb.CmnSys.SystemInfos.EntityInfoCamera",
                 "image_encoding: IMAGE_ENCODING_UNKNOWN", "\xf8\xe9\x30\x9f\x8d\x06"s},
        // What is set is written, also when its value or its content is empty.
        Encoding{"Batch", "Pb.CmnSys.QueriesResult.QueryResult",
                 "type: QUERY_RESULT_TYPE_SYSTEM_EVENTS gid {} query_result_system_events {}",
                 "\x10\x07\x1a\x00\xd2\x06\x00"s},
        Encoding{"RuleParameter", "Pb.CmnSys.Rules.RuleParam", "rule_param_site_view {}",
                 "\xba\x08\x00"s},
        Encoding{"DefaultsSetByHand", "Pb.CmnSys.Events.Event",
                 "timestamp: 0 event_type: EVENT_ALL",
                 "\x29\x00\x00\x00\x00\x00\x00\x00\x00\x78\x00"s},
        Encoding{"FalseWhereTheDefaultIsTrue", "Pb.CmnSys.Directory.ViewUpdate",
                 "is_end_of_update_group: false", "\x20\x00"s},
        // Declared in the order 19, 27, 25, 26.
        Encoding{"FieldsDeclaredOutOfNumberOrder", "Pb.CmnSys.Stor.RecordingDesc",
                 "priority: true protection_time: -2 largest_event_id: 5 reference: true",
                 "\x98\x01\x01\xc9\x01\xfe\xff\xff\xff\xff\xff\xff\xff\xd0\x01\x05"
                 "\xd8\x01\x01"s}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace CmnSys::Test
