// Holds the pairing tables against the descriptors, so that no row names what does not exist and
// nothing that is added to the schema stays without a rule.

#include "pairing/pairing_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Sub-messages that records with a rule hold for every kind, and those that are numbered like
// payloads but exclude nothing, as named in Pb.CmnSys.
const char* const kCommonToAllKinds =
    "Events.Event.originating_server_gid Events.Event.originating_uuid "
    "Events.Event.record_trigger_params Maps.MapObject.geometry Maps.MapObject.gid "
    "Nodes.Node.node_version Nodes.Node.state_version Notifications.Notification.gid "
    "Notifications.NotificationUserMessage.collaboration_request "
    "Notifications.NotificationUserMessage.collaboration_response "
    "QueriesResult.QueryResult.gid Queries.Query.gid Rules.Rule.action_sequence "
    "Rules.Rule.rule_condition_set Rules.RuleAction.action_uuid "
    "SavedViews.StateChange.StateChange.saved_view_gid Schedule.Schedule.id "
    "SystemInfos.EntityInfo.gid SystemInfos.EntityInfo.user_strings "
    "TextTransact.DataFormat.gid TextTransact.DataFormat.uuid "
    "TextTransact.Filter.search_text TextTransact.WatchItem.gid TextTransact.WatchItem.uuid";

// A row of any table, as far as the tables are alike.
struct Row {
  std::string record;
  std::string selector;
  std::vector<Util::ValueAndPayload> listed;
};

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  const auto add = [&rows](const auto& table, const auto& listed) {
    for (const auto& row : table) rows.push_back({row.record, row.selector, row.*listed});
  };
  add(Util::OffsetWithExceptionsTable(), &Util::OffsetWithExceptions::exceptions);
  add(Util::ByNameTable(), &Util::ByName::payloads);
  add(Util::ByExtensionTable(), &Util::ByExtension::exceptions);
  add(Util::ByPathTable(), &Util::ByPath::payloads);
  for (const auto& row : Util::FixedOffsetTable()) {
    rows.push_back({row.record, row.selector, {}});
    if (row.unknown != nullptr) rows.back().listed = {{row.unknown, Util::kNoPayload}};
  }
  for (const auto& row : Util::ExactlyOneTable()) rows.push_back({row.record, "", {}});
  return rows;
}

// The singular sub-messages and extensions that a message may hold.
std::vector<const FieldDescriptor*> SubMessages(const Descriptor* message) {
  std::vector<const FieldDescriptor*> fields;
  DescriptorPool::generated_pool()->FindAllExtensions(message, &fields);
  for (int i = 0; i < message->field_count(); ++i) fields.push_back(message->field(i));
  std::vector<const FieldDescriptor*> result;
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() != nullptr && !field->is_repeated()) result.push_back(field);
  }
  return result;
}

// The fields of a path, ending early where a name does not exist.
std::vector<const FieldDescriptor*> Follow(const Descriptor* record, std::string path) {
  std::vector<const FieldDescriptor*> fields;
  while (record != nullptr && !path.empty()) {
    const std::string name = path.substr(0, path.find('.'));
    path.erase(0, name.size() + 1);
    const FieldDescriptor* field = record->FindFieldByName(name);
    if (field == nullptr) break;
    fields.push_back(field);
    record = field->message_type();
  }
  return fields;
}

// What the library selects for each value of the row's selector.
using Paths = std::map<const EnumValueDescriptor*, std::vector<const FieldDescriptor*>>;
Paths PayloadsOfRow(const Row& row) {
  Paths paths;
  const Descriptor* record = Util::FindMessageType(row.record);
  if (row.selector.empty()) return paths;
  const auto* const type = record->FindFieldByName(row.selector)->enum_type();
  for (int i = 0; i < type->value_count(); ++i) {
    for (const Util::SelectedPayload& selected : Util::SelectedPayloads(*type->value(i))) {
      if (selected.record == record) paths[type->value(i)] = selected.payload;
    }
    EXPECT_EQ(paths.count(type->value(i)), 1U)
        << row.record << " has no rule for " << type->value(i)->full_name();
  }
  return paths;
}

// The library passes over rows whose record or selector does not exist.
TEST(PairingTables, NameOnlyWhatExistsAndEachRecordOnce) {
  std::set<std::string> records;
  for (const Row& row : AllRows()) {
    EXPECT_TRUE(records.insert(row.record).second) << row.record << " has two rows";
    const Descriptor* record = Util::FindMessageType(row.record);
    ASSERT_NE(record, nullptr) << row.record;
    if (row.selector.empty()) continue;
    const FieldDescriptor* selector = record->FindFieldByName(row.selector);
    ASSERT_NE(selector, nullptr) << row.record << "." << row.selector;
    ASSERT_NE(selector->enum_type(), nullptr) << selector->full_name();
    EXPECT_FALSE(selector->is_repeated()) << selector->full_name();
    for (const auto& [value, payload] : row.listed) {
      EXPECT_NE(selector->enum_type()->FindValueByName(value), nullptr) << value;
    }
  }
  EXPECT_EQ(Util::PairedRecords().size(), records.size());
}

TEST(PairingTables, GiveEachValueAPayloadOfItsOwnOrSayThatItHasNone) {
  for (const Row& row : AllRows()) {
    std::map<std::string, std::string> listed(row.listed.begin(), row.listed.end());
    std::set<std::string> payloads;
    for (const auto& [value, path] : PayloadsOfRow(row)) {
      const std::string payload = Util::PathText(path);
      const bool has_none = listed.count(value->name()) != 0 && listed[value->name()].empty();
      EXPECT_EQ(payload.empty(), has_none) << value->name() << " needs a payload in " << row.record
                                           << " or an entry that it has none";
      EXPECT_TRUE(payload.empty() || payloads.insert(payload).second)
          << payload << " belongs to two values";
    }
  }
}

std::vector<std::string> Words(const std::string& name) {
  std::istringstream in(name);
  std::vector<std::string> words;
  for (std::string word; std::getline(in, word, '_');) words.push_back(Lower(word));
  return words;
}

// The rules go by numbers and hand-written names; that the words of a value stand in the name of
// its payload is a second witness.
TEST(PairingTables, PairValuesWithPayloadsThatBearTheirNames) {
  const std::map<std::string, std::string> differ = {
      {"DM_REQ_TYPE_DISCONNECT", "disconnnectReq"},
      {"EVENT_APPLICATION_BAD_SHUTDOWN", "[Pb.CmnSys.Events.event_app_bad_shutdown]"},
      {"EVENT_APPLICATION_SERVER_START", "[Pb.CmnSys.Events.event_app_server_start]"},
      {"EVENT_APPLICATION_SERVER_STOP", "[Pb.CmnSys.Events.event_app_server_stop]"},
      {"QUERY_TYPE_RECORDINGS_ADJACENT_EVENTS", "query_recordings_adjacent_event"},
  };
  for (const Row& row : AllRows()) {
    const Paths paths = PayloadsOfRow(row);
    if (paths.empty()) continue;
    // Words that all values begin with say nothing.
    const auto first = Words(paths.begin()->first->name());
    auto common = first.end();
    for (const auto& [value, path] : paths) {
      const auto words = Words(value->name());
      common = std::min(
          common, std::mismatch(first.begin(), first.end(), words.begin(), words.end()).first);
    }
    for (const auto& [value, path] : paths) {
      const std::string payload = Util::PathText(path);
      if (payload.empty()) continue;
      if (const auto found = differ.find(value->name()); found != differ.end()) {
        EXPECT_EQ(payload, found->second);
        continue;
      }
      std::string letters = Lower(payload);
      letters.erase(std::remove(letters.begin(), letters.end(), '_'), letters.end());
      const auto words = Words(value->name());
      for (auto word = words.begin() + (common - first.begin()); word != words.end(); ++word) {
        EXPECT_NE(letters.find(*word), std::string::npos) << value->name() << " " << payload;
      }
    }
  }
}

// Every field that some row makes a payload, or a step to one.
std::set<const FieldDescriptor*> FieldsWithRule() {
  std::set<const FieldDescriptor*> fields;
  for (const Row& row : AllRows()) {
    for (const auto& [value, path] : PayloadsOfRow(row)) fields.insert(path.begin(), path.end());
  }
  for (const Util::ByPath& row : Util::ByPathTable()) {
    for (const char* const text : row.unselected) {
      const auto path = Follow(Util::FindMessageType(row.record), text);
      EXPECT_EQ(Util::PathText(path), text);
      fields.insert(path.begin(), path.end());
    }
  }
  for (const Util::ExactlyOne& row : Util::ExactlyOneTable()) {
    for (const FieldDescriptor* field : SubMessages(Util::FindMessageType(row.record))) {
      if (row.first_field <= field->number() && field->number() <= row.last_field) {
        fields.insert(field);
      }
    }
  }
  return fields;
}

// Payloads are numbered from 100 in most records of the schema, and nothing else is.
TEST(PairingTables, LeaveNoPayloadWithoutAValueAndNoRecordOfPayloadsWithoutARule) {
  const std::set<const FieldDescriptor*> with_rule = FieldsWithRule();
  // The records, and the messages on the way to payloads that stand deeper.
  std::set<const Descriptor*> records;
  for (const FieldDescriptor* field : with_rule) records.insert(field->containing_type());

  std::set<std::string> common;
  std::istringstream in(kCommonToAllKinds);
  for (std::string name; in >> name;) common.insert("Pb.CmnSys." + name);
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    const Descriptor* message = Util::FindMessageType(name);
    for (const FieldDescriptor* field : SubMessages(message)) {
      if (common.erase(field->full_name()) != 0) continue;
      EXPECT_TRUE(records.count(message) == 0 ? field->number() < 100 : with_rule.count(field) == 1)
          << field->full_name() << " is the payload of no kind, nor listed as common to all";
    }
  }
  for (const std::string& name : common) ADD_FAILURE() << name << " is listed, but not there";
}

}  // namespace
}  // namespace CmnSys::Test
