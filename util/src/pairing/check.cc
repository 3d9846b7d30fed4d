#include "CmnSys/Util/Check.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "CmnSys/Util/Pairing.h"
#include "pairing/check_type.h"
#include "pairing/pairings.h"
#include "tables/extension_count.h"
#include "tables/field_lists.h"
#include "tables/type_tables.h"
#include "text/field_path.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;

namespace {

// A step from a message into one of its sub-messages, linked to the steps before it.
struct Step {
  const Step* before;
  const FieldDescriptor* field;
  int index;  // -1 unless the field is repeated.
};

void AppendSteps(const Step* step, std::string* path) {
  if (step == nullptr) return;
  AppendSteps(step->before, path);
  AppendField(*step->field, path);
  if (step->index >= 0) AppendIndex(step->index, path);
}

// The payloads that are set in a record.
struct SetPayloads {
  bool wanted = false;              // The one that is looked for.
  std::vector<PayloadPath> others;  // All others.
};

using Fields = FieldLists::Fields;

void FindPayloadsBelow(const Message& message, const PayloadNode& node, const PayloadPath& wanted,
                       std::size_t depth, SetPayloads* found);

// Looks for payloads among the set fields of the message, and below the wanted one. node_of(field)
// is the payload that a field is, or nullptr; `depth` is the number of fields of the wanted path
// that lead to the message.
template <typename NodeOf>
void FindPayloads(const Message& message, const Fields& set, const NodeOf& node_of,
                  const PayloadPath& wanted, std::size_t depth, SetPayloads* found) {
  for (const FieldDescriptor* field : set) {
    const PayloadNode* const node = node_of(*field);
    if (node == nullptr) continue;
    if (depth < wanted.size() && wanted[depth] == field) {
      if (depth + 1 == wanted.size()) found->wanted = true;
      if (!node->below.empty()) FindPayloadsBelow(message, *node, wanted, depth, found);
    } else {
      PayloadPath path(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(depth));
      path.push_back(field);
      found->others.push_back(std::move(path));
    }
  }
}

// The same in the message that is the payload at a node, or leads to it.
void FindPayloadsBelow(const Message& message, const PayloadNode& node, const PayloadPath& wanted,
                       std::size_t depth, SetPayloads* found) {
  const Message& below = message.GetReflection()->GetMessage(message, node.field);
  Fields set;
  below.GetReflection()->ListFields(below, &set);
  FindPayloads(
      below, set, [&node](const FieldDescriptor& field) { return FindNode(node.below, &field); },
      wanted, depth + 1, found);
}

bool HasUnknownField(const Message& message, const Reflection& reflection, int number) {
  const UnknownFieldSet& unknown = reflection.GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    if (unknown.field(i).number() == number) return true;
  }
  return false;
}

CheckRule MismatchRule(PairingPattern pattern) {
  switch (pattern) {
    case PairingPattern::kByExtension:
      return CheckRule::kExtensionMismatch;
    case PairingPattern::kByPath:
      return CheckRule::kPathMismatch;
    default:
      return CheckRule::kPayloadMismatch;
  }
}

class Checker {
 public:
  explicit Checker(const CheckOptions& options) : options_(options) {}

  void CheckRoot(const Message& message) {
    CheckMessage(message, types_.Of(*message.GetDescriptor()), nullptr, 0);
  }

  std::vector<Violation> TakeViolations() { return std::move(violations_); }

 private:
  void CheckMessage(const Message& message, const CheckType& type, const Step* step, int depth) {
    if (Full()) return;
    if (depth > options_.max_depth) {
      Report(step, {}, CheckRule::kDepthLimit,
             "messages nested more than " + std::to_string(options_.max_depth) +
                 " deep are not checked; raise the depth limit to check them");
      return;
    }
    const Reflection& reflection = *message.GetReflection();
    if (!type.record && !type.has_extensions) {
      for (const CheckedField* field : type.looked_at) {
        if (IsSet(message, reflection, *field->field)) {
          CheckBelow(message, reflection, *field, step, depth);
        }
      }
      return;
    }
    FieldLists::Set set(&lists_);
    List(message, reflection, type, &*set);
    if (type.record) {
      if (type.record->pairing.described.selector != nullptr) {
        CheckSelected(message, reflection, *set, type, step);
      } else {
        CheckAlternatives(message, reflection, *set, type, step);
      }
    }
    for (const FieldDescriptor* descriptor : *set) {
      const CheckedField& field = FieldOf(type, *descriptor);
      if (field.is_message) CheckBelow(message, reflection, field, step, depth);
    }
  }

  static bool IsSet(const Message& message, const Reflection& reflection,
                    const FieldDescriptor& field) {
    return field.is_repeated() ? reflection.FieldSize(message, &field) > 0
                               : reflection.HasField(message, &field);
  }

  // Lists, by number, the set fields that are looked at, and perhaps others.
  static void List(const Message& message, const Reflection& reflection, const CheckType& type,
                   Fields* set) {
    const FieldDescriptor* const likely =
        type.has_extensions ? LikelyExtension(message, reflection, type) : nullptr;
    const bool is_set = likely != nullptr && IsSet(message, reflection, *likely);
    // To list all fields takes longer, and looks extensions up under a lock.
    if (!type.has_extensions || CountExtensions(message, reflection) > (is_set ? 1 : 0)) {
      reflection.ListFields(message, set);
      return;
    }
    for (const CheckedField* field : type.looked_at) {
      if (IsSet(message, reflection, *field->field)) set->push_back(field->field);
    }
    if (!is_set) return;
    const auto before = [](const FieldDescriptor* a, const FieldDescriptor* b) {
      return a->number() < b->number();
    };
    set->insert(std::upper_bound(set->begin(), set->end(), likely, before), likely);
  }

  // The extension that the selector of the message asks for, or nullptr.
  static const FieldDescriptor* LikelyExtension(const Message& message,
                                                const Reflection& reflection,
                                                const CheckType& type) {
    if (!type.record || type.record->pairing.described.selector == nullptr) return nullptr;
    const PayloadPath* const wanted = WantedOf(message, reflection, *type.record);
    if (wanted == nullptr || wanted->empty() || !wanted->front()->is_extension()) return nullptr;
    return wanted->front();
  }

  // What the selector of the message asks for; nullptr where no rule holds for its value.
  static const PayloadPath* WantedOf(const Message& message, const Reflection& reflection,
                                     const CheckedRecord& record) {
    // An unset selector reads as its default.
    const int number = reflection.GetEnumValue(message, record.pairing.described.selector);
    const int path = record.path_of_value.Find(number);
    return path < 0 ? nullptr : record.paths[static_cast<std::size_t>(path)];
  }

  // What a field of the message holds.
  void CheckBelow(const Message& message, const Reflection& reflection, const CheckedField& field,
                  const Step* step, int depth) {
    const CheckType& type = TypeOf(field);
    if (type.height_without_rules && *type.height_without_rules < options_.max_depth - depth) {
      return;
    }
    if (!field.is_repeated) {
      const Step below = {step, field.field, -1};
      CheckMessage(reflection.GetMessage(message, field.field), type, &below, depth + 1);
      return;
    }
    const int count = reflection.FieldSize(message, field.field);
    for (int i = 0; i < count && !Full(); ++i) {
      const Step below = {step, field.field, i};
      CheckMessage(reflection.GetRepeatedMessage(message, field.field, i), type, &below, depth + 1);
    }
  }

  const CheckType& TypeOf(const CheckedField& field) {
    const CheckType* type = field.type.load(std::memory_order_acquire);
    if (type == nullptr) {
      type = &types_.Of(*field.field->message_type());
      field.type.store(type, std::memory_order_release);
    }
    return *type;
  }

  const CheckedField& FieldOf(const CheckType& type, const FieldDescriptor& field) {
    if (!field.is_extension()) return type.fields[static_cast<std::size_t>(field.index())];
    const int index = type.extensions.IndexOf(field);
    if (index >= 0) return type.checked_extensions[static_cast<std::size_t>(index)];
    return late_extensions_.try_emplace(&field, field, PairingOf(type)).first->second;
  }

  static const Pairing* PairingOf(const CheckType& type) {
    return type.record ? &type.record->pairing : nullptr;
  }

  SetPayloads FindPayloadsOf(const CheckType& type, const Message& message, const Fields& set,
                             const PayloadPath& wanted) {
    SetPayloads found;
    FindPayloads(
        message, set, [&](const FieldDescriptor& field) { return FieldOf(type, field).payload; },
        wanted, 0, &found);
    return found;
  }

  void CheckSelected(const Message& message, const Reflection& reflection, const Fields& set,
                     const CheckType& type, const Step* step) {
    const CheckedRecord& record = *type.record;
    const Pairing& pairing = record.pairing;
    const FieldDescriptor* const selector = pairing.described.selector;
    const bool is_set = reflection.HasField(message, selector);
    if (!is_set && HasUnknownField(message, reflection, selector->number())) return;
    const PayloadPath* const path = WantedOf(message, reflection, record);
    if (path == nullptr) return;

    const PayloadPath& wanted = *path;
    const SetPayloads found = FindPayloadsOf(type, message, set, wanted);
    if (found.wanted && found.others.empty()) return;
    const int number = reflection.GetEnumValue(message, selector);
    const EnumValueDescriptor* const kind = selector->enum_type()->FindValueByNumber(number);
    if (number == record.unknown_kind && found.others.empty()) {
      // Readers cannot tell an unset selector from one that is set to what it reads as then.
      Report(step, {selector}, CheckRule::kSelectorUnset,
             selector->name() + (is_set ? " is " + kind->name() : " is not set") +
                 ", so readers cannot tell the kind");
    } else if (is_set) {
      ReportPayloads(pairing, selector->name() + " is " + kind->name(), wanted, found, step);
    } else if (wanted.empty()) {
      Report(step, {selector}, CheckRule::kSelectorUnset,
             selector->name() + " is not set, so readers do not look at " +
                 PathText(found.others.front()));
    } else if (!found.wanted && !found.others.empty()) {
      Report(step, {selector}, CheckRule::kSelectorUnset,
             selector->name() + " is not set and reads as " + kind->name() +
                 ", so readers do not look at " + PathText(found.others.front()));
    } else {
      ReportPayloads(pairing, selector->name() + ", not being set, reads as " + kind->name(),
                     wanted, found, step);
    }
  }

  // Reports what is wrong with the payloads of a record; `kind` begins the sentence.
  void ReportPayloads(const Pairing& pairing, const std::string& kind, const PayloadPath& wanted,
                      const SetPayloads& found, const Step* step) {
    if (!wanted.empty() && !found.wanted && found.others.empty()) {
      Report(step, wanted, CheckRule::kPayloadMissing,
             kind + ", but its payload " + PathText(wanted) + " is not set");
    }
    for (const PayloadPath& other : found.others) {
      if (found.wanted) {
        Report(step, other, CheckRule::kSeveralPayloads,
               kind + ", whose payload " + PathText(wanted) + " is set, but " + PathText(other) +
                   " is set too");
      } else {
        Report(step, other, MismatchRule(pairing.described.pattern),
               kind +
                   (wanted.empty() ? ", which has no payload"
                                   : ", whose payload is " + PathText(wanted)) +
                   ", but " + PathText(other) + " is set");
      }
    }
  }

  void CheckAlternatives(const Message& message, const Reflection& reflection, const Fields& set,
                         const CheckType& type, const Step* step) {
    const Pairing& pairing = type.record->pairing;
    const SetPayloads found = FindPayloadsOf(type, message, set, {});
    if (found.others.empty()) {
      const bool may_be_unknown = !reflection.GetUnknownFields(message).empty();
      if (!pairing.described.may_be_none && !may_be_unknown) {
        Report(step, {}, CheckRule::kAlternativeMissing,
               "none of the " + std::to_string(pairing.payloads.size()) + " alternatives of " +
                   pairing.described.record->full_name() + " is set");
      }
      return;
    }
    for (std::size_t i = 1; i < found.others.size(); ++i) {
      Report(step, found.others[i], CheckRule::kSeveralAlternatives,
             PathText(found.others[i]) + " is set beside " + PathText(found.others[0]) +
                 ", but only one alternative may be");
    }
  }

  void Report(const Step* step, const PayloadPath& fields, CheckRule rule, std::string sentence) {
    if (Full()) return;
    Violation violation;
    AppendSteps(step, &violation.path);
    for (const FieldDescriptor* field : fields) AppendField(*field, &violation.path);
    violation.rule = rule;
    violation.sentence = std::move(sentence);
    violations_.push_back(std::move(violation));
  }

  bool Full() const { return violations_.size() >= options_.max_violations; }

  const CheckOptions& options_;
  TypeTables<Descriptor, CheckType> types_;
  // Those that came after their type's table.
  std::unordered_map<const FieldDescriptor*, CheckedField> late_extensions_;
  FieldLists lists_;
  std::vector<Violation> violations_;
};

}  // namespace

std::string_view RuleName(CheckRule rule) {
  switch (rule) {
    case CheckRule::kSelectorUnset:
      return "selector-unset";
    case CheckRule::kPayloadMissing:
      return "payload-missing";
    case CheckRule::kPayloadMismatch:
      return "payload-mismatch";
    case CheckRule::kExtensionMismatch:
      return "extension-mismatch";
    case CheckRule::kPathMismatch:
      return "path-mismatch";
    case CheckRule::kSeveralPayloads:
      return "several-payloads";
    case CheckRule::kAlternativeMissing:
      return "alternative-missing";
    case CheckRule::kSeveralAlternatives:
      return "several-alternatives";
    case CheckRule::kDepthLimit:
      return "depth-limit";
  }
  return "";
}

std::vector<Violation> Check(const Message& message, const CheckOptions& options) {
  Checker checker(options);
  checker.CheckRoot(message);
  return checker.TakeViolations();
}

}  // namespace CmnSys::Util
