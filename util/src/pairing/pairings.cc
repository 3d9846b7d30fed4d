#include "pairing/pairings.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "CmnSys/Util/Schema.h"
#include "pairing/pairing_tables.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

// A field or extension of the record by number.
const FieldDescriptor* FindByNumber(const Descriptor* record, int number) {
  const FieldDescriptor* field = record->FindFieldByNumber(number);
  return field != nullptr ? field
                          : DescriptorPool::generated_pool()->FindExtensionByNumber(record, number);
}

bool IsPayload(const FieldDescriptor* field) {
  return field != nullptr && field->message_type() != nullptr && !field->is_repeated();
}

// The fields that a path names; empty when one of them does not exist.
PayloadPath FindPath(const Descriptor* record, std::string_view path) {
  PayloadPath result;
  while (!path.empty()) {
    const std::string name(path.substr(0, path.find('.')));
    const FieldDescriptor* field = record == nullptr ? nullptr : record->FindFieldByName(name);
    if (!IsPayload(field)) return {};
    result.push_back(field);
    record = field->message_type();
    path.remove_prefix(std::min(path.size(), name.size() + 1));
  }
  return result;
}

PayloadPath PathTo(const FieldDescriptor* field) {
  return IsPayload(field) ? PayloadPath{field} : PayloadPath();
}

bool IsBefore(const PayloadNode& node, const FieldDescriptor* field) {
  return std::less<>()(node.field, field);
}

void AddPath(const PayloadPath& path, std::size_t depth, std::vector<PayloadNode>* nodes) {
  if (depth == path.size()) return;
  auto node = std::lower_bound(nodes->begin(), nodes->end(), path[depth], IsBefore);
  if (node == nodes->end() || node->field != path[depth]) {
    node = nodes->insert(node, PayloadNode{path[depth], {}});
  }
  AddPath(path, depth + 1, &node->below);
}

class Resolver {
 public:
  std::vector<Pairing> Resolve() {
    for (const FixedOffset& row : FixedOffsetTable()) Add(row);
    for (const OffsetWithExceptions& row : OffsetWithExceptionsTable()) Add(row);
    for (const ByName& row : ByNameTable()) Add(row);
    for (const ByExtension& row : ByExtensionTable()) Add(row);
    for (const ByPath& row : ByPathTable()) Add(row);
    for (const ExactlyOne& row : ExactlyOneTable()) Add(row);
    std::sort(pairings_.begin(), pairings_.end(), [](const Pairing& a, const Pairing& b) {
      return a.described.record->full_name() < b.described.record->full_name();
    });
    return std::move(pairings_);
  }

 private:
  // Begins a pairing; nullptr when the record or its selector does not exist.
  Pairing* Begin(const char* record_name, const char* selector_name, PairingPattern pattern) {
    const Descriptor* record = FindMessageType(record_name);
    if (record == nullptr) return nullptr;
    const FieldDescriptor* selector = nullptr;
    if (pattern != PairingPattern::kExactlyOne) {
      selector = record->FindFieldByName(selector_name);
      if (selector == nullptr || selector->enum_type() == nullptr) return nullptr;
    }
    pairings_.emplace_back();
    pairings_.back().described = {record, pattern, selector, {}, false};
    return &pairings_.back();
  }

  // Gives every value of the selector the path that `find` returns for it.
  template <typename Find>
  static void AddValues(Pairing* pairing, const Find& find) {
    const auto* const type = pairing->described.selector->enum_type();
    for (int i = 0; i < type->value_count(); ++i) {
      PayloadPath path = find(*type->value(i));
      AddPath(path, 0, &pairing->payloads);
      pairing->path_of_value.emplace(type->value(i)->number(), std::move(path));
    }
  }

  static const char* FindException(const std::vector<ValueAndPayload>& exceptions,
                                   const EnumValueDescriptor& value) {
    for (const auto& [name, payload] : exceptions) {
      if (value.name() == name) return payload;
    }
    return nullptr;
  }

  void Add(const FixedOffset& row) {
    Pairing* const pairing = Begin(row.record, row.selector, PairingPattern::kFixedOffset);
    if (pairing == nullptr) return;
    AddValues(pairing, [&](const EnumValueDescriptor& value) {
      if (row.unknown != nullptr && value.name() == row.unknown) return PayloadPath();
      return PathTo(pairing->described.record->FindFieldByNumber(value.number() + row.offset));
    });
  }

  void Add(const OffsetWithExceptions& row) {
    Pairing* const pairing = Begin(row.record, row.selector, PairingPattern::kOffsetWithExceptions);
    if (pairing == nullptr) return;
    AddValues(pairing, [&](const EnumValueDescriptor& value) {
      const Descriptor* record = pairing->described.record;
      if (const char* payload = FindException(row.exceptions, value)) {
        pairing->exceptions.insert(value.number());
        return FindPath(record, payload);
      }
      return PathTo(record->FindFieldByNumber(value.number() + row.offset));
    });
  }

  void Add(const ByName& row) {
    Pairing* const pairing = Begin(row.record, row.selector, PairingPattern::kByName);
    if (pairing != nullptr) AddNamedValues(pairing, row.payloads);
  }

  void Add(const ByPath& row) {
    Pairing* const pairing = Begin(row.record, row.selector, PairingPattern::kByPath);
    if (pairing == nullptr) return;
    AddNamedValues(pairing, row.payloads);
    for (const char* path : row.unselected) {
      AddPath(FindPath(pairing->described.record, path), 0, &pairing->payloads);
    }
  }

  static void AddNamedValues(Pairing* pairing, const std::vector<ValueAndPayload>& payloads) {
    AddValues(pairing, [&](const EnumValueDescriptor& value) {
      const char* const path = FindException(payloads, value);
      return path == nullptr ? PayloadPath() : FindPath(pairing->described.record, path);
    });
  }

  void Add(const ByExtension& row) {
    Pairing* const pairing = Begin(row.record, row.selector, PairingPattern::kByExtension);
    if (pairing == nullptr) return;
    AddValues(pairing, [&](const EnumValueDescriptor& value) {
      const Descriptor* record = pairing->described.record;
      if (const char* payload = FindException(row.exceptions, value)) {
        pairing->exceptions.insert(value.number());
        return PathTo(record->file()->FindExtensionByName(payload));
      }
      int number = 0;
      for (const ByExtension::Block& block : row.blocks) {
        if (block.first_value <= value.number()) {
          number = block.first_extension + value.number() - block.first_value;
        }
      }
      return PathTo(DescriptorPool::generated_pool()->FindExtensionByNumber(record, number));
    });
  }

  void Add(const ExactlyOne& row) {
    Pairing* const pairing = Begin(row.record, nullptr, PairingPattern::kExactlyOne);
    if (pairing == nullptr) return;
    PairedRecord& described = pairing->described;
    described.may_be_none = row.may_be_none;
    for (int number = row.first_field; number <= row.last_field; ++number) {
      const PayloadPath path = PathTo(FindByNumber(described.record, number));
      AddPath(path, 0, &pairing->payloads);
      described.alternatives.insert(described.alternatives.end(), path.begin(), path.end());
    }
  }

  std::vector<Pairing> pairings_;
};

}  // namespace

const PayloadNode* FindNode(const std::vector<PayloadNode>& nodes, const FieldDescriptor* field) {
  const auto node = std::lower_bound(nodes.begin(), nodes.end(), field, IsBefore);
  return node == nodes.end() || node->field != field ? nullptr : &*node;
}

const std::vector<Pairing>& Pairings() {
  static const auto* const pairings = new std::vector<Pairing>(Resolver().Resolve());
  return *pairings;
}

const Pairing* FindPairing(const Descriptor* record) {
  static const auto* const by_record = [] {
    auto* result = new std::unordered_map<const Descriptor*, const Pairing*>;
    for (const Pairing& pairing : Pairings()) result->emplace(pairing.described.record, &pairing);
    return result;
  }();
  const auto found = by_record->find(record);
  return found == by_record->end() ? nullptr : found->second;
}

const EnumValueDescriptor* UnknownKind(const Pairing& pairing) {
  if (pairing.described.selector == nullptr) return nullptr;
  const EnumValueDescriptor* const value = pairing.described.selector->default_value_enum();
  const auto path = pairing.path_of_value.find(value->number());
  return path != pairing.path_of_value.end() && path->second.empty() ? value : nullptr;
}

}  // namespace CmnSys::Util
