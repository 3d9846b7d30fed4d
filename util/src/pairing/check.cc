#include "CmnSys/Util/Check.h"

#include <utility>

#include "CmnSys/Util/Pairing.h"
#include "pairing/pairings.h"
#include "text/field_path.h"

namespace CmnSys::Util {

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

using Fields = std::vector<const FieldDescriptor*>;

Fields SetFields(const Message& message) {
  Fields fields;
  message.GetReflection()->ListFields(message, &fields);
  return fields;
}

// Looks for payloads among the set fields of the message, and below the wanted one. `nodes` are the
// payloads that the message may have, `depth` is the number of fields of the wanted path that lead
// to it.
void FindPayloads(const Message& message, const Fields& set, const std::vector<PayloadNode>& nodes,
                  const PayloadPath& wanted, std::size_t depth, SetPayloads* found) {
  for (const FieldDescriptor* field : set) {
    const PayloadNode* const node = FindNode(nodes, field);
    if (node == nullptr) continue;
    if (depth < wanted.size() && wanted[depth] == field) {
      if (depth + 1 == wanted.size()) found->wanted = true;
      if (node->below.empty()) continue;
      const Message& below = message.GetReflection()->GetMessage(message, field);
      FindPayloads(below, SetFields(below), node->below, wanted, depth + 1, found);
    } else {
      PayloadPath path(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(depth));
      path.push_back(field);
      found->others.push_back(std::move(path));
    }
  }
}

bool HasUnknownField(const Message& message, int number) {
  const UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
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

  void CheckMessage(const Message& message, const Step* step, int depth) {
    if (Full()) return;
    if (depth > options_.max_depth) {
      Report(step, {}, CheckRule::kDepthLimit,
             "messages nested more than " + std::to_string(options_.max_depth) +
                 " deep are not checked; raise the depth limit to check them");
      return;
    }
    const Fields set = SetFields(message);
    if (const Pairing* pairing = FindPairing(message.GetDescriptor())) {
      if (pairing->described.selector != nullptr) {
        CheckSelected(message, set, *pairing, step);
      } else {
        CheckAlternatives(message, set, *pairing, step);
      }
    }
    CheckSubMessages(message, set, step, depth);
  }

  std::vector<Violation> TakeViolations() { return std::move(violations_); }

 private:
  void CheckSubMessages(const Message& message, const Fields& set, const Step* step, int depth) {
    const Reflection* const reflection = message.GetReflection();
    for (const FieldDescriptor* field : set) {
      if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
      if (!field->is_repeated()) {
        const Step below = {step, field, -1};
        CheckMessage(reflection->GetMessage(message, field), &below, depth + 1);
        continue;
      }
      const int count = reflection->FieldSize(message, field);
      for (int i = 0; i < count && !Full(); ++i) {
        const Step below = {step, field, i};
        CheckMessage(reflection->GetRepeatedMessage(message, field, i), &below, depth + 1);
      }
    }
  }

  void CheckSelected(const Message& message, const Fields& set, const Pairing& pairing,
                     const Step* step) {
    const FieldDescriptor* const selector = pairing.described.selector;
    const Reflection* const reflection = message.GetReflection();
    const bool is_set = reflection->HasField(message, selector);
    if (!is_set && HasUnknownField(message, selector->number())) return;
    const EnumValueDescriptor* const kind =
        is_set ? reflection->GetEnum(message, selector) : selector->default_value_enum();
    const auto path = pairing.path_of_value.find(kind->number());
    if (path == pairing.path_of_value.end()) return;

    const PayloadPath& wanted = path->second;
    SetPayloads found;
    FindPayloads(message, set, pairing.payloads, wanted, 0, &found);
    if (kind == UnknownKind(pairing) && found.others.empty()) {
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

  void CheckAlternatives(const Message& message, const Fields& set, const Pairing& pairing,
                         const Step* step) {
    SetPayloads found;
    FindPayloads(message, set, pairing.payloads, {}, 0, &found);
    if (found.others.empty()) {
      const bool may_be_unknown = !message.GetReflection()->GetUnknownFields(message).empty();
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
  checker.CheckMessage(message, nullptr, 0);
  return checker.TakeViolations();
}

}  // namespace CmnSys::Util
