#include "CmnSys/Util/Pairing.h"

#include "pairing/pairings.h"
#include "text/field_path.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

// The field or extension of the generated classes that has the full name of the given one.
const FieldDescriptor* GeneratedField(const FieldDescriptor& field) {
  const DescriptorPool* const pool = DescriptorPool::generated_pool();
  return field.is_extension() ? pool->FindExtensionByName(field.full_name())
                              : pool->FindFieldByName(field.full_name());
}

// The message of the generated classes that has the full name of the given one, or nullptr.
const Descriptor* GeneratedMessage(const Descriptor* message) {
  const DescriptorPool* const pool = DescriptorPool::generated_pool();
  return message->file()->pool() == pool ? message
                                         : pool->FindMessageTypeByName(message->full_name());
}

}  // namespace

std::vector<PairedRecord> PairedRecords() {
  std::vector<PairedRecord> records;
  for (const Pairing& pairing : Pairings()) records.push_back(pairing.described);
  return records;
}

bool IsSelector(const FieldDescriptor& field) {
  const Pairing* const pairing = FindPairing(GeneratedMessage(field.containing_type()));
  return pairing != nullptr && pairing->described.selector != nullptr &&
         pairing->described.selector->full_name() == field.full_name();
}

const PayloadPath& PayloadAt(const Descriptor* record, int value) {
  static const auto* const none = new PayloadPath;
  const Pairing* const pairing = FindPairing(GeneratedMessage(record));
  if (pairing == nullptr) return *none;
  const auto found = pairing->path_of_value.find(value);
  return found == pairing->path_of_value.end() ? *none : found->second;
}

std::vector<SelectedPayload> SelectedPayloads(const EnumValueDescriptor& value) {
  std::vector<SelectedPayload> payloads;
  for (const Pairing& pairing : Pairings()) {
    const FieldDescriptor* const selector = pairing.described.selector;
    if (selector == nullptr || selector->enum_type()->full_name() != value.type()->full_name()) {
      continue;
    }
    const auto found = pairing.path_of_value.find(value.number());
    if (found == pairing.path_of_value.end()) continue;
    const bool exception = pairing.exceptions.count(value.number()) != 0;
    payloads.push_back({pairing.described.record, selector, found->second, exception});
  }
  return payloads;
}

std::vector<const EnumValueDescriptor*> SelectingValues(const FieldDescriptor& payload) {
  std::vector<const EnumValueDescriptor*> values;
  const FieldDescriptor* const field = GeneratedField(payload);
  if (field == nullptr) return values;
  for (const Pairing& pairing : Pairings()) {
    for (const auto& [number, path] : pairing.path_of_value) {
      if (path.empty() || path.back() != field) continue;
      values.push_back(pairing.described.selector->enum_type()->FindValueByNumber(number));
    }
  }
  return values;
}

std::string PathText(const PayloadPath& path) {
  std::string text;
  for (const FieldDescriptor* field : path) AppendField(*field, &text);
  return text;
}

}  // namespace CmnSys::Util
