// pairings.json as a program of another language reads it: by names alone.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/Schema.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;

// The fields that a member "path" names, from the record on.
Util::PayloadPath Follow(const Descriptor* record, const rapidjson::Value& path) {
  Util::PayloadPath fields;
  for (const auto& step : path.GetArray()) {
    std::string name = step.GetString();
    const FieldDescriptor* field = record->FindFieldByName(name);
    if (name.front() == '[') {
      name = name.substr(1, name.size() - 2);
      field = DescriptorPool::generated_pool()->FindExtensionByName(name);
    }
    if (field == nullptr) {
      ADD_FAILURE() << record->full_name() << " has no " << name;
      break;
    }
    fields.push_back(field);
    record = field->message_type();
  }
  return fields;
}

std::string TypeOf(const rapidjson::Value& payload) {
  return payload.HasMember("type") ? payload["type"].GetString() : "";
}

TEST(PairingsJson, LeadsEveryValueToThePayloadThatTheLibraryNames) {
  rapidjson::Document json;
  json.Parse(ReadFile(CMNSYS_PAIRINGS).c_str());
  ASSERT_FALSE(json.HasParseError());
  EXPECT_EQ(json["version"].GetInt(), 1);
  EXPECT_EQ(json["records"].MemberCount(), Util::PairedRecords().size());
  for (const Util::PairedRecord& expected : Util::PairedRecords()) {
    const Descriptor* const record = expected.record;
    SCOPED_TRACE(record->full_name());
    ASSERT_TRUE(json["records"].HasMember(record->full_name().c_str()));
    const rapidjson::Value& written = json["records"][record->full_name().c_str()];
    if (expected.selector == nullptr) {
      EXPECT_STREQ(written["pattern"].GetString(), "exactly-one");
      Util::PayloadPath alternatives;
      for (const auto& alternative : written["alternatives"].GetArray()) {
        const Util::PayloadPath path = Follow(record, alternative["path"]);
        ASSERT_EQ(path.size(), 1U);
        EXPECT_EQ(TypeOf(alternative), path.back()->message_type()->full_name());
        alternatives.push_back(path.back());
      }
      EXPECT_FALSE(alternatives.empty());
      EXPECT_EQ(alternatives, expected.alternatives);
      continue;
    }
    const auto* const type = record->FindFieldByName(written["selector"].GetString())->enum_type();
    EXPECT_EQ(type->full_name(), written["enum"].GetString());
    EXPECT_EQ(static_cast<int>(written["values"].MemberCount()), type->value_count());
    for (const auto& [name, value] : written["values"].GetObject()) {
      SCOPED_TRACE(name.GetString());
      const int number = type->FindValueByName(name.GetString())->number();
      EXPECT_EQ(value["number"].GetInt(), number);
      const Util::PayloadPath path = Follow(record, value["path"]);
      EXPECT_EQ(path, Util::PayloadAt(record, number));
      EXPECT_EQ(TypeOf(value), path.empty() ? "" : path.back()->message_type()->full_name());
    }
  }
  const auto& events = json["records"]["Pb.CmnSys.Events.Event"]["values"];
  EXPECT_TRUE(events["EVENT_DB_LOST"].HasMember("exception"));
  EXPECT_FALSE(events["EVENT_DB_REINDEX"].HasMember("exception"));
}

}  // namespace
}  // namespace CmnSys::Test
