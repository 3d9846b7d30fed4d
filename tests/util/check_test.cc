#include "CmnSys/Util/Check.h"

#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/Pairing.h"
#include "CmnSys/Util/Schema.h"
#include "all_messages.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using Util::CheckRule;
using Fields = std::vector<const FieldDescriptor*>;
using Lines = std::vector<std::string>;

std::unique_ptr<Message> Parse(const std::string& type, const std::string& text) {
  std::unique_ptr<Message> message = Util::NewMessage(type);
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, message.get())) << text;
  return message;
}

// The violations as lines "PATH: RULE".
Lines Violations(const Message& message, const Util::CheckOptions& options = {}) {
  Lines lines;
  for (const Util::Violation& violation : Util::Check(message, options)) {
    lines.push_back(violation.path + ": " + std::string(Util::RuleName(violation.rule)));
  }
  return lines;
}

Lines ViolationsOf(const std::string& type, const std::string& text) {
  return Violations(*Parse(type, text));
}

// Sets the payload at the end of the path, and so every message on the way to it.
void Set(const Fields& path, Message* message) {
  for (const FieldDescriptor* field : path) {
    message = message->GetReflection()->MutableMessage(message, field);
  }
}

// Calls function(record, value, payload) for every value of every selector.
template <typename Function>
void ForEachSelection(const Function& function) {
  for (const Util::PairedRecord& record : Util::PairedRecords()) {
    if (record.selector == nullptr) continue;
    for (int i = 0; i < record.selector->enum_type()->value_count(); ++i) {
      const EnumValueDescriptor& value = *record.selector->enum_type()->value(i);
      for (const Util::SelectedPayload& selected : Util::SelectedPayloads(value)) {
        if (selected.record == record.record) function(record, value, selected.payload);
      }
    }
  }
}

// A payload of the record that is neither the given one nor above or below it.
Fields OtherPayload(const Util::PairedRecord& record, const Fields& payload) {
  Fields result;
  ForEachSelection([&](const auto& candidate, const auto&, const Fields& other) {
    if (candidate.record != record.record || other.empty() || !result.empty()) return;
    if (payload.empty() || other.front() != payload.front()) result = other;
  });
  return result;
}

std::string MismatchName(Util::PairingPattern pattern) {
  if (pattern == Util::PairingPattern::kByExtension) return "extension-mismatch";
  if (pattern == Util::PairingPattern::kByPath) return "path-mismatch";
  return "payload-mismatch";
}

std::unique_ptr<Message> NewRecord(const Util::PairedRecord& record,
                                   const EnumValueDescriptor& value) {
  std::unique_ptr<Message> message = Util::NewMessage(record.record->full_name());
  message->GetReflection()->SetEnum(message.get(), record.selector, &value);
  return message;
}

TEST(Check, AcceptsEveryKindWithItsPayloadAndMissesThePayloadOrTheSelector) {
  ForEachSelection([](const auto& record, const auto& value, const Fields& payload) {
    const std::unique_ptr<Message> message = NewRecord(record, value);
    // An unset selector reads as its default, which may be a kind, or stand for none.
    const bool is_default = record.selector->default_value_enum() == &value;
    if (is_default && payload.empty()) {
      const Lines no_kind = {record.selector->name() + ": selector-unset"};
      EXPECT_EQ(Violations(*message), no_kind) << value.full_name();
      message->Clear();
      EXPECT_EQ(Violations(*message), no_kind) << value.full_name();
      return;
    }
    EXPECT_EQ(Violations(*message),
              payload.empty() ? Lines{} : Lines{Util::PathText(payload) + ": payload-missing"});
    Set(payload, message.get());
    EXPECT_EQ(Violations(*message), Lines{}) << value.full_name();
    if (payload.empty()) return;
    message->GetReflection()->ClearField(message.get(), record.selector);
    EXPECT_EQ(Violations(*message),
              is_default ? Lines{} : Lines{record.selector->name() + ": selector-unset"})
        << value.full_name();
  });
}

TEST(Check, FindsThePayloadOfAnotherKindAloneAndBesideTheRightOne) {
  int checked = 0;
  ForEachSelection([&](const auto& record, const auto& value, const Fields& payload) {
    const Fields other = OtherPayload(record, payload);
    if (other.empty()) return;  // All payloads of the record are of this kind.
    ++checked;
    const std::unique_ptr<Message> message = NewRecord(record, value);
    Set(other, message.get());
    const std::string top = Util::PathText({other.front()});
    EXPECT_EQ(Violations(*message), Lines{top + ": " + MismatchName(record.pattern)})
        << value.full_name();
    if (payload.empty()) return;
    Set(payload, message.get());
    EXPECT_EQ(Violations(*message), Lines{top + ": several-payloads"}) << value.full_name();
  });
  EXPECT_GT(checked, 300);
}

TEST(Check, AsksForOneAlternativeWhereNothingSelectsAndForPartsOfAPayload) {
  const struct {
    const char* type;
    const char* text;
    Lines violations;
  } cases[] = {
      {"Pb.CmnSys.DeviceCmds.DeviceCmd", "deviceCmdReboot {}", {}},
      {"Pb.CmnSys.DeviceCmds.DeviceCmd",
       "deviceCmdPTZStopAll {} deviceCmdReboot {} deviceCmdDefogging {}",
       {"deviceCmdReboot: several-alternatives", "deviceCmdDefogging: several-alternatives"}},
      {"Pb.CmnSys.SiteViews.Site",
       "entries { group { entries {} entries { entry {} } } } entries { entry {} group {} }",
       {"entries[0].group.entries[0]: alternative-missing",
        "entries[1].group: several-alternatives"}},
      // A yearly recurrence is a monthly one with a yearly part.
      {"Pb.CmnSys.Schedule.Recurrence",
       "type: RECURRENCE_YEARLY recurrence_monthly {}",
       {"recurrence_monthly.recurrence_yearly: payload-missing"}},
      {"Pb.CmnSys.Schedule.Recurrence",
       "type: RECURRENCE_MONTHLY recurrence_monthly { recurrence_yearly {} }",
       {"recurrence_monthly.recurrence_yearly: several-payloads"}},
      // Complete without any.
      {"Pb.CmnSys.Maps.MapObject", "", {}},
      {"Pb.CmnSys.Maps.MapObject",
       "[Pb.CmnSys.Maps.mapObjectDevice] {} [Pb.CmnSys.Maps.mapObjectMap] {}",
       {"[Pb.CmnSys.Maps.mapObjectMap]: several-alternatives"}},
  };
  for (const auto& [type, text, violations] : cases) {
    EXPECT_EQ(ViolationsOf(type, text), violations) << type << " " << text;
  }
}

TEST(Check, HoldsAStateChangeAgainstThePathOfItsType) {
  const std::string type = "Pb.CmnSys.SavedViews.StateChange.StateChange";
  const std::string zoom = "type: STATE_CHANGE_TYPE_WEB_PANEL_ZOOM ";
  const std::pair<std::string, Lines> cases[] = {
      {"saved_view_op { child_panel_op { web_panel_op { webp_zoom {} } } }", {}},
      // On the way, but not at the end.
      {"saved_view_op { child_panel_op { web_panel_op {} } }",
       {"saved_view_op.child_panel_op.web_panel_op.webp_zoom: payload-missing"}},
      // Off the way at the first level and at the last.
      {"complete_update {}", {"complete_update: path-mismatch"}},
      {"saved_view_op { child_panel_op { web_panel_op { webp_navigate {} } } }",
       {"saved_view_op.child_panel_op.web_panel_op.webp_navigate: path-mismatch"}},
      // An operation that no type stands for.
      {"saved_view_op { child_panel_op { empty_panel_op {} } }",
       {"saved_view_op.child_panel_op.empty_panel_op: path-mismatch"}},
      {"saved_view_op { set_name {} child_panel_op { web_panel_op { webp_zoom {} } "
       "armed_panel_op {} } }",
       {"saved_view_op.child_panel_op.armed_panel_op: several-payloads",
        "saved_view_op.set_name: several-payloads"}},
  };
  for (const auto& [text, violations] : cases) {
    const Lines found = ViolationsOf(type, zoom + text);
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()),
              std::set<std::string>(violations.begin(), violations.end()))
        << text;
  }
}

TEST(Check, DescendsIntoListsAndExtensionsAndNamesTheWay) {
  EXPECT_EQ(
      ViolationsOf("Pb.CmnSys.Notifications.NotificationList",
                   "notifications { notification_type: NOTIFICATION_SYSTEM_SHUTDOWN"
                   "  notification_system_shutdown {} }"
                   "notifications { notification_type: NOTIFICATION_EVENT notification_event {"
                   "  event { event_type: EVENT_ALARM_TRIGGERED"
                   "    [Pb.CmnSys.Events.event_alarm_triggered] {"
                   "      alarm_trigger { trigger_type: ALARM_TRIGGER_TYPE_EVENT } } } } }"),
      Lines{"notifications[1].notification_event.event.[Pb.CmnSys.Events.event_alarm_triggered]."
            "alarm_trigger.trigger_event: payload-missing"});
}

TEST(Check, SaysInASentenceWhatIsWrong) {
  const struct {
    const char* type;
    const char* text;
    const char* sentence;
  } cases[] = {
      {"Pb.CmnSys.Iota", "", "type is not set, so readers cannot tell the kind"},
      {"Pb.CmnSys.Iota", "type: IOTA_TYPE_UNKNOWN",
       "type is IOTA_TYPE_UNKNOWN, so readers cannot tell the kind"},
      {"Pb.CmnSys.Iota", "iota_u32 {}", "type is not set, so readers do not look at iota_u32"},
      {"Pb.CmnSys.SavedViews.ChildPanel", "",
       "type, not being set, reads as CHILD_PANEL_EMPTY, but its payload empty_panel is not set"},
      {"Pb.CmnSys.Iota", "type: IOTA_TYPE_U32",
       "type is IOTA_TYPE_U32, but its payload iota_u32 is not set"},
      {"Pb.CmnSys.Iota", "type: IOTA_TYPE_U32 iota_bool {}",
       "type is IOTA_TYPE_U32, whose payload is iota_u32, but iota_bool is set"},
      {"Pb.CmnSys.Iota", "type: IOTA_TYPE_U32 iota_u32 {} iota_bool {}",
       "type is IOTA_TYPE_U32, whose payload iota_u32 is set, but iota_bool is set too"},
      {"Pb.CmnSys.SiteViews.BaseEntry", "",
       "none of the 2 alternatives of Pb.CmnSys.SiteViews.BaseEntry is set"},
  };
  for (const auto& [type, text, sentence] : cases) {
    const std::vector<Util::Violation> violations = Util::Check(*Parse(type, text));
    ASSERT_EQ(violations.size(), 1U) << type << " " << text;
    EXPECT_EQ(violations[0].sentence, sentence);
  }
}

TEST(Check, AllowsForWhatANewerSchemaMayHold) {
  const struct {
    const char* type;
    std::string bytes;
  } cases[] = {
      // Type 23 beside a bool; the payload of type 23 may be anything.
      {"Pb.CmnSys.Iota", "\x08\x17\xd2\x0c\x02\x08\x01"},
      // Event type 5001.
      {"Pb.CmnSys.Events.Event", "\x78\x89\x27"},
      // A command numbered after the known ones.
      {"Pb.CmnSys.DeviceCmds.DeviceCmd", std::string("\xda\x01\x00", 3)},
      // An extension that nobody declares, beside the right one.
      {"Pb.CmnSys.Events.Event",
       Parse("Pb.CmnSys.Events.Event",
             "event_type: EVENT_USER_LOGIN [Pb.CmnSys.Events.event_user_login] {}")
               ->SerializeAsString() +
           std::string("\xfa\xf0\x04\x00", 4)},
  };
  for (const auto& [type, bytes] : cases) {
    const std::unique_ptr<Message> message = Util::NewMessage(type);
    ASSERT_TRUE(message->ParseFromString(bytes)) << type;
    const auto& unknown = message->GetReflection()->GetUnknownFields(*message);
    ASSERT_FALSE(unknown.empty()) << type;
    EXPECT_EQ(Violations(*message), Lines{}) << type;
  }
}

TEST(Check, StopsAtItsLimitsAndSaysSo) {
  const std::string open =
      "type: IOTA_TYPE_LOCALIZED_STRING iota_localized_string { val { arguments { ";
  const std::unique_ptr<Message> nested =
      Parse("Pb.CmnSys.Iota", open + open + "type: IOTA_TYPE_U32 } } } } } }");
  Util::CheckOptions options;
  options.max_depth = 6;
  const std::string deepest =
      "iota_localized_string.val.arguments[0].iota_localized_string.val.arguments[0]";
  EXPECT_EQ(Violations(*nested, options), Lines{deepest + ".iota_u32: payload-missing"});
  options.max_depth = 5;
  EXPECT_EQ(Violations(*nested, options), Lines{deepest + ": depth-limit"});

  const std::unique_ptr<Message> list =
      Parse("Pb.CmnSys.LocalizedString", "arguments {} arguments {} arguments {}");
  options.max_violations = 2;
  EXPECT_EQ(Violations(*list, options),
            (Lines{"arguments[0].type: selector-unset", "arguments[1].type: selector-unset"}));
}

TEST(Check, DocumentationListsItsRulesAndRecords) {
  const std::string page = ReadFile(CMNSYS_DOCS "/checker.md");
  for (int i = 0; i <= static_cast<int>(CheckRule::kDepthLimit); ++i) {
    const std::string name(Util::RuleName(static_cast<CheckRule>(i)));
    EXPECT_NE(page.find("\n| `" + name + "` | "), std::string::npos) << name;
  }
  // In the order of PairingPattern.
  const char* const patterns[] = {"fixed offset", "offset with exceptions",
                                  "by name",      "by extension",
                                  "by path",      "exactly one"};
  std::string table = "| Record | Selector | Pattern |\n|---|---|---|\n";
  for (const Util::PairedRecord& record : Util::PairedRecords()) {
    table += "| `" + record.record->full_name() + "` | " +
             (record.selector == nullptr ? "none" : "`" + record.selector->name() + "`") + " | " +
             patterns[static_cast<int>(record.pattern)] + " |\n";
  }
  const std::size_t start = page.find("| Record |");
  ASSERT_NE(start, std::string::npos);
  EXPECT_EQ(page.substr(start), table) << "put the second table into docs/checker.md";
}

}  // namespace
}  // namespace CmnSys::Test
