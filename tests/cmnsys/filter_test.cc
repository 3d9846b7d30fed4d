#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <variant>
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
using google::protobuf::Reflection;
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
  const Descriptor* const descriptor = Util::FindMessageType("Pb.CmnSys." + type);
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
      {"Gid", "", "id = '' and not has id", "true"},
      // Another wire type is another, unknown field.
      {"Gid", "3d02000000", "has type", "false"},
      {"Gid", "3b38023c", "has type", "false"},
      {"Gid", "0b0a01610c", "has id", "false"},
      // Texts are ordered by their bytes.
      {"Gid", "0a01ff", "id > 'a' and id >= '\\377' and id <= '\\xff' and not id < 'a'", "true"},
      // Sub-messages that occur twice are merged.
      {"Events.Event", "8a01030a01618a0103120162",
       "originating_server_gid.id = 'a' and originating_server_gid.data_store_id = 'b'", "true"},
      {"Events.Event", "8a01030a01618a01030a0162", "originating_server_gid.id = 'a'", "false"},
      {"Events.Event", "8a0100", "has originating_server_gid", "true"},
      {"Events.Event", "8a0100", "has originating_server_gid.id", "false"},
      {"Events.Event", "ca2c080a016a1a030a0167",
       "[Pb.CmnSys.Events.event_device_motion_start].device_gid.id = 'g'", "true"},
      {"Events.Event", "0809", "this_id = -5 and this_id < 0 and this_id > -6", "true"},
      // Numbers of 64 bits at both ends.
      {"Events.Event", "08ffffffffffffffffff01",
       "this_id = -9223372036854775808 and not this_id < -9223372036854775808", "true"},
      {"Events.Event", "08feffffffffffffffff01",
       "this_id >= 9223372036854775807 and not this_id > 9223372036854775807", "true"},
      // Elements: any may be the one, each comparison for itself; unset fields read as the default.
      {"Events.EventList", "0a0208020a020804", "events.this_id = 1 and events.this_id = 2", "true"},
      {"Events.EventList", "0a0208020a020804", "events.this_id != 1 and events.this_id != 2",
       "true"},
      {"Events.EventList", "0a0208020a00", "events.this_id = 0", "true"},
      {"Events.EventList", "0a020802", "events.this_id = 0", "false"},
      {"Events.EventList", "", "events.this_id = 0 or events.this_id != 0 or has events", "false"},
      {"Events.EventList", "0a00", "has events and not has events.this_id", "true"},
      // Packed or not.
      {"Events.EventDeviceAnalyticsStart", "3001320202033004",
       "target_ids = 1 and target_ids = 2 and target_ids = 3 and target_ids = 4", "true"},
      {"Events.EventDeviceAnalyticsStart", "3200", "has target_ids", "false"},
      // A float is compared with the nearest float; NaN is ordered with nothing.
      {"Events.EventDeviceLprPlateFound", "4dcdcccc3d", "confidence = 0.1", "true"},
      {"Events.EventDeviceLprPlateFound", "4d0000c07f",
       "confidence != 1 and not confidence <= inf and not confidence >= -inf", "true"},
      // What is looked at is well formed, what is not need not be.
      {"Events.Event", "8a01020a05", "this_id = 0", "true"},
      {"Events.Event", "8a01020a05", "originating_server_gid.id = 'a'", "malformed"},
      {"Events.Event", "8a01050a", "this_id = 0", "malformed"},
      {"Events.Event", "0801000100", "this_id = 1", "malformed"},
      {"Events.Event", "08ffffffffffffffffffff", "this_id = 1", "malformed"},
      {"Events.EventDeviceAnalyticsStart", "32020180", "has target_ids", "malformed"},
      // "not" binds closest, then "and".
      {"Gid", "", "not has id and has id or has type or not has type", "true"},
      {"Gid", "", "has id and (has type or not has type)", "false"},
      {"Gid", "", "not (has id or has type)", "true"},
  };
  for (const auto& [type, hex, where, expected] : kCases) {
    EXPECT_EQ(Result(type, BytesOf(hex), where), expected) << type << " " << hex << " " << where;
  }
}

// A value of a field as the condition's literals have it.
Tool::Literal ValueOf(const Message& message, const FieldDescriptor* field, int i) {
  const Reflection& get = *message.GetReflection();
  const bool one = !field->is_repeated();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return std::int64_t{one ? get.GetInt32(message, field)
                              : get.GetRepeatedInt32(message, field, i)};
    case FieldDescriptor::CPPTYPE_INT64:
      return one ? get.GetInt64(message, field) : get.GetRepeatedInt64(message, field, i);
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::uint64_t{one ? get.GetUInt32(message, field)
                               : get.GetRepeatedUInt32(message, field, i)};
    case FieldDescriptor::CPPTYPE_UINT64:
      return one ? get.GetUInt64(message, field) : get.GetRepeatedUInt64(message, field, i);
    case FieldDescriptor::CPPTYPE_BOOL:
      return std::uint64_t{one ? get.GetBool(message, field)
                               : get.GetRepeatedBool(message, field, i)};
    case FieldDescriptor::CPPTYPE_ENUM:
      return std::int64_t{one ? get.GetEnumValue(message, field)
                              : get.GetRepeatedEnumValue(message, field, i)};
    case FieldDescriptor::CPPTYPE_FLOAT:
      return double{one ? get.GetFloat(message, field) : get.GetRepeatedFloat(message, field, i)};
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return one ? get.GetDouble(message, field) : get.GetRepeatedDouble(message, field, i);
    default:
      return one ? get.GetString(message, field) : get.GetRepeatedString(message, field, i);
  }
}

std::string TextOf(const Tool::Literal& literal, const FieldDescriptor& field) {
  std::string text;
  if (field.cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
    return std::get<std::uint64_t>(literal) != 0 ? "true" : "false";
  }
  if (const auto* number = std::get_if<std::int64_t>(&literal)) return std::to_string(*number);
  if (const auto* number = std::get_if<std::uint64_t>(&literal)) return std::to_string(*number);
  char digits[40];
  if (const auto* number = std::get_if<double>(&literal)) {
    std::snprintf(digits, sizeof digits, "%.17g", *number);
    return digits;
  }
  for (const char c : std::get<std::string>(literal)) {
    std::snprintf(digits, sizeof digits, "\\%03o", static_cast<unsigned char>(c));
    text += digits;
  }
  return '"' + text + '"';
}

constexpr std::pair<const char*, Tool::Operator> kOperators[] = {
    {"=", Tool::Operator::kEqual},   {"!=", Tool::Operator::kNotEqual},
    {"<", Tool::Operator::kLess},    {"<=", Tool::Operator::kLessOrEqual},
    {">", Tool::Operator::kGreater}, {">=", Tool::Operator::kGreaterOrEqual}};

bool Holds(Tool::Operator op, const Tool::Literal& value, const Tool::Literal& literal) {
  switch (op) {
    case Tool::Operator::kEqual:
      return value == literal;
    case Tool::Operator::kNotEqual:
      return value != literal;
    case Tool::Operator::kLess:
      return value < literal;
    case Tool::Operator::kLessOrEqual:
      return value <= literal;
    case Tool::Operator::kGreater:
      return value > literal;
    case Tool::Operator::kGreaterOrEqual:
      return value >= literal;
    default:
      return true;
  }
}

// Calls visit(message, field) for each message, default ones included, that the path leads to.
template <typename Visit>
void ForEachEnd(const Message& message, const std::vector<const FieldDescriptor*>& path,
                std::size_t step, const Visit& visit) {
  const FieldDescriptor* const field = path[step];
  const Reflection& get = *message.GetReflection();
  if (step + 1 == path.size()) {
    visit(message, field);
  } else if (!field->is_repeated()) {
    ForEachEnd(get.GetMessage(message, field), path, step + 1, visit);
  } else {
    for (int i = 0; i < get.FieldSize(message, field); ++i) {
      ForEachEnd(get.GetRepeatedMessage(message, field, i), path, step + 1, visit);
    }
  }
}

bool IsTrueByReflection(const Message& message, const Tool::Comparison& comparison) {
  bool result = false;
  ForEachEnd(message, comparison.path, 0, [&](const Message& end, const FieldDescriptor* field) {
    const Reflection& get = *end.GetReflection();
    const int count = field->is_repeated() ? get.FieldSize(end, field) : 1;
    if (comparison.op == Tool::Operator::kHas) {
      result = result || (field->is_repeated() ? count > 0 : get.HasField(end, field));
      return;
    }
    for (int i = 0; i < count; ++i) {
      result = result || Holds(comparison.op, ValueOf(end, field, i), comparison.literal);
    }
  });
  return result;
}

// Conditions on the fields of a message, many of them on values that it has.
class RandomConditions {
 public:
  explicit RandomConditions(std::mt19937* random) : random_(*random) {}

  // Returns a condition, and what evaluates it by reflection.
  std::pair<std::string, std::function<bool(const Message&)>> Make(const Message& message) {
    auto [text, is_true] = MakeOne(message);
    for (int i = Below(3); i > 0; --i) {
      auto [other_text, other] = MakeOne(message);
      const int kind = Below(3);
      text = (kind == 0 ? "not (" : "(") + text + (kind == 1 ? ") or " : ") and ") + other_text;
      is_true = [kind, left = is_true, right = other](const Message& read) {
        if (kind == 1) return left(read) || right(read);
        return left(read) != (kind == 0) && right(read);
      };
    }
    return {text, is_true};
  }

 private:
  int Below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }

  std::pair<std::string, std::function<bool(const Message&)>> MakeOne(const Message& message) {
    Tool::Comparison comparison;
    std::string path;
    const Descriptor* type = message.GetDescriptor();
    while (type != nullptr && comparison.path.size() < 6 &&
           (comparison.path.empty() || Below(6) > 0)) {
      std::vector<const FieldDescriptor*> fields;
      type->file()->pool()->FindAllExtensions(type, &fields);
      fields.resize(std::min<std::size_t>(fields.size(), 3));
      for (int i = 0; i < type->field_count(); ++i) fields.push_back(type->field(i));
      if (fields.empty()) break;
      const FieldDescriptor* const field = fields[random_() % fields.size()];
      comparison.path.push_back(field);
      path += (path.empty() ? "" : ".") +
              (field->is_extension() ? "[" + field->full_name() + "]" : field->name());
      type = field->message_type();
    }
    if (path.empty()) return {"", nullptr};
    const FieldDescriptor& last = *comparison.path.back();
    const bool is_bool = last.cpp_type() == FieldDescriptor::CPPTYPE_BOOL;
    const auto& [op_text, op] = kOperators[is_bool ? Below(2) : Below(6)];
    std::string text = "has " + path;
    if (last.message_type() == nullptr && Below(6) > 0) {
      comparison.op = op;
      comparison.literal = LiteralFor(message, comparison.path);
      text = path + " " + op_text + " " + TextOf(comparison.literal, last);
    }
    return {text,
            [comparison](const Message& read) { return IsTrueByReflection(read, comparison); }};
  }

  // A value that the message has there, else the field's default.
  Tool::Literal LiteralFor(const Message& message,
                           const std::vector<const FieldDescriptor*>& path) {
    std::vector<Tool::Literal> values;
    ForEachEnd(message, path, 0, [&](const Message& end, const FieldDescriptor* field) {
      const int count = field->is_repeated() ? end.GetReflection()->FieldSize(end, field) : 1;
      for (int i = 0; i < count; ++i) values.push_back(ValueOf(end, field, i));
    });
    if (!values.empty()) return values[random_() % values.size()];
    const FieldDescriptor& field = *path.back();
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
      case FieldDescriptor::CPPTYPE_INT64:
        return std::int64_t{0};
      case FieldDescriptor::CPPTYPE_ENUM:
        return std::int64_t{field.default_value_enum()->number()};
      case FieldDescriptor::CPPTYPE_FLOAT:
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return 0.0;
      case FieldDescriptor::CPPTYPE_STRING:
        return ""s;
      default:
        return std::uint64_t{0};
    }
  }

  std::mt19937& random_;
};

TEST(Filter, AgreesWithReflectionOnAllTypes) {
  std::mt19937 random(1);  // fixed seed: the same conditions in every run
  RandomConditions conditions(&random);
  Util::RandomMessageOptions options;
  options.max_bytes = 600;
  int accepted = 0;
  int true_ones = 0;
  for (const Message* prototype : AllMessages()) {
    if (prototype->GetDescriptor()->field_count() == 0) continue;
    for (int i = 0; i < 8; ++i) {
      const std::unique_ptr<Message> message(prototype->New());
      std::string bytes;
      for (int part = random() % 3 == 0 ? 2 : 1; part > 0; --part) {  // Two parts are merged.
        Util::FillRandom(random(), options, message.get());
        bytes += message->SerializeAsString();
      }
      const auto [where, is_true] = conditions.Make(*message);
      const std::unique_ptr<Message> read(prototype->New());
      Tool::Matcher matcher(Tool::ParseExpression(where, *prototype->GetDescriptor()));
      for (int change = 0; change < 4; ++change) {
        // Of the exact size, so that AddressSanitizer sees what reads behind it.
        const std::vector<char> exact(bytes.begin(), bytes.end());
        const auto result = matcher.Matches({exact.data(), exact.size()});
        if (read->ParseFromString(bytes)) {
          ++accepted;
          const bool expected = is_true(*read);
          true_ones += expected ? 1 : 0;
          EXPECT_EQ(result, expected) << where << "\n" << read->DebugString();
        }
        if (bytes.empty()) break;
        bytes[random() % bytes.size()] = static_cast<char>(random());
        if (change == 2) bytes.resize(random() % bytes.size());
      }
    }
  }
  EXPECT_GT(accepted, 8000);
  EXPECT_GT(true_ones, accepted / 5);
  EXPECT_LT(true_ones, accepted * 4 / 5);
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
      {"event_type = 99999", "column 14: Pb.CmnSys.Events.EventType has no value 99999"},
      {"has event_device_motion_start", "stands in brackets: [event_device_motion_start]"},
      {"has [device_motion_start]", "the nearest: Pb.CmnSys.Events.event_device_motion_start"},
      {"originating_server_gid = 'a'", "originating_server_gid is a message: compare one of its"},
      {"this_id.id = 1", "column 9: this_id is of type sint64, which has no fields"},
      {"this_id = 9223372036854775808", "a whole number from -9223372036854775808 to"},
      {"this_id = '1'", "column 11: this_id is of type sint64"},
      {"record_trigger_params.trigger_jiffy = -1", "a whole number from 0 to 4294967295"},
      {"record_trigger_params.is_pre_post < true", "of type bool, which only = and != compare"},
      {"record_trigger_params.is_pre_post = 1", "it is compared with true or false"},
      {"originating_server_name = gate", "it is compared with a text in quotes"},
      {"originating_server_name = 'gate", "column 27: this text has no end"},
      {"originating_server_name = 'ga\\te\\q'", "column 33: there is no such escape"},
      {"originating_server_name = 'Tür' && this_id = 1", "column 33: instead of &&, write and"},
      {"this_id == 1", "column 9: instead of ==, write ="},
      {"this_id", "column 8: one of = != < <= > >= is expected here"},
      {"this_id = ", "column 11: a value is expected here"},
      {"(this_id = 1", "\"and\", \"or\" or \")\" is expected here"},
      {"this_id = 1)", "\"and\", \"or\" or the end of the condition is expected here"},
      {"this_id = 1 and", "column 16: the name of a field of Pb.CmnSys.Events.Event is expected"},
      {"", "the condition is empty"},
  };
  for (const auto& [where, part] : cases) {
    EXPECT_TRUE(RefusedWith(Filter({"Event", "--where", where}, ""), part)) << where;
  }
  std::string deep;
  for (int i = 0; i < 101; ++i) deep += "not ";
  EXPECT_TRUE(RefusedWith(Filter({"Event", "--where", deep + "has this_id"}, ""), "100 deep"));
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
  EXPECT_EQ(select({"has type", "--count", "--limit", "1"}).output, "1\n");
  EXPECT_EQ(select({"type = 3", "--to", "text"}).output, "type: GID_TYPE_SAVED_VIEW\n");
  const ProcessResult none = select({"has id"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.output + none.errors, "");
  EXPECT_EQ(select({"has id", "-c"}).output, "0\n");
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

TEST(FilterCommand, NamesTheRecordThatIsNone) {
  const std::pair<std::string, const char*> cases[] = {
      {"\x02\x38\x02\x03\x38\x02", "standard input: record 1, at byte 6: the stream ends 1 bytes"},
      {"\x02\x38\x02\x80", "record 1, at byte 3: the stream ends inside the length of a record"},
      {"\x02\x38\x02\xff\xff\xff\xff\x0f", "record 1, at byte 3: what stands here is no length"},
      {"\x02\x38\x02\xff\xff\xff\xff\x07", "record 1, at byte 3: the record is 2147483647 bytes"},
      {"\x02\x38\x02\x02\x0a\x05",
       "record 1, at byte 5: in id, the length is 5 but the bytes left"},
  };
  for (const auto& [stream, part] : cases) {
    EXPECT_TRUE(RefusedWith(Filter({"Gid", "--count", "--where", "has type"}, stream), part));
  }
}

}  // namespace
}  // namespace CmnSys::Test
