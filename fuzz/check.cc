// The checker on a message of any type.
//
// It leaves the message as it is, every path leads to what the message has or may have, and records
// are not blamed whose selector holds a number that the enum does not declare.

#include "CmnSys/Util/Check.h"

#include <charconv>
#include <map>

#include "CmnSys/Util/Pairing.h"
#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

// The next field of a path, which is shortened by it; null when the type does not have it.
const FieldDescriptor* TakeField(const Message& message, std::string_view* path) {
  const auto* type = message.GetDescriptor();
  const bool extension = path->front() == '[';
  const std::size_t end = extension ? path->find(']') : path->find_first_of(".[");
  if (extension && end == std::string_view::npos) return nullptr;
  const std::string name(path->substr(extension ? 1 : 0, extension ? end - 1 : end));
  path->remove_prefix(std::min(path->size(), extension ? end + 1 : end));
  return extension ? type->file()->pool()->FindExtensionByName(name) : type->FindFieldByName(name);
}

bool HasUnknown(const Message& message, int number) {
  const auto& unknown = message.GetReflection()->GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    if (unknown.field(i).number() == number) return true;
  }
  return false;
}

// What ties a record's payloads to its kind, or null for messages that follow no rule.
const Util::PairedRecord* PairingOf(const Message& message) {
  static const auto* const records = [] {
    auto* map = new std::map<const google::protobuf::Descriptor*, Util::PairedRecord>;
    for (const Util::PairedRecord& record : Util::PairedRecords()) (*map)[record.record] = record;
    return map;
  }();
  const auto found = records->find(message.GetDescriptor());
  return found == records->end() ? nullptr : &found->second;
}

// Follows a path as far as the message has it. Returns the last message on the way that is a paired
// record, not the payload at its end, or null where the path leads nowhere.
const Message* RecordAt(const Message& message, std::string_view path) {
  const Message* at = &message;
  const Message* record = nullptr;
  while (true) {
    if (path.empty()) return record == nullptr ? at : record;
    if (PairingOf(*at) != nullptr) record = at;
    const FieldDescriptor* field = TakeField(*at, &path);
    if (field == nullptr) return nullptr;
    const auto* reflection = at->GetReflection();
    if (!path.empty() && path.front() == '[' && field->is_repeated()) {
      int index = -1;
      std::from_chars(path.data() + 1, path.data() + path.size(), index);
      if (index < 0 || index >= reflection->FieldSize(*at, field)) return nullptr;
      path.remove_prefix(path.find(']') + 1);
      at = &reflection->GetRepeatedMessage(*at, field, index);
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE && !field->is_repeated()) {
      // Of a sub-message that is not set this is the default instance: its type is what counts.
      at = &reflection->GetMessage(*at, field);
    } else {
      return path.empty() ? record : nullptr;
    }
    if (!path.empty() && path.front() == '.') path.remove_prefix(1);
  }
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return;
  const auto message = split.New();
  if (!kWireForm.read(split.content, message.get())) return;
  const std::string before = Bytes(*message);
  const auto violations = Util::Check(*message);
  Expect(Bytes(*message) == before, "the message is as it was");
  for (const Util::Violation& violation : violations) {
    Expect(!violation.sentence.empty() && violation.sentence.find('\n') == std::string::npos,
           "a violation is one line");
    if (violation.rule == Util::CheckRule::kDepthLimit) continue;
    const Message* record = RecordAt(*message, violation.path);
    Expect(record != nullptr && PairingOf(*record) != nullptr,
           violation.path + " leads to a record");
    // The record itself is blamed where none of its alternatives is set; it has no selector.
    if (violation.rule == Util::CheckRule::kAlternativeMissing) continue;
    const auto* selector = PairingOf(*record)->selector;
    Expect(selector == nullptr || record->GetReflection()->HasField(*record, selector) ||
               !HasUnknown(*record, selector->number()),
           violation.path + " has an unknown selector");
  }
}

const Registration kRegistration({"check", Run, WireSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
