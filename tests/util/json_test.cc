#include "CmnSys/Util/Json.h"

#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "util/all_messages.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Iota;
using std::string_literals::operator""s;
using Util::JsonReader;
using Util::JsonReadOptions;
using Util::JsonWriteOptions;

constexpr char kOwnSchema[] = R"(
  syntax = "proto2";
  message Own {
    oneof kind { string text = 1; int32 number = 2; }
    optional int32 foo_bar = 3;
    optional int32 fooBar = 4;
    map<int32, int32> counts = 5;
  })";

std::string ToJson(const Message& message, const JsonWriteOptions& options) {
  std::string json;
  const auto error = Util::WriteJson(message, options, &json);
  EXPECT_FALSE(error) << message.GetTypeName() << ": " << ToString(*error);
  return json;
}

// On one line, which is easier to compare.
std::string ToJson(const Message& message) {
  JsonWriteOptions options;
  options.indent = 0;
  return ToJson(message, options);
}

std::unique_ptr<Message> FromText(const std::string& type, const std::string& text) {
  std::unique_ptr<Message> message = Util::NewMessage(type);
  EXPECT_TRUE(TextFormat::ParseFromString(text, message.get())) << text;
  return message;
}

// What WriteJson has against the message; empty when nothing.
std::string WriteError(const Message& message, const JsonWriteOptions& options = {}) {
  std::string json;
  const auto error = Util::WriteJson(message, options, &json);
  return error ? ToString(*error) : "";
}

// What ReadJson has against the text; empty when nothing.
std::string ReadError(const std::string& type, const std::string& json,
                      const JsonReadOptions& options = {}) {
  const std::unique_ptr<Message> message = Util::NewMessage(type);
  const auto error = Util::ReadJson(json, options, message.get());
  if (!error) return "";
  EXPECT_EQ(message->ByteSizeLong(), 0U) << "not empty after an error";
  EXPECT_EQ(error->reason.find('\n'), std::string::npos);
  return ToString(*error);
}

// The message in the JSON as text format on one line.
std::string Read(const std::string& type, const std::string& json,
                 const JsonReadOptions& options = {}) {
  const std::unique_ptr<Message> message = Util::NewMessage(type);
  const auto error = Util::ReadJson(json, options, message.get());
  EXPECT_FALSE(error) << json << "\n" << ToString(*error);
  return message->ShortDebugString();
}

// What the mapping says is left to the conformance suite; this is where it leaves a choice.
TEST(Json, WritesTheShortestNumbersAndExtensionsInBrackets) {
  const struct {
    const char* type;
    const char* text;
    const char* json;
  } cases[] = {
      {"Pb.CmnSys.IotaFloatArray", "val: [0.1, 1, -0.0, 1e20, 16777216, 1.17549435e-38]",
       R"({"val":[0.1,1,-0.0,1e+20,16777216,1.1754944e-38]})"},
      {"Pb.CmnSys.IotaFloatArray", "val: [3.40282347e38, -3.40282347e38, 3.40282326e38]",
       R"({"val":[3.4028234663852886e+38,-3.4028234663852886e+38,3.4028233e+38]})"},
      {"Pb.CmnSys.IotaDoubleArray", "val: [0.1, 5e-324, 1.7976931348623157e308]",
       R"({"val":[0.1,5e-324,1.7976931348623157e+308]})"},
      {"Pb.CmnSys.Events.Event",
       "event_type: EVENT_APPLICATION_SERVER_START "
       "[Pb.CmnSys.Events.event_app_server_start] { }",
       R"({"eventType":"EVENT_APPLICATION_SERVER_START",)"
       R"("[Pb.CmnSys.Events.event_app_server_start]":{}})"},
  };
  for (const auto& c : cases) EXPECT_EQ(ToJson(*FromText(c.type, c.text)), c.json);
}

TEST(Json, WritesUnsetFieldsOnDemand) {
  JsonWriteOptions unset;
  unset.indent = 0;
  unset.unset_fields = true;
  const std::string json = ToJson(
      *FromText("Pb.CmnSys.Events.Event", "[Pb.CmnSys.Events.event_app_server_start] { }"), unset);
  EXPECT_EQ(json.find("\"thisId\":\"0\""), 1U) << json;
  EXPECT_NE(json.find("\"timestamp\":\"0\",\"eventType\":\"EVENT_UNKNOWN\""), std::string::npos);
  EXPECT_NE(json.find("\"[Pb.CmnSys.Events.event_app_server_start]\":{}}"), std::string::npos);
  EXPECT_EQ(json.find("Gid"), std::string::npos) << "an unset message has no default";
  EXPECT_EQ(ToJson(Pb::CmnSys::IotaU32Array(), unset), R"({"val":[]})");
}

TEST(Json, DropsNothingInSilence) {
  Gid gid;
  // An unknown field 5, a GidType that no version knows, and a string in place of an enum.
  ASSERT_TRUE(gid.ParseFromString("\x0a\x01x\x28\x07\x38\x1b\x3a\x00"s));
  EXPECT_EQ(WriteError(gid), "field 5 (varint) is not known to Pb.CmnSys.Gid");

  Iota iota;
  iota.mutable_iota_localized_string()->mutable_val()->add_arguments();
  Iota* argument = iota.mutable_iota_localized_string()->mutable_val()->add_arguments();
  argument->mutable_iota_string()->set_val("a\xff\xed\xa0\x80z");
  EXPECT_EQ(WriteError(iota),
            "in iota_localized_string.val.arguments[1].iota_string.val: "
            "the string is not UTF-8 at its byte 1 (0xff)");

  std::vector<std::string> losses;
  JsonWriteOptions options;
  options.indent = 0;
  options.on_loss = [&losses](const Util::JsonLoss& loss) {
    losses.push_back(loss.path + ": " + loss.reason);
  };
  EXPECT_EQ(ToJson(gid, options), R"({"id":"eA=="})");
  EXPECT_EQ(losses, (std::vector<std::string>{
                        ": field 5 (varint) is not known to Pb.CmnSys.Gid",
                        ": 27 in field type is no value of Pb.CmnSys.GidType",
                        ": the length-delimited in field type does not fit its type",
                    }));
  losses.clear();
  EXPECT_EQ(ToJson(*argument, options),
            "{\"iotaString\":{\"val\":\"a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdz\"}}");
  EXPECT_EQ(losses.size(), 1U);
}

TEST(Json, ReportsAnOutputThatFails) {
  const auto message = FromText("Pb.CmnSys.IotaString", "val: 'more than eight bytes'");
  char buffer[8];
  google::protobuf::io::ArrayOutputStream output(buffer, sizeof buffer);
  const auto error = Util::WriteJson(*message, {}, &output);
  ASSERT_TRUE(error);
  EXPECT_EQ(ToString(*error), "the output cannot be written");
}

TEST(Json, ReadsWhatTheMappingAllows) {
  const struct {
    const char* type;
    std::string json;
    const char* text;
  } cases[] = {
      {"Pb.CmnSys.IotaS32", "{\"val\":1" + std::string(309, '0') + "e-309}", "val: 1"},
      {"Pb.CmnSys.Events.Event", R"({"event_type":1000,"thisId":5})",
       "this_id: 5 event_type: EVENT_APPLICATION_SERVER_START"},
      {"Pb.CmnSys.Gid", "\xef\xbb\xbf{}", ""},
      {"Pb.CmnSys.Gid", R"({"id":"__79","type":2.0})",
       R"(id: "\377\376\375" type: GID_TYPE_SERVER)"},
      {"Pb.CmnSys.IotaU32Array",
       R"({"val":[0,-0,"7",1e3,1.5e1,4294967295.0,0.01e2, 10000000000e-9]})",
       "val: 0 val: 0 val: 7 val: 1000 val: 15 val: 4294967295 val: 1 val: 10"},
      {"Pb.CmnSys.IotaFloatArray", R"({"val":["NaN","-Infinity","1.5",1e-60,-1e-60,16777217]})",
       "val: nan val: -inf val: 1.5 val: 0 val: -0 val: 16777216"},
      {"Pb.CmnSys.IotaDoubleArray", R"({"val":[1e-400,2.2250738585072011e-308,0.1,0e400,-0e999]})",
       "val: 0 val: 2.2250738585072009e-308 val: 0.1 val: 0 val: -0"},
      {"Pb.CmnSys.IotaS32", R"({"val":0e309})", "val: 0"},
  };
  for (const auto& c : cases) EXPECT_EQ(Read(c.type, c.json), c.text) << c.json;

  JsonReadOptions hexadecimal;
  hexadecimal.bytes = Util::JsonBytes::kHexadecimal;
  EXPECT_EQ(Read("Pb.CmnSys.Gid", R"({"id":"01fFaB"})", hexadecimal), R"(id: "\001\377\253")");
  EXPECT_NE(ReadError("Pb.CmnSys.Gid", R"({"id":"01f"})", hexadecimal), "");
}

TEST(Json, TellsLineColumnAndPathOfWhatIsWrong) {
  const struct {
    const char* type;
    std::string json;
    const char* error;
  } cases[] = {
      {"Iota", "{\n  \"iotaU32\": {\n    \"val\": 4294967296 }}",
       "line 3, column 12, in iota_u32.val: 4294967296 is out of range for uint32"},
      {"Iota", R"({"iotaU32Array":{"val":[1,-1]}})",
       "line 1, column 27, in iota_u32_array.val[1]: -1 is out of range for uint32"},
      {"IotaU32", R"({"val":1.5})", "1.5 is no whole number, which uint32 needs"},
      {"IotaU32", R"({"val":true})", "true stands here; expected is a number (uint32)"},
      {"IotaU32Array", R"({"val":1})", "expected is an array, each element a number (uint32)"},
      {"IotaU32Array", R"({"val":[1,null]})", "column 11, in val[1]: null cannot be an element"},
      {"IotaDouble", R"({"val":"1e400"})", "1e400 is out of range for double"},
      {"IotaBool", R"({"val":"true"})", "a string stands here; expected is true or false"},
      {"IotaString", R"({"val":"\ud83d"})",
       "column 8, in val: the string holds half of a surrogate"},
      {"IotaString", R"({"val":"\x"})", "the string holds an escape that JSON does not have"},
      {"IotaString", "{\"val\":\"a\xc3\"}", "in val: the string is not UTF-8 (byte 0xc3)"},
      {"IotaString", "{\"val\":\"a\nb\"}", "the string holds a control character"},
      {"IotaBytes", R"({"val":"eB=="})", "\"eB==\" is not base64"},
      {"Gid", R"({"type":"GID_TYPE_SERVR"})",
       "\"GID_TYPE_SERVR\" is no value of Pb.CmnSys.GidType; the nearest is \"GID_TYPE_SERVER\""},
      {"Gid", R"({"typ":1})",
       "line 1, column 2: Pb.CmnSys.Gid has no field \"typ\"; the nearest is \"type\""},
      {"Gid", R"({"type":1,"type":1})", "column 11: \"type\" stands here a second time"},
      {"Events.Event", R"({"thisId":null,"this_id":1})", "\"this_id\" stands here a second time"},
      {"Events.Event", R"({"[Pb.CmnSys.Events.event_app_server_strt]":{}})",
       "has no extension \"Pb.CmnSys.Events.event_app_server_strt\"; the nearest is \"Pb.CmnSys."
       "Events.event_app_server_start\""},
      {"Gid", "", "line 1, column 1: the text ends where a message is expected"},
      {"Gid", "null", "line 1, column 1: null stands here; expected is an object"},
      {"Gid", "{} {}", "line 1, column 4: something follows the end of the message"},
      {"Gid", R"({"type":2,})", "column 11: \"}\" stands here; expected is the name of a member"},
      {"Gid", R"({"type":2 "id":""})",
       "column 11: a string stands here; expected is \",\" or \"}\""},
      {"IotaU32", R"({"val":01})", "\"01\" is no number"},
      {"IotaU32", R"({"val":tru})", "\"tru\" is no JSON"},
      {"Gid", "]", "line 1, column 1: \"]\" stands here; expected is an object (Pb.CmnSys.Gid)"},
      {"Gid", "\0"s, "line 1, column 1: \"\\000\" is no JSON"},
      {"Gid", "\xef{}", "column 1: the text begins with a part of a byte order mark"},
      {"Gid", "{\"type\":2", "column 10: the text ends before the message does"},
      {"IotaU32", "{\"val\":1" + std::string(309, '0') + "e-9}", "is out of range for uint32"},
  };
  for (const auto& c : cases) {
    const std::string error = ReadError(std::string("Pb.CmnSys.") + c.type, c.json);
    EXPECT_NE(error.find(c.error), std::string::npos)
        << c.json << "\nexpected: " << c.error << "\nfound:    " << error;
  }
}

// Messages of users' own schemas may have what this schema has not. What such messages have in
// common with other implementations is left to the conformance suite.
TEST(Json, TakesCareOfOneofsAndOfFieldsWithOneName) {
  google::protobuf::io::ArrayInputStream schema(kOwnSchema, sizeof kOwnSchema - 1);
  google::protobuf::io::Tokenizer tokenizer(&schema, nullptr);
  google::protobuf::FileDescriptorProto file;
  file.set_name("own.proto");
  ASSERT_TRUE(google::protobuf::compiler::Parser().Parse(&tokenizer, &file));
  google::protobuf::DescriptorPool pool;
  ASSERT_NE(pool.BuildFile(file), nullptr);
  google::protobuf::DynamicMessageFactory factory;
  const std::unique_ptr<Message> own(
      factory.GetPrototype(pool.FindMessageTypeByName("Own"))->New());

  JsonWriteOptions unset;
  unset.indent = 0;
  unset.unset_fields = true;
  ASSERT_TRUE(
      TextFormat::ParseFromString("text: 'x' foo_bar: 1 fooBar: 2 counts { key: -5 }", own.get()));
  const std::string json = ToJson(*own, unset);
  EXPECT_EQ(json, R"({"text":"x","foo_bar":1,"fooBar":2,"counts":{"-5":0}})");
  const std::unique_ptr<Message> again(own->New());
  ASSERT_FALSE(Util::ReadJson(json, {}, again.get()));
  EXPECT_EQ(again->DebugString(), own->DebugString());

  const std::pair<const char*, const char*> wrong[] = {
      {R"({"text":"x","number":1})",
       "column 22, in number: text stands here already, and Own.kind holds one of them only"},
      {R"({"counts":{"5":1,"5":2}})",
       "column 18, in counts[\"5\"]: \"5\" stands here a second time"},
      {R"({"counts":{"x":1}})", "\"x\" is no number"},
      {R"({"counts":[]})", "an array stands here; expected is an object"},
  };
  for (const auto& [text, expected] : wrong) {
    const auto error = Util::ReadJson(text, {}, again.get());
    ASSERT_TRUE(error) << text;
    EXPECT_NE(ToString(*error).find(expected), std::string::npos) << ToString(*error);
  }
}

// The tables of a type are made when it is first met, which may be on several threads at once.
TEST(Json, MeetsTypesOnSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (std::uint64_t seed = 0; seed < 4; ++seed) {
    threads.emplace_back([seed] {
      for (const Message* type : AllMessages()) {
        const std::unique_ptr<Message> message(type->New());
        Util::RandomMessageOptions options;
        options.max_bytes = 300;
        Util::FillRandom(seed, options, message.get());
        const std::unique_ptr<Message> again(type->New());
        EXPECT_FALSE(Util::ReadJson(ToJson(*message), {}, again.get()));
        EXPECT_EQ(again->SerializeAsString(), message->SerializeAsString());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

std::string NestedIota(int depth) {
  // Three messages below each other for one level of iotas.
  std::string json;
  for (int i = 0; i < depth; ++i) json += R"({"iotaLocalizedString":{"val":{"arguments":[)";
  json += "{}";
  for (int i = 0; i < depth; ++i) json += "]}}}";
  return json;
}

TEST(Json, LimitsDepthAndLength) {
  JsonReadOptions options;
  options.max_depth = 30;
  EXPECT_EQ(ReadError("Pb.CmnSys.Iota", NestedIota(10), options), "");
  EXPECT_NE(ReadError("Pb.CmnSys.Iota", NestedIota(11), options).find("nested more than 30 deep"),
            std::string::npos);
  EXPECT_NE(ReadError("Pb.CmnSys.Iota", NestedIota(100000)).find("nested more than 100 deep"),
            std::string::npos);

  Iota iota;
  ASSERT_FALSE(Util::ReadJson(NestedIota(10), {}, &iota));
  JsonWriteOptions write;
  write.max_depth = 29;
  EXPECT_NE(WriteError(iota, write).find("nested more than 29 deep"), std::string::npos);
  write.max_depth = 30;
  EXPECT_EQ(WriteError(iota, write), "");

  options = {};
  options.max_bytes = 13;
  EXPECT_EQ(ReadError("Pb.CmnSys.IotaU32", R"({"val":12345})", options), "");
  EXPECT_NE(ReadError("Pb.CmnSys.IotaU32", R"({"val":123456})", options).find("longer than 13"),
            std::string::npos);
}

// In blocks of every size, so that each token is cut at each place.
TEST(JsonReader, ReadsMessageAfterMessageAndStaysAtItsFirstErrorOrTheEnd) {
  const std::string start = "\n{\"val\":1}{\"val\" : 22}\n\n{\"val\":\"333\"} ";
  const std::pair<std::string, const char*> cases[] = {
      {"", ""},
      {"\n{\"val\":x}\n{\"val\":3}", "line 5, column 8, in val: \"x\" is no JSON"},
      {"{\"val\":1234567890}{\"val\":3}", "longer than 13"},
  };
  for (const auto& [end, expected] : cases) {
    const std::string text = start + end;
    for (int block = 1; block < 30; ++block) {
      google::protobuf::io::ArrayInputStream input(text.data(), static_cast<int>(text.size()),
                                                   block);
      JsonReadOptions options;
      options.max_bytes = 13;  // Of each message, not of all.
      JsonReader reader(&input, options);
      Pb::CmnSys::IotaU32 iota;
      for (const std::uint32_t val : {1U, 22U, 333U}) {
        ASSERT_EQ(reader.Read(&iota), JsonReader::Status::kMessage) << ToString(reader.error());
        EXPECT_EQ(iota.val(), val);
      }
      const auto last = end.empty() ? JsonReader::Status::kEnd : JsonReader::Status::kError;
      for (int i = 0; i < 2; ++i) EXPECT_EQ(reader.Read(&iota), last);
      EXPECT_NE(ToString(reader.error()).find(expected), std::string::npos)
          << ToString(reader.error());
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
