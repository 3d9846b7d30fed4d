#include "event_table.h"

#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <string>
#include <vector>

namespace QueryExample {
namespace {

namespace Events = Pb::CmnSys::Events;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::TextFormat;

constexpr char kNothing[] = "-";

std::string TimeOfDay(std::int64_t milliseconds) {
  std::int64_t seconds = milliseconds / 1000;
  std::int64_t rest = milliseconds % 1000;
  if (rest < 0) {
    rest += 1000;
    --seconds;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm utc = {};
  if (gmtime_r(&time, &utc) == nullptr) return std::to_string(milliseconds);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(rest));
  return text;
}

// A string or bytes field with everything escaped that is not printable ASCII.
std::string Escaped(const Message& message, int field_number) {
  const FieldDescriptor* field = message.GetDescriptor()->FindFieldByNumber(field_number);
  std::string quoted;
  TextFormat::PrintFieldValueToString(message, field, -1, &quoted);
  return quoted.substr(1, quoted.size() - 2);
}

std::string OrNothing(const std::string& text) { return text.empty() ? kNothing : text; }

// The fields of every extension that is set, whether or not it goes with the event's type.
std::string Payloads(const Events::Event& event) {
  TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  std::vector<const FieldDescriptor*> fields;
  event.GetReflection()->ListFields(event, &fields);
  std::string text;
  for (const FieldDescriptor* field : fields) {
    if (!field->is_extension()) continue;
    std::string payload;
    printer.PrintToString(event.GetReflection()->GetMessage(event, field), &payload);
    text += "{ " + payload + "} ";
  }
  const int unknown = event.unknown_fields().field_count();
  if (unknown != 0) text += "(unknown fields: " + std::to_string(unknown) + ") ";
  if (!text.empty()) text.pop_back();
  return OrNothing(text);
}

void PrintEvent(const Events::Event& event, const char* mark, std::ostream& output) {
  output << std::right << std::setw(4) << mark + std::to_string(event.this_id()) << "  "  //
         << TimeOfDay(event.timestamp()) << "  " << std::left << std::setw(10)
         << OrNothing(Escaped(event, Events::Event::kOriginatingServerNameFieldNumber)) << "  "
         << std::setw(30) << Events::EventType_Name(event.event_type()) << "  " << Payloads(event)
         << "\n";
}

}  // namespace

void PrintEvents(const Pb::CmnSys::QueriesResult::QueryResultSystemEvents& batch,
                 std::ostream& output) {
  if (batch.results().empty()) {
    output << "  no events\n";
    return;
  }
  output << "  ID  TIME          SERVER      TYPE                            PAYLOAD\n";
  for (const Events::EventPair& pair : batch.results()) {
    PrintEvent(pair.event(), "", output);
    if (pair.has_linked_event()) PrintEvent(pair.linked_event(), "+", output);
  }
}

void PrintState(const Pb::CmnSys::Queries::QueryContinuableState& state, std::ostream& output) {
  output << "continuable state:";
  for (const auto& entry : state.server_max_event_ids()) {
    output << "  " << OrNothing(Escaped(entry.server_gid(), Pb::CmnSys::Gid::kIdFieldNumber))
           << " up to " << entry.max_event_id();
  }
  output << (state.server_max_event_ids().empty() ? "  nothing delivered\n" : "\n");
}

}  // namespace QueryExample
