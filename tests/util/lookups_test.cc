#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/EventTypes.h"
#include "CmnSys/Util/GidTypes.h"
#include "CmnSys/Util/NotificationTypes.h"
#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/QueryTypes.h"
#include "CmnSys/Util/Schema.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Login.pb.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using namespace Pb::CmnSys::Events;         // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::Notifications;  // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::Queries;        // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::QueriesResult;  // NOLINT(google-build-using-namespace)

std::string NameOf(const FieldDescriptor* field) { return field == nullptr ? "" : field->name(); }

template <typename Function>
void ForEachValue(const EnumDescriptor* type, const Function& function) {
  for (int i = 0; i < type->value_count(); ++i) function(*type->value(i));
}

TEST(EventTypes, LeadToTheirExtensionAndBack) {
  std::set<const FieldDescriptor*> found;
  ForEachValue(EventType_descriptor(), [&](const EnumValueDescriptor& value) {
    const auto type = static_cast<EventType>(value.number());
    const FieldDescriptor* extension = Util::ExtensionOf(type);
    if (extension == nullptr) return;
    found.insert(extension);
    EXPECT_EQ(Util::PayloadOf(type), extension->message_type());
    EXPECT_EQ(Util::EventTypeOf(*extension), type);
    EXPECT_EQ(Util::EventTypeOf(*extension->message_type()), type);
  });
  std::vector<const FieldDescriptor*> all;
  google::protobuf::DescriptorPool::generated_pool()->FindAllExtensions(Event::descriptor(), &all);
  EXPECT_EQ(found.size(), all.size());
  EXPECT_EQ(NameOf(Util::ExtensionOf(EVENT_DEVICE_MOTION_START)), "event_device_motion_start");
  EXPECT_EQ(Util::PayloadOf(EVENT_SYSTEM_NETWORK_ERROR), nullptr);
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
    EXPECT_EQ(Util::CategoryOf(static_cast<EventType>(value.number())), prefixes.at(prefix))
        << value.name();
  });
}

TEST(EventTypes, KnowNothingOfUndefinedNumbersAndOtherFields) {
  for (const int number : {-1, 1, 5001, 11020, 13000}) {
    EXPECT_EQ(Util::CategoryOf(static_cast<EventType>(number)), EVENT_CATEGOTY_UNKNOWN);
    EXPECT_EQ(Util::ExtensionOf(static_cast<EventType>(number)), nullptr);
  }
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()));
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()->FindFieldByName("event_type")));
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
    const auto results = Util::ResultTypesOf(static_cast<QueryType>(value.number()));
    EXPECT_EQ(results.empty(), query == "UNKNOWN" || query == "TRANSACT") << value.name();
    for (const QueryResultType result : results) {
      EXPECT_EQ(query, kind(QueryResultType_Name(result), "QUERY_RESULT_TYPE_"));
      EXPECT_NE(Util::ResultFieldOf(result), nullptr);
    }
  });
  // Alike in their first word only.
  EXPECT_EQ(Util::ResultTypesOf(QUERY_TYPE_RECORDINGS_ADJACENT_EVENTS),
            std::vector<QueryResultType>{QUERY_RESULT_TYPE_RECORDINGS});
  EXPECT_EQ(Util::ResultTypesOf(QUERY_TYPE_RECORDINGS_EVENT_DESCS),
            std::vector<QueryResultType>{QUERY_RESULT_TYPE_RECORDINGS_EVENT_DESCS});
}

TEST(QueryTypes, DetectionBoxesAreSummarizedOnDemand) {
  Query query;
  EXPECT_FALSE(Util::ResultTypeOf(query));
  query.set_type(QUERY_TYPE_DETECTION_BOXES);
  EXPECT_EQ(Util::ResultTypeOf(query), QUERY_RESULT_TYPE_DETECTION_BOXES);
  query.mutable_query_detection_boxes()->set_bsummarize(true);
  EXPECT_EQ(Util::ResultTypeOf(query), QUERY_RESULT_TYPE_DETECTION_BOX_SUMMARY);
}

TEST(OtherTypes, AnswerForUndefinedNumbersToo) {
  EXPECT_EQ(Util::WordsFor(Pb::CmnSys::GID_TYPE_SAVED_VIEW), "saved view");
  EXPECT_EQ(Util::WordsFor(static_cast<Pb::CmnSys::GidType>(24)), "unknown");
  EXPECT_EQ(NameOf(Util::PayloadFieldOf(NOTIFICATION_EVENT)), "notification_event");
  EXPECT_EQ(Util::PayloadFieldOf(static_cast<NotificationType>(7)), nullptr);
  EXPECT_EQ(NameOf(Util::ParameterFieldOf(QUERY_TYPE_DETECTION_BOXES)), "query_detection_boxes");
  EXPECT_EQ(Util::ParameterFieldOf(QUERY_TYPE_UNKNOWN), nullptr);
}

TEST(Schema, FindsMessageTypesByFullName) {
  EXPECT_EQ(Util::FindMessageType("Pb.CmnSys.Iota"), Pb::CmnSys::Iota::descriptor());
  EXPECT_EQ(Util::FindPrototype("Pb.CmnSys.Iota"), &Pb::CmnSys::Iota::default_instance());
  EXPECT_EQ(Util::FindPrototype("Iota"), nullptr);
  EXPECT_NE(Util::FindMessageType("Pb.Prism.Version"), nullptr);
  for (const char* const name : {"", "Iota", "Pb.CmnSys.IotaType", "Pb.CmnSys.Iota.type"}) {
    EXPECT_EQ(Util::FindMessageType(name), nullptr) << name;
  }
}

TEST(Pairing, OneValueMaySelectInSeveralRecords) {
  const auto* const sso =
      Pb::CmnSys::Login::AuthType_descriptor()->FindValueByName("AUTH_TYPE_SSO");
  std::vector<std::string> records;
  for (const Util::SelectedPayload& selected : Util::PayloadsOf(*sso)) {
    records.push_back(selected.record->name() + "." + Util::PathText(selected.payload));
  }
  EXPECT_EQ(records, (std::vector<std::string>{"AuthInitParams.sso", "AuthReqParams.sso",
                                               "AuthRspParams.sso"}));
  EXPECT_TRUE(Util::PayloadsOf(*Pb::CmnSys::GidType_descriptor()->value(0)).empty());
}

}  // namespace
}  // namespace CmnSys::Test
