#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <string>
#include <thread>
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

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using namespace Pb::CmnSys::Events;         // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::Notifications;  // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::Queries;        // NOLINT(google-build-using-namespace)
using namespace Pb::CmnSys::QueriesResult;  // NOLINT(google-build-using-namespace)

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

std::string NameOf(const FieldDescriptor* field) { return field == nullptr ? "" : field->name(); }

template <typename Function>
void ForEachValue(const EnumDescriptor* type, const Function& function) {
  for (int i = 0; i < type->value_count(); ++i) function(*type->value(i));
}

// The tables go by numbers; the names of types and payloads are a second witness.
TEST(EventTypes, EachTypeHasTheExtensionThatBearsItsName) {
  const std::set<std::string> without = {"event_unknown", "event_all", "event_system_network_error",
                                         "event_system_network_error_recovered"};
  const std::map<std::string, std::string> shortened = {
      {"event_application_server_start", "event_app_server_start"},
      {"event_application_server_stop", "event_app_server_stop"},
      {"event_application_bad_shutdown", "event_app_bad_shutdown"}};
  std::set<const FieldDescriptor*> found;
  ForEachValue(EventType_descriptor(), [&](const EnumValueDescriptor& value) {
    const auto type = static_cast<EventType>(value.number());
    std::string expected = Lower(value.name());
    if (shortened.count(expected) != 0) expected = shortened.at(expected);
    if (without.count(expected) != 0) expected.clear();
    const FieldDescriptor* extension = Util::ExtensionOf(type);
    EXPECT_EQ(NameOf(extension), expected);
    if (extension == nullptr) {
      EXPECT_EQ(Util::PayloadOf(type), nullptr);
      return;
    }
    found.insert(extension);
    EXPECT_EQ(Util::PayloadOf(type), extension->message_type());
    EXPECT_EQ(Util::EventTypeOf(*extension), type);
    EXPECT_EQ(Util::EventTypeOf(*extension->message_type()), type);
  });
  std::vector<const FieldDescriptor*> all;
  DescriptorPool::generated_pool()->FindAllExtensions(Event::descriptor(), &all);
  EXPECT_EQ(found.size(), all.size());
}

TEST(EventTypes, TheCategoryIsThatOfTheNamePrefix) {
  const std::map<std::string, EventCategory> prefixes = {
      {"EVENT_APPLICATION_", EVENT_CATEGOTY_APPLICATIOJHN},
      {"EVENT_DB_", EVENT_CATEGOTY_DATABASE},
      {"EVENT_DEVICE_", EVENT_CATEGOTY_DEVICE},
      {"EVENT_STORAGE_", EVENT_CATEGOTY_STORAGE},
      {"EVENT_SYSTEM_", EVENT_CATEGOTY_SYSTEM},
      {"EVENT_USER_", EVENT_CATEGOTY_USER},
      {"EVENT_ALARM_", EVENT_CATEGOTY_ALARM}};
  ForEachValue(EventType_descriptor(), [&](const EnumValueDescriptor& value) {
    EventCategory expected = EVENT_CATEGOTY_UNKNOWN;
    for (const auto& [prefix, category] : prefixes) {
      if (StartsWith(value.name(), prefix)) expected = category;
    }
    EXPECT_EQ(Util::CategoryOf(static_cast<EventType>(value.number())), expected) << value.name();
  });
}

TEST(EventTypes, KnowNothingOfUndefinedNumbersAndOtherFields) {
  for (const int number : {-1, 1, 5001, 11020, 13000}) {
    EXPECT_EQ(Util::CategoryOf(static_cast<EventType>(number)), EVENT_CATEGOTY_UNKNOWN);
    EXPECT_EQ(Util::ExtensionOf(static_cast<EventType>(number)), nullptr);
  }
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()));
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()->FindFieldByName("event_type")));
  EXPECT_FALSE(Util::EventTypeOf(*Event::descriptor()->FindFieldByName("originating_server_gid")));
  // Declared, but the payload of no type.
  EXPECT_FALSE(Util::EventTypeOf(*EventDeviceDigitalOutputOff::descriptor()));
}

TEST(NotificationTypes, EachTypeHasTheFieldThatBearsItsName) {
  ForEachValue(NotificationType_descriptor(), [](const EnumValueDescriptor& value) {
    const auto type = static_cast<NotificationType>(value.number());
    EXPECT_EQ(NameOf(Util::PayloadFieldOf(type)),
              type == NOTIFICATION_UNKNOWN ? "" : Lower(value.name()));
  });
  EXPECT_EQ(Util::PayloadFieldOf(static_cast<NotificationType>(7)), nullptr);
}

TEST(QueryTypes, EachTypeHasTheFieldThatBearsItsName) {
  ForEachValue(QueryType_descriptor(), [](const EnumValueDescriptor& value) {
    std::string expected = Lower(value.name());
    expected.erase(expected.find("type_"), 5);
    if (value.number() == QUERY_TYPE_UNKNOWN) expected.clear();
    if (value.number() == QUERY_TYPE_RECORDINGS_ADJACENT_EVENTS) expected.pop_back();
    EXPECT_EQ(NameOf(Util::ParameterFieldOf(static_cast<QueryType>(value.number()))), expected);
  });
}

TEST(QueryTypes, AreAnsweredByTheResultsOfTheirKind) {
  std::set<int> results;
  ForEachValue(QueryType_descriptor(), [&](const EnumValueDescriptor& value) {
    const auto type = static_cast<QueryType>(value.number());
    // Words that a query type and its result type begin with after their common parts.
    const std::string query = value.name().substr(std::string("QUERY_TYPE_").size());
    for (const QueryResultType result : Util::ResultTypesOf(type)) {
      results.insert(result);
      const std::string name =
          QueryResultType_Name(result).substr(std::string("QUERY_RESULT_TYPE_").size());
      EXPECT_EQ(query.substr(0, query.find('_')), name.substr(0, name.find('_')));
      EXPECT_NE(Util::ResultFieldOf(result), nullptr);
    }
    const bool unanswered = type == QUERY_TYPE_UNKNOWN || StartsWith(query, "TRANSACT_");
    EXPECT_EQ(Util::ResultTypesOf(type).empty(), unanswered) << value.name();
  });
  EXPECT_EQ(results.size(), static_cast<std::size_t>(QueryResultType_ARRAYSIZE - 1));
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

TEST(GidTypes, EachTypeHasWordsOfItsOwn) {
  std::set<std::string_view> words;
  ForEachValue(Pb::CmnSys::GidType_descriptor(), [&](const EnumValueDescriptor& value) {
    words.insert(Util::WordsFor(static_cast<Pb::CmnSys::GidType>(value.number())));
  });
  EXPECT_EQ(words.size(),
            static_cast<std::size_t>(Pb::CmnSys::GidType_descriptor()->value_count()));
  EXPECT_EQ(Util::WordsFor(Pb::CmnSys::GID_TYPE_SAVED_VIEW), "saved view");
  EXPECT_EQ(Util::WordsFor(static_cast<Pb::CmnSys::GidType>(24)), "unknown");
}

TEST(Schema, FindsMessageTypesByFullName) {
  EXPECT_EQ(Util::FindMessageType("Pb.CmnSys.Iota"), Pb::CmnSys::Iota::descriptor());
  EXPECT_EQ(Util::FindPrototype("Pb.CmnSys.Iota"), &Pb::CmnSys::Iota::default_instance());
  EXPECT_NE(Util::FindMessageType("Pb.Prism.Version"), nullptr);
  for (const char* const name : {"", "Iota", "Pb.CmnSys.IotaType", "Pb.CmnSys.Iota.type"}) {
    EXPECT_EQ(Util::FindMessageType(name), nullptr) << name;
    EXPECT_EQ(Util::FindPrototype(name), nullptr) << name;
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

// Each test runs in a process of its own, so this is the first use of the tables.
TEST(Pairing, TablesMayBeFirstUsedByManyThreads) {
  std::vector<std::thread> threads;
  std::vector<const Descriptor*> payloads(8);
  for (const Descriptor*& payload : payloads) {
    threads.emplace_back([&payload] {
      payload = Util::PayloadOf(EVENT_DEVICE_MOTION_START);
      Util::EventTypeOf(*EventUserLogin::descriptor());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Descriptor* payload : payloads) {
    EXPECT_EQ(payload, EventDeviceMotionStart::descriptor());
  }
}

}  // namespace
}  // namespace CmnSys::Test
