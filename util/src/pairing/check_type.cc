#include "pairing/check_type.h"

#include <algorithm>
#include <unordered_map>

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

std::vector<const PayloadPath*> PathsOf(const Pairing& pairing) {
  std::vector<const PayloadPath*> paths;
  for (const auto& [value, path] : pairing.path_of_value) paths.push_back(&path);
  return paths;
}

std::vector<NumberIndex::Entry> ValuesOf(const Pairing& pairing) {
  std::vector<NumberIndex::Entry> values;
  for (const auto& [value, path] : pairing.path_of_value) {
    values.push_back({value, static_cast<int>(values.size())});
  }
  return values;
}

std::optional<int> UnknownKindNumber(const Pairing& pairing) {
  const EnumValueDescriptor* const value = UnknownKind(pairing);
  if (value == nullptr) return std::nullopt;
  return value->number();
}

using Heights = std::unordered_map<const Descriptor*, std::optional<int>>;

// See CheckType::height_without_rules. What is found is kept in `known`.
std::optional<int> HeightWithoutRules(const Descriptor& type, Heights* known) {
  // A type that is met below itself has no end yet, and none after all.
  const auto [entry, is_new] = known->emplace(&type, std::nullopt);
  if (!is_new) return entry->second;
  if (type.extension_range_count() > 0 || FindPairing(&type) != nullptr) return std::nullopt;
  int height = 0;
  for (int i = 0; i < type.field_count(); ++i) {
    const Descriptor* const below = type.field(i)->message_type();
    if (below == nullptr) continue;
    const std::optional<int> height_below = HeightWithoutRules(*below, known);
    if (!height_below) return std::nullopt;
    height = std::max(height, 1 + *height_below);
  }
  (*known)[&type] = height;
  return height;
}

}  // namespace

CheckedRecord::CheckedRecord(const Pairing& its_pairing)
    : pairing(its_pairing),
      unknown_kind(UnknownKindNumber(pairing)),
      paths(PathsOf(pairing)),
      path_of_value(ValuesOf(pairing)) {}

void CheckedField::Describe(const FieldDescriptor& described, const Pairing* pairing) {
  field = &described;
  is_message = described.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
  is_repeated = described.is_repeated();
  if (pairing != nullptr) payload = FindNode(pairing->payloads, field);
}

CheckType::CheckType(const Descriptor& type)
    : fields(static_cast<std::size_t>(type.field_count())),
      extensions(type),
      checked_extensions(extensions.all().size()) {
  const Pairing* const pairing = FindPairing(&type);
  if (pairing != nullptr) record.emplace(*pairing);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    fields[i].Describe(*type.field(static_cast<int>(i)), pairing);
    if (fields[i].is_message || fields[i].payload != nullptr) looked_at.push_back(&fields[i]);
  }
  for (std::size_t i = 0; i < checked_extensions.size(); ++i) {
    checked_extensions[i].Describe(*extensions.all()[i], pairing);
  }
  std::sort(looked_at.begin(), looked_at.end(), [](const CheckedField* a, const CheckedField* b) {
    return a->field->number() < b->field->number();
  });
  has_extensions = type.extension_range_count() > 0;
  Heights heights;
  height_without_rules = HeightWithoutRules(type, &heights);
}

}  // namespace CmnSys::Util
