// The event envelope and the payloads that travel in it as extensions.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
using Events::Event;
using google::protobuf::FieldDescriptor;
using std::string_literals::operator""s;

std::vector<const FieldDescriptor*> Payloads() {
  std::vector<const FieldDescriptor*> payloads;
  google::protobuf::DescriptorPool::generated_pool()->FindAllExtensions(Event::descriptor(),
                                                                        &payloads);
  return payloads;
}

Event Parsed(const std::string& bytes) {
  Event event;
  EXPECT_TRUE(event.ParseFromString(bytes));
  return event;
}

// The number of the extension that goes with an event type, or 0 for a type without payload.
int PayloadNumber(int type) {
  switch (type) {
    case Events::EVENT_UNKNOWN:
    case Events::EVENT_ALL:
    case Events::EVENT_SYSTEM_NETWORK_ERROR:
    case Events::EVENT_SYSTEM_NETWORK_ERROR_RECOVERED:
      return 0;
    case Events::EVENT_DB_LOST:
      return 404;
    case Events::EVENT_DB_ENVIRONMENT_DELETED_WITH_DBS:
      return 405;
    default:
      static const std::map<int, int> kBases = {{1, 100},  {3, 400},   {5, 700},  {7, 1000},
                                                {9, 1300}, {11, 1600}, {12, 1900}};
      return kBases.at(type / 1000) + type % 1000;
  }
}

TEST(EventPayloads, AreFoundFromTheEventTypeByTheRuleAndItsExceptions) {
  std::set<int> numbers;
  const auto* types = Events::EventType_descriptor();
  for (int i = 0; i < types->value_count(); ++i) {
    const int number = PayloadNumber(types->value(i)->number());
    if (number == 0) continue;
    SCOPED_TRACE(types->value(i)->name());
    EXPECT_TRUE(numbers.insert(number).second);
    const FieldDescriptor* payload = Event::GetReflection()->FindKnownExtensionByNumber(number);
    ASSERT_NE(payload, nullptr);

    // event_type and payload are named alike: EVENT_USER_LOGIN, event_user_login.
    std::string name = types->value(i)->name();
    for (char& c : name) c = static_cast<char>(std::tolower(c));
    const std::string application = "event_application_";
    if (name.rfind(application, 0) == 0) name = "event_app_" + name.substr(application.size());
    EXPECT_EQ(payload->name(), name);
  }
  // Nothing else is attached to the envelope.
  EXPECT_EQ(numbers.size(), Payloads().size());
  EXPECT_EQ(numbers.size(), 141U);
}

TEST(EventPayloads, TravelEachInItsOwnExtensionEvenWhenEmpty) {
  for (const FieldDescriptor* payload : Payloads()) {
    SCOPED_TRACE(payload->full_name());
    Event event;
    const auto* reflection = Event::GetReflection();
    reflection->MutableMessage(&event, payload);
    const std::string bytes = event.SerializeAsString();
    ASSERT_EQ(bytes.size(), 3U);

    const Event copy = Parsed(bytes);
    std::vector<const FieldDescriptor*> set;
    reflection->ListFields(copy, &set);
    EXPECT_EQ(set, std::vector<const FieldDescriptor*>{payload});
    EXPECT_EQ(copy.SerializeAsString(), bytes);
  }
}

// All database payloads have the same single field, so only the number tells them apart.
TEST(EventPayloads, OfLostDatabasesUseTheNumbersThatBreakTheRule) {
  const Event lost = Parsed("\x78\xbd\x17\xa2\x19\x04\x0a\x02\x64\x31"s);
  EXPECT_EQ(lost.event_type(), Events::EVENT_DB_LOST);
  EXPECT_EQ(lost.GetExtension(Events::event_db_lost).db_name_key(), "d1");

  const Event deleted = Parsed("\x78\xbe\x17\xaa\x19\x04\x0a\x02\x64\x32"s);
  EXPECT_EQ(deleted.event_type(), Events::EVENT_DB_ENVIRONMENT_DELETED_WITH_DBS);
  EXPECT_EQ(deleted.GetExtension(Events::event_db_environment_deleted_with_dbs).db_name_key(),
            "d2");
  EXPECT_FALSE(deleted.HasExtension(Events::event_db_lost));
}

TEST(EventPayloads, UnderNumbersWithoutExtensionAreKeptInCopiesToo) {
  // 406, which the rule would give to type 3006; 1307, which it would give to 9007; 10000.
  for (const std::string& bytes :
       {"\xb2\x19\x04\x0a\x02\x64\x32"s, "\xda\x51\x00"s, "\x82\xf1\x04\x02\x08\x01"s}) {
    const Event event = Parsed(bytes);
    EXPECT_EQ(event.unknown_fields().field_count(), 1);
    Event copy = event;
    copy.MergeFrom(Event());
    EXPECT_EQ(copy.SerializeAsString(), bytes);
  }
}

TEST(EventPayloads, ThatAreMalformedFailTheWholeEnvelope) {
  for (const std::string& bytes :
       {"\xca\x2c\x05\x0a\x01x"s,        // longer than what is left
        "\xca\x2c\x03\x0a\x05x"s,        // its field is longer than the payload
        "\xca\x2c\x02\x07\x00"s,         // no such wire type
        "\xca\x2c\x03\x1a\x01\xff"s}) {  // a Gid that ends inside a tag
    EXPECT_FALSE(Event().ParseFromString(bytes)) << testing::PrintToString(bytes);
  }
}

TEST(EventPayloads, NeitherHaveToMatchTheTypeNorToBeAlone) {
  Event event;
  event.set_event_type(Events::EVENT_USER_LOGIN);
  event.MutableExtension(Events::event_device_motion_start)->set_device_id("gate-1");
  event.MutableExtension(Events::event_device_motion_stop)->set_device_id("gate-2");
  Event copy = Parsed(event.SerializeAsString());
  EXPECT_EQ(copy.GetExtension(Events::event_device_motion_start).device_id(), "gate-1");
  EXPECT_EQ(copy.GetExtension(Events::event_device_motion_stop).device_id(), "gate-2");
  EXPECT_FALSE(copy.HasExtension(Events::event_user_login));
  EXPECT_EQ(&copy.GetExtension(Events::event_user_login),
            &Events::EventUserLogin::default_instance());

  copy.ClearExtension(Events::event_device_motion_start);
  EXPECT_FALSE(copy.HasExtension(Events::event_device_motion_start));
  EXPECT_TRUE(copy.HasExtension(Events::event_device_motion_stop));
}

// Fields of older versions that this one leaves unassigned: 1 in a storage payload, 2 in a
// device's.
TEST(EventPayloads, KeepTheirOwnUnknownFields) {
  for (const std::string& bytes : {"\xca\x3e\x07\x42\x03/da\x08\x01"s, "\xca\x2c\x02\x10\x05"s}) {
    EXPECT_EQ(Parsed(bytes).SerializeAsString(), bytes);
    EXPECT_EQ(Parsed(bytes).unknown_fields().field_count(), 0);
  }
}

TEST(EventPayloads, SurviveTheWayThroughANotification) {
  namespace Notifications = Pb::CmnSys::Notifications;
  Notifications::Notification notification;
  notification.set_notification_type(Notifications::NOTIFICATION_EVENT);
  Event* event = notification.mutable_notification_event()->mutable_event();
  event->MutableExtension(Events::event_user_login)->set_user_name("r.novak");

  Notifications::Notification copy;
  ASSERT_TRUE(copy.ParseFromString(notification.SerializeAsString()));
  const Event& received = copy.notification_event().event();
  EXPECT_EQ(received.GetExtension(Events::event_user_login).user_name(), "r.novak");
  EXPECT_TRUE(received.unknown_fields().empty());
}

TEST(EventEnvelope, ReadsUnknownTypeAndTimeZeroWhenEmpty) {
  const Event event = Parsed("");
  EXPECT_EQ(event.event_type(), Events::EVENT_UNKNOWN);
  EXPECT_EQ(static_cast<int>(event.event_type()), 999);
  EXPECT_EQ(event.timestamp(), 0);
  EXPECT_FALSE(event.has_timestamp());
  EXPECT_TRUE(Parsed("\x78\x00"s).has_event_type());
  EXPECT_EQ(Parsed("\x78\x00"s).event_type(), Events::EVENT_ALL);
}

}  // namespace
}  // namespace CmnSys::Test
