// The example as users run it, and its reading and printing of events.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "event_file.h"
#include "event_table.h"
#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
using std::string_literals::operator""s;

ProcessResult RunExample(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), QUERY_EXAMPLE);
  return Run(arguments);
}

TEST(QueryProgram, ShowsTheWholeConversation) {
  const ProcessResult result = RunExample({EXAMPLE_EVENTS});
  ASSERT_EQ(result.status, 0) << result.errors;
  std::size_t at = 0;
  for (const char* const text :
       {"   8  09:02:10.250  Gatehouse   EVENT_DEVICE_MOTION_START       { device_id: \"gate-1\"",
        " +16  09:20:45.000", "b_continue is true", "b_continue is false",
        "continuable state:  server-1 up to 15  server-2 up to 13", "Abort succeeded",
        "Continue after it failed: no query with the gid { id: \"client-1/all\"",
        "Method Abort() not implemented."}) {
    at = result.output.find(text, at);
    ASSERT_NE(at, std::string::npos) << "missing or out of order: " << text << "\n"
                                     << result.output;
  }
}

TEST(QueryProgram, TellsWhatIsWrongWithItsInput) {
  const TemporaryFolder folder;
  const std::string broken = folder.Write("broken.txt", "events {\n  this_id: x\n}\n");
  const ProcessResult syntax = RunExample({broken});
  EXPECT_EQ(syntax.status, 1);
  EXPECT_NE(syntax.errors.find(broken + ":2:12: "), std::string::npos) << syntax.errors;

  const ProcessResult missing = RunExample({folder.PathOf("none")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.errors.find("none: No such file"), std::string::npos) << missing.errors;
  EXPECT_EQ(RunExample({folder.path()}).status, 1);
  EXPECT_EQ(RunExample({}).status, 2);
}

TEST(EventTable, ShowsWhatIsOddAboutAnEvent) {
  Pb::CmnSys::QueriesResult::QueryResultSystemEvents batch;
  std::ostringstream empty;
  QueryExample::PrintEvents(batch, empty);
  EXPECT_EQ(empty.str(), "  no events\n");

  // A payload of another type, a number that no extension has, and a name with a line break.
  Events::Event* event = batch.add_results()->mutable_event();
  ASSERT_TRUE(event->ParseFromString("\x78\xaf\x46\xca\x2c\x00\xda\x51\x00"s));
  event->set_originating_server_name("a\nb");
  event->set_timestamp(-1);
  std::ostringstream table;
  QueryExample::PrintEvents(batch, table);
  EXPECT_NE(table.str().find("   0  23:59:59.999  a\\nb        EVENT_SYSTEM_NETWORK_ERROR      "
                             "{ } (unknown fields: 1)\n"),
            std::string::npos)
      << table.str();
}

// The examples show events as senders send them: each carries the payload of its type alone.
TEST(ExampleData, PairsEachEventTypeWithItsPayload) {
  const Events::EventList list = QueryExample::ReadEventFile(EXAMPLE_EVENTS);
  EXPECT_GT(list.events_size(), 20);
  for (const Events::Event& event : list.events()) {
    SCOPED_TRACE(event.this_id());
    std::vector<const google::protobuf::FieldDescriptor*> fields;
    event.GetReflection()->ListFields(event, &fields);
    std::string payloads;
    for (const auto* field : fields) {
      if (field->is_extension()) payloads += field->name();
    }
    std::string type = Events::EventType_Name(event.event_type());
    for (char& c : type) c = static_cast<char>(std::tolower(c));
    if (type.rfind("event_application", 0) == 0) type.erase(type.find("lication"), 8);
    if (type.rfind("event_system_network_error", 0) == 0) type.clear();
    EXPECT_EQ(payloads, type);
  }
}

}  // namespace
}  // namespace CmnSys::Test
