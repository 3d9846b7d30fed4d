// Holds the pairing tables against the descriptors, so that no row names what does not exist and
// nothing that is added to the schema stays without a rule.

#include "pairing_tables.h"

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

// Sub-messages that records with a rule hold for every kind.
const std::set<std::string> kCommonToAllKinds = {
    "Pb.CmnSys.Events.Event.originating_server_gid",
    "Pb.CmnSys.Events.Event.originating_uuid",
    "Pb.CmnSys.Events.Event.record_trigger_params",
    "Pb.CmnSys.Maps.MapObject.geometry",
    "Pb.CmnSys.Maps.MapObject.gid",
    "Pb.CmnSys.Nodes.Node.node_version",
    "Pb.CmnSys.Nodes.Node.state_version",
    "Pb.CmnSys.Notifications.Notification.gid",
    "Pb.CmnSys.QueriesResult.QueryResult.gid",
    "Pb.CmnSys.Queries.Query.gid",
    "Pb.CmnSys.Rules.Rule.action_sequence",
    "Pb.CmnSys.Rules.Rule.rule_condition_set",
    "Pb.CmnSys.Rules.RuleAction.action_uuid",
    "Pb.CmnSys.SavedViews.StateChange.StateChange.saved_view_gid",
    "Pb.CmnSys.Schedule.Schedule.id",
    "Pb.CmnSys.SystemInfos.EntityInfo.gid",
    "Pb.CmnSys.SystemInfos.EntityInfo.user_strings",
    "Pb.CmnSys.TextTransact.DataFormat.gid",
    "Pb.CmnSys.TextTransact.DataFormat.uuid",
    "Pb.CmnSys.TextTransact.Filter.search_text",
    "Pb.CmnSys.TextTransact.WatchItem.gid",
    "Pb.CmnSys.TextTransact.WatchItem.uuid",
};

// A row of any table, as far as the tables are alike.
struct Row {
  std::string record;
  std::string selector;
  std::vector<Util::ValueAndPayload> listed;
  std::vector<const char*> unselected;
};

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  for (const auto& row : Util::FixedOffsetTable()) {
    rows.push_back({row.record, row.selector, {}, {}});
    if (row.unknown != nullptr) rows.back().listed = {{row.unknown, Util::kNoPayload}};
  }
  for (const auto& row : Util::OffsetWithExceptionsTable()) {
    rows.push_back({row.record, row.selector, row.exceptions, {}});
  }
  for (const auto& row : Util::ByNameTable()) {
    rows.push_back({row.record, row.selector, row.payloads, {}});
  }
  for (const auto& row : Util::ByExtensionTable()) {
    rows.push_back({row.record, row.selector, row.exceptions, {}});
  }
  for (const auto& row : Util::ByPathTable()) {
    rows.push_back({row.record, row.selector, row.payloads, row.unselected});
  }
  for (const auto& row : Util::ExactlyOneTable()) rows.push_back({row.record, "", {}, {}});
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
    if (field == nullptr) field = record->file()->FindExtensionByName(name);
    if (field == nullptr) break;
    fields.push_back(field);
    record = field->message_type();
  }
  return fields;
}

// What the library selects for a value in the given record.
std::vector<const FieldDescriptor*> PayloadIn(const Descriptor* record,
                                              const EnumValueDescriptor& value) {
  for (const Util::SelectedPayload& selected : Util::PayloadsOf(value)) {
    if (selected.record == record) return selected.payload;
  }
  ADD_FAILURE() << record->full_name() << " has no rule for " << value.full_name();
  return {};
}

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
      EXPECT_EQ(Util::PathText(Follow(record, payload)).empty(), *payload == '\0') << payload;
    }
    for (const char* const path : row.unselected) {
      EXPECT_EQ(Util::PathText(Follow(record, path)), path);
    }
  }
  EXPECT_EQ(Util::PairedRecords().size(), records.size());
}

TEST(PairingTables, GiveEachValueAPayloadOfItsOwnOrSayThatItHasNone) {
  for (const Row& row : AllRows()) {
    if (row.selector.empty()) continue;
    const Descriptor* record = Util::FindMessageType(row.record);
    std::map<std::string, std::string> listed(row.listed.begin(), row.listed.end());
    std::set<std::string> payloads;
    const auto* const type = record->FindFieldByName(row.selector)->enum_type();
    for (int i = 0; i < type->value_count(); ++i) {
      const std::string& name = type->value(i)->name();
      const std::string payload = Util::PathText(PayloadIn(record, *type->value(i)));
      const bool has_none = listed.count(name) != 0 && listed[name].empty();
      EXPECT_EQ(payload.empty(), has_none)
          << name << " needs a payload in " << row.record << " or an entry that it has none";
      if (!payload.empty()) {
        EXPECT_TRUE(payloads.insert(payload).second) << payload << " belongs to two values";
      }
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
    if (row.selector.empty()) continue;
    const Descriptor* record = Util::FindMessageType(row.record);
    const auto* const type = record->FindFieldByName(row.selector)->enum_type();
    // Words that all values begin with say nothing.
    std::size_t common = Words(type->value(0)->name()).size();
    for (int i = 1; i < type->value_count(); ++i) {
      const auto first = Words(type->value(0)->name());
      const auto other = Words(type->value(i)->name());
      const auto end = std::mismatch(first.begin(), first.end(), other.begin(), other.end()).first;
      common = std::min(common, static_cast<std::size_t>(end - first.begin()));
    }
    for (int i = 0; i < type->value_count(); ++i) {
      const std::string& name = type->value(i)->name();
      const std::string payload = Util::PathText(PayloadIn(record, *type->value(i)));
      if (payload.empty()) continue;
      if (const auto found = differ.find(name); found != differ.end()) {
        EXPECT_EQ(payload, found->second);
        continue;
      }
      std::string letters = Lower(payload);
      letters.erase(std::remove(letters.begin(), letters.end(), '_'), letters.end());
      const auto words = Words(name);
      for (std::size_t word = common; word < words.size(); ++word) {
        EXPECT_NE(letters.find(words[word]), std::string::npos) << name << " " << payload;
      }
    }
  }
}

// Every field that some row makes a payload, or a step to one.
std::set<const FieldDescriptor*> FieldsWithRule() {
  std::set<const FieldDescriptor*> fields;
  for (const Row& row : AllRows()) {
    const Descriptor* record = Util::FindMessageType(row.record);
    for (const char* const path : row.unselected) {
      for (const FieldDescriptor* field : Follow(record, path)) fields.insert(field);
    }
    if (row.selector.empty()) continue;
    const auto* const type = record->FindFieldByName(row.selector)->enum_type();
    for (int i = 0; i < type->value_count(); ++i) {
      for (const FieldDescriptor* field : PayloadIn(record, *type->value(i))) fields.insert(field);
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

TEST(PairingTables, LeaveNoPayloadWithoutAValue) {
  const std::set<const FieldDescriptor*> with_rule = FieldsWithRule();
  // The records, and the messages on the way to payloads that stand deeper.
  std::set<const Descriptor*> records;
  for (const FieldDescriptor* field : with_rule) records.insert(field->containing_type());

  std::set<std::string> common = kCommonToAllKinds;
  for (const Descriptor* record : records) {
    for (const FieldDescriptor* field : SubMessages(record)) {
      if (common.erase(field->full_name()) != 0) continue;
      EXPECT_EQ(with_rule.count(field), 1U)
          << field->full_name() << " is the payload of no kind, nor listed as common to all";
    }
  }
  for (const std::string& name : common) ADD_FAILURE() << name << " is listed, but not there";
}

// Payloads are numbered from 100 in most records of the schema, and nothing else is.
TEST(PairingTables, CoverEveryRecordWhoseSubMessagesAreNumberedLikePayloads) {
  std::set<const Descriptor*> covered;
  for (const FieldDescriptor* field : FieldsWithRule()) covered.insert(field->containing_type());
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    const Descriptor* message = Util::FindMessageType(name);
    for (const FieldDescriptor* field : SubMessages(message)) {
      EXPECT_TRUE(field->number() < 100 || covered.count(message) == 1)
          << field->full_name() << " looks like a payload, but its record has no rule";
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
