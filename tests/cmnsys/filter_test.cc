#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"
#include "cmnsys_tool.h"
#include "filter/expression.h"
#include "filter/matcher.h"
#include "support/files.h"
#include "util/all_messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::TextFormat;
using std::string_literals::operator""s;

std::string BytesOf(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// "true", "false" or "malformed".
std::string Result(const std::string& type, const std::string& bytes, const std::string& where) {
  const Descriptor* const descriptor = Util::FindMessageType(type);
  const auto matches = Tool::Matcher(Tool::ParseExpression(where, *descriptor)).Matches(bytes);
  return !matches ? "malformed" : *matches ? "true" : "false";
}

TEST(Filter, ReadsTheWireAsTheRuntimeDoes) {
  static constexpr const char* kCases[][4] = {
      // An enum's undeclared number leaves the field as it is; its number has 32 bits.
      {"Gid", "3802", "type = GID_TYPE_SERVER and type = 0x2 and has type", "true"},
      {"Gid", "380238e807", "type = GID_TYPE_SERVER", "true"},
      {"Gid", "38e807", "has type or type != GID_TYPE_UNKNOWN", "false"},
      {"Gid", "388280808010", "type = 2", "true"},
      // The last value counts; an empty one is a value.
      {"Gid", "0a01610a0162", "id = 'b' and not id = 'a'", "true"},
      {"Gid", "0a01610a00", "id = '' and has id", "true"},
      // Another wire type is another, unknown field.
      {"Gid", "3d02000000", "has type", "false"},
      {"Gid", "0b0a01610c", "has id", "false"},
      // Texts are ordered by their bytes.
      {"Gid", "0a01ff", "id > 'a' and id >= '\\377' and id <= '\\xff' and not id < 'a'", "true"},
      // Sub-messages that occur twice are merged.
      {"Events.Event", "8a01030a01618a0103120162",
       "originating_server_gid.id = 'a' and originating_server_gid.data_store_id = 'b'", "true"},
      {"Events.Event", "8a0100", "has originating_server_gid", "true"},
      {"Events.Event", "ca2c080a016a1a030a0167",
       "[Pb.CmnSys.Events.event_device_motion_start].device_gid.id = 'g'", "true"},
      // Numbers of 64 bits at both ends.
      {"Events.Event", "08ffffffffffffffffff01",
       "this_id = -9223372036854775808 and not this_id < -9223372036854775808", "true"},
      {"Events.Event", "08feffffffffffffffff01",
       "this_id >= 9223372036854775807 and not this_id > 9223372036854775807", "true"},
      // Elements: any may be the one, each comparison for itself; unset fields read as the default.
      {"Events.EventList", "0a0208020a020804", "events.this_id = 1 and events.this_id = 2", "true"},
      {"Events.EventList", "0a0208020a00", "events.this_id = 0", "true"},
      {"Events.EventList", "", "events.this_id = 0 or events.this_id != 0 or has events", "false"},
      // Packed or not.
      {"Events.EventDeviceAnalyticsStart", "3001320202033004",
       "target_ids = 1 and target_ids = 2 and target_ids = 3 and target_ids = 4", "true"},
      // A float is compared with the nearest float; NaN is ordered with nothing.
      {"Events.EventDeviceLprPlateFound", "4dcdcccc3d", "confidence = 0.1", "true"},
      {"Events.EventDeviceLprPlateFound", "4d0000c07f",
       "confidence != 1 and not confidence <= inf and not confidence >= -inf", "true"},
      // What is looked at is well formed, what is not need not be.
      {"Events.Event", "8a01020a05", "this_id = 0", "true"},
      {"Events.Event", "8a01020a05", "originating_server_gid.id = 'a'", "malformed"},
      {"Events.Event", "8a01050a", "this_id = 0", "malformed"},
      {"Events.Event", "0801000100", "this_id = 1", "malformed"},
      {"Events.EventDeviceAnalyticsStart", "32020180", "has target_ids", "malformed"},
      // "not" binds closest, then "and".
      {"Gid", "", "not has id and has id or has type or not has type", "true"},
      {"Gid", "", "has id and (has type or not has type)", "false"},
  };
  for (const auto& [type, hex, where, expected] : kCases) {
    EXPECT_EQ(Result("Pb.CmnSys."s + type, BytesOf(hex), where), expected) << hex << where;
  }
}

// Expects that conditions find the values in a part of the message, as the runtime prints them.
// `path` leads to the part, over singular fields alone if `only` is true.
void ExpectValuesFound(const Message& message, const Message& part, const std::string& path,
                       bool only) {
  const std::string type = message.GetTypeName();
  const std::string bytes = message.SerializeAsString();
  const auto& get = *part.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  get.ListFields(part, &fields);
  for (const FieldDescriptor* field : fields) {
    const std::string name =
        path + (field->is_extension() ? "[" + field->full_name() + "]" : field->name());
    EXPECT_EQ(Result(type, bytes, "has " + name), "true") << message.DebugString();
    const bool repeated = field->is_repeated();
    for (int i = 0; i < (repeated ? get.FieldSize(part, field) : 1); ++i) {
      if (field->message_type() != nullptr) {
        ExpectValuesFound(
            message,
            repeated ? get.GetRepeatedMessage(part, field, i) : get.GetMessage(part, field),
            name + ".", only && !repeated);
        continue;
      }
      std::string value;
      TextFormat::PrintFieldValueToString(part, field, repeated ? i : -1, &value);
      std::string same = name + " = " + value;
      std::string other = name + " != " + value;
      if (field->cpp_type() != FieldDescriptor::CPPTYPE_BOOL) {
        same += " and " + name + " <= " + value + " and " + name + " >= " + value;
        other += " or " + name + " < " + value + " or " + name + " > " + value;
      }
      EXPECT_EQ(Result(type, bytes, same), "true") << same << "\n" << message.DebugString();
      if (!only || repeated) continue;
      EXPECT_EQ(Result(type, bytes, other), "false") << other << "\n" << message.DebugString();
    }
  }
}

TEST(Filter, FindsTheValuesOfAllTypes) {
  Util::RandomMessageOptions options;
  options.max_bytes = 300;
  for (const Message* prototype : AllMessages()) {
    for (std::uint64_t seed = 0; seed < 2; ++seed) {
      const std::unique_ptr<Message> message(prototype->New());
      Util::FillRandom(seed, options, message.get());
      ExpectValuesFound(*message, *message, "", true);
    }
  }
}

ProcessResult Filter(std::vector<std::string> arguments, const std::string& input) {
  arguments.insert(arguments.begin(), "filter");
  return Cmnsys(std::move(arguments), input);
}

TEST(FilterCommand, ShowsWhereAConditionIsNotUnderstood) {
  const std::pair<const char*, const char*> cases[] = {
      {"event_typ = 1",
       "column 1: Pb.CmnSys.Events.Event has no field \"event_typ\"; the nearest: "
       "event_type\n  event_typ = 1\n  ^\n"},
      {"event_type = EVENT_DEVICE_MOTION_STAR",
       "column 14: Pb.CmnSys.Events.EventType has no value EVENT_DEVICE_MOTION_STAR; the nearest: "
       "EVENT_DEVICE_MOTION_START"},
      {"has event_device_motion_start", "stands in brackets: [event_device_motion_start]"},
      {"has [device_motion_start]", "the nearest: Pb.CmnSys.Events.event_device_motion_start"},
      {"originating_server_gid = 'a'", "originating_server_gid is a message: compare one of its"},
      {"this_id = 9223372036854775808", "a whole number from -9223372036854775808 to"},
      {"record_trigger_params.is_pre_post < true", "of type bool, which only = and != compare"},
      {"originating_server_name = 'gate", "column 27: this text has no end"},
      {"originating_server_name = 'ga\\te\\q'", "column 33: there is no such escape"},
      {"originating_server_name = 'Tür' && this_id = 1", "column 33: instead of &&, write and"},
      {"this_id", "column 8: one of = != < <= > >= is expected here"},
      {"this_id = 1 and", "column 16: the name of a field of Pb.CmnSys.Events.Event is expected"},
      {"", "the condition is empty"},
  };
  for (const auto& [where, part] : cases) {
    EXPECT_TRUE(RefusedWith(Filter({"Event", "--where", where}, ""), part)) << where;
  }
  std::string deep;
  for (int i = 0; i < 101; ++i) deep += "not ";
  EXPECT_TRUE(RefusedWith(Filter({"Event", "--where", deep + "has this_id"}, ""), "100 deep"));
  const std::string text(100'000, 'x');
  EXPECT_TRUE(RefusedWith(Filter({"Event", "--where", "has x or '" + text}, ""),
                          "column 10: this text has no end\n  has x or 'xxx"));
  const std::string error =
      Filter({"Event", "--where", "originating_server_name = '" + text + "' and x"}, "").errors;
  EXPECT_NE(error.find("\n  ...xxx"), error.npos) << error;
  EXPECT_NE(error.find("xxx' and x\n"), error.npos) << error;
}

// Three records: two, three and nothing in `type`; the first one with an unknown field.
const std::string kGids = "\x05\x38\x02\x2a\x01x\x02\x38\x03\x00"s;

TEST(FilterCommand, CopiesSelectedRecordsByteForByte) {
  const auto select = [](std::vector<std::string> options) {
    options.insert(options.begin(), {"Gid", "--where"});
    return Filter(std::move(options), kGids);
  };
  EXPECT_EQ(select({"type != GID_TYPE_SAVED_VIEW"}).output, "\x05\x38\x02\x2a\x01x\x00"s);
  EXPECT_EQ(select({"type != GID_TYPE_SAVED_VIEW", "-v"}).output, "\x02\x38\x03");
  EXPECT_EQ(select({"type >= 0", "--limit", "2"}).output, kGids.substr(0, 9));
  EXPECT_EQ(select({"has type", "--count"}).output, "2\n");
  EXPECT_EQ(select({"type = 3", "--to", "text"}).output, "type: GID_TYPE_SAVED_VIEW\n");
  const ProcessResult none = select({"has id"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.output + none.errors, "");
}

TEST(FilterCommand, ReadsTheOtherFormatsAndKeepsThem) {
  const TemporaryFolder folder;
  const std::string lines = folder.Write("gids.jsonl", "{\"type\":2}\n{\"type\":3}\n");
  EXPECT_EQ(Filter({"Gid", lines, "--where", "type = 3"}, "").output,
            "{\"type\":\"GID_TYPE_SAVED_VIEW\"}\n");
  const std::string one = folder.PathOf("one.bin");
  EXPECT_EQ(Filter({"Gid", lines, "--where", "type = 3", "-o", one}, "").status, 0);
  EXPECT_EQ(ReadFile(one), "\x38\x03");
  // A file without a message would be one without fields.
  EXPECT_EQ(Filter({"Gid", lines, "--where", "type = 4", "-o", one}, "").status, 1);
  EXPECT_EQ(ReadFile(one), "\x38\x03");
}

TEST(FilterCommand, ReadsAcrossBlocksAndRecordsLongerThanOne) {
  const auto stream = [](int step) {
    std::string text;
    for (std::size_t i = 0; i < 80; i += static_cast<std::size_t>(step)) {
      text += (i == 0 ? "id: '" : "---\nid: '") + std::string(i * 7919, 'x') +
              "' type: " + (i % 2 == 0 ? "2\n" : "3\n");
    }
    return Cmnsys({"convert", "Gid", "-f", "text", "-t", "delimited"}, text).output;
  };
  const std::string all = stream(1);
  EXPECT_TRUE(Filter({"Gid", "--where", "type = 2"}, all).output == stream(2));
  EXPECT_TRUE(RefusedWith(Filter({"Gid", "-cw", "type = 2", "--max-bytes", "190000"}, all),
                          ": record 24, at byte "));
}

}  // namespace
}  // namespace CmnSys::Test
