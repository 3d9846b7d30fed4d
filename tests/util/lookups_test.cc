#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/EventTypes.h"
#include "CmnSys/Util/GidTypes.h"
#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/QueryTypes.h"
#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.Login.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using namespace Pb::CmnSys::Events;
using namespace Pb::CmnSys::Notifications;
using namespace Pb::CmnSys::Queries;
using namespace Pb::CmnSys::QueriesResult;

template <typename Function>
void ForEachValue(const EnumDescriptor* type, const Function& function) {
  for (int i = 0; i < type->value_count(); ++i) function(*type->value(i));
}

TEST(EventTypes, LeadToTheirExtensionAndBack) {
  std::set<const FieldDescriptor*> found;
  ForEachValue(EventType_descriptor(), [&](const EnumValueDescriptor& value) {
    const Util::PayloadPath& path = Util::PayloadAt(Event::descriptor(), value.number());
    if (path.empty()) return;
    ASSERT_EQ(path.size(), 1U);
    found.insert(path[0]);
    EXPECT_EQ(Util::EventTypeOf(*path[0]->message_type()), value.number());
    EXPECT_EQ(Util::SelectingValues(*path[0]), std::vector{&value});
  });
  std::vector<const FieldDescriptor*> all;
  google::protobuf::DescriptorPool::generated_pool()->FindAllExtensions(Event::descriptor(), &all);
  EXPECT_EQ(found.size(), all.size());
}

TEST(EventTypes, TheCategoryIsThatOfTheNamePrefix) {
  const std::map<std::string, EventCategory> prefixes = {
      {"APPLICATION", EVENT_CATEGOTY_APPLICATIOJHN},
      {"DB", EVENT_CATEGOTY_DATABASE},
      {"DEVICE", EVENT_CATEGOTY_DEVICE},
      {"STORAGE", EVENT_CATEGOTY_STORAGE},
      {"SYSTEM", EVENT_CATEGOTY_SYSTEM},
      {"USER", EVENT_CATEGOTY_USER},
      {"ALARM", EVENT_CATEGOTY_ALARM},
      {"ALL", EVENT_CATEGOTY_UNKNOWN},
      {"UNKNOWN", EVENT_CATEGOTY_UNKNOWN}};
  ForEachValue(EventType_descriptor(), [&](const EnumValueDescriptor& value) {
    const std::string prefix = value.name().substr(6, value.name().find('_', 6) - 6);
    ASSERT_EQ(prefixes.count(prefix), 1U) << value.name();
    EXPECT_EQ(Util::EventCategoryOf(static_cast<EventType>(value.number())), prefixes.at(prefix))
        << value.name();
  });
}

TEST(EventTypes, KnowNothingOfUndefinedNumbersAndOtherMessages) {
  for (const int number : {-1, 1, 5001, 11020, 13000}) {
    EXPECT_EQ(Util::EventCategoryOf(static_cast<EventType>(number)), EVENT_CATEGOTY_UNKNOWN);
  }
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()));
  EXPECT_EQ(Util::GidTypeInWords(static_cast<Pb::CmnSys::GidType>(24)), "unknown");
  // Declared, but the payload of no type.
  EXPECT_FALSE(Util::EventTypeOf(*EventDeviceDigitalOutputOff::descriptor()));
}

TEST(QueryTypes, AreAnsweredByTheResultsOfTheirKind) {
  // The first word after the common prefix is the kind.
  const auto kind = [](const std::string& name, const std::string& prefix) {
    return name.substr(prefix.size(), name.find('_', prefix.size()) - prefix.size());
  };
  ForEachValue(QueryType_descriptor(), [&](const EnumValueDescriptor& value) {
    const std::string query = kind(value.name(), "QUERY_TYPE_");
    const auto results = Util::PossibleResultTypes(static_cast<QueryType>(value.number()));
    EXPECT_EQ(results.empty(), query == "UNKNOWN" || query == "TRANSACT") << value.name();
    for (const QueryResultType result : results) {
      EXPECT_EQ(query, kind(QueryResultType_Name(result), "QUERY_RESULT_TYPE_"));
      EXPECT_FALSE(Util::PayloadAt(QueryResult::descriptor(), result).empty());
    }
  });
  // Alike in their first word only.
  EXPECT_EQ(Util::PossibleResultTypes(QUERY_TYPE_RECORDINGS_ADJACENT_EVENTS),
            std::vector<QueryResultType>{QUERY_RESULT_TYPE_RECORDINGS});
  EXPECT_EQ(Util::PossibleResultTypes(QUERY_TYPE_RECORDINGS_EVENT_DESCS),
            std::vector<QueryResultType>{QUERY_RESULT_TYPE_RECORDINGS_EVENT_DESCS});
}

TEST(QueryTypes, DetectionBoxesAreSummarizedOnDemand) {
  Query query;
  EXPECT_FALSE(Util::ResultTypeFor(query));
  query.set_type(QUERY_TYPE_DETECTION_BOXES);
  EXPECT_EQ(Util::ResultTypeFor(query), QUERY_RESULT_TYPE_DETECTION_BOXES);
  query.mutable_query_detection_boxes()->set_bsummarize(true);
  EXPECT_EQ(Util::ResultTypeFor(query), QUERY_RESULT_TYPE_DETECTION_BOX_SUMMARY);
}

// Tools that read the schema's files have descriptors of their own.
TEST(Pairing, AnswersForDescriptorsOfOtherPools) {
  google::protobuf::DescriptorPoolDatabase database(
      *google::protobuf::DescriptorPool::generated_pool());
  const google::protobuf::DescriptorPool other(&database);
  const auto* const query = other.FindMessageTypeByName("Pb.CmnSys.Queries.Query");
  ASSERT_NE(query, Query::descriptor());
  EXPECT_EQ(Util::PayloadAt(query, QUERY_TYPE_DETECTION_BOXES),
            Util::PayloadAt(Query::descriptor(), QUERY_TYPE_DETECTION_BOXES));
  EXPECT_TRUE(Util::IsSelector(*query->FindFieldByName("type")));
  EXPECT_FALSE(Util::IsSelector(*query->FindFieldByName("gid")));
}

TEST(Pairing, OneValueMaySelectInSeveralRecords) {
  const auto* const sso =
      Pb::CmnSys::Login::AuthType_descriptor()->FindValueByName("AUTH_TYPE_SSO");
  std::vector<std::string> records;
  for (const Util::SelectedPayload& selected : Util::SelectedPayloads(*sso)) {
    records.push_back(selected.record->name() + "." + Util::PathText(selected.payload));
  }
  EXPECT_EQ(records, (std::vector<std::string>{"AuthInitParams.sso", "AuthReqParams.sso",
                                               "AuthRspParams.sso"}));
  EXPECT_TRUE(Util::SelectedPayloads(*Pb::CmnSys::GidType_descriptor()->value(0)).empty());
}

// The page that shows the areas and what the tools say of a file agree.
TEST(Schema, EachFileIsInTheAreaThatThePageNames) {
  std::ifstream page(CMNSYS_SCHEMA_FOLDER "/README.md");
  std::map<std::string, std::string> areas;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("| **", 0) != 0) continue;
    const std::string area = line.substr(4, line.find("**", 4) - 4);
    const std::regex link(R"(\(([A-Za-z.]+\.proto)\))");
    for (std::sregex_iterator i(line.begin(), line.end(), link), end; i != end; ++i) {
      EXPECT_TRUE(areas.emplace("ProtoBuf/CmnSys/" + (*i)[1].str(), area).second) << line;
    }
  }
  EXPECT_EQ(areas.size(), Util::SchemaFiles().size());
  for (const auto* file : Util::SchemaFiles()) {
    EXPECT_EQ(Util::SchemaArea(*file), areas[file->name()]) << file->name();
  }
  // A file that is not in the library's list of files is neither built nor checked.
  for (const auto& entry : std::filesystem::directory_iterator(CMNSYS_SCHEMA_FOLDER)) {
    if (entry.path().extension() != ".proto") continue;
    EXPECT_EQ(areas.count("ProtoBuf/CmnSys/" + entry.path().filename().string()), 1U) << entry;
  }
  EXPECT_EQ(Util::SchemaArea(*google::protobuf::FileDescriptorProto::descriptor()->file()), "");
}

}  // namespace
}  // namespace CmnSys::Test
