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
