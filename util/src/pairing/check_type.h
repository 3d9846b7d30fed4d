// What the checker looks at in a type, worked out once for each type.

#ifndef CMNSYS_UTIL_SRC_PAIRING_CHECK_TYPE_H_
#define CMNSYS_UTIL_SRC_PAIRING_CHECK_TYPE_H_

#include <google/protobuf/descriptor.h>

#include <atomic>
#include <optional>
#include <vector>

#include "pairing/pairings.h"
#include "tables/extensions.h"
#include "tables/indexes.h"
#include "tables/type_tables.h"

namespace CmnSys::Util {

struct CheckType;

// How a record ties payloads to its selector.
struct CheckedRecord {
  explicit CheckedRecord(const Pairing& pairing);

  const Pairing& pairing;
  // See UnknownKind.
  std::optional<int> unknown_kind;
  std::vector<const PayloadPath*> paths;
  NumberIndex path_of_value;  // Into `paths`.
};

struct CheckedField {
  CheckedField() = default;
  // `pairing` is that of the record that holds the field, or nullptr.
  CheckedField(const google::protobuf::FieldDescriptor& described, const Pairing* pairing) {
    Describe(described, pairing);
  }
  void Describe(const google::protobuf::FieldDescriptor& described, const Pairing* pairing);

  const google::protobuf::FieldDescriptor* field = nullptr;
  bool is_message = false;
  bool is_repeated = false;
  const PayloadNode* payload = nullptr;
  // Looked up when first asked for, since types may hold themselves.
  mutable std::atomic<const CheckType*> type{nullptr};
};

struct CheckType {
  explicit CheckType(const google::protobuf::Descriptor& type);

  std::optional<CheckedRecord> record;
  std::vector<CheckedField> fields;  // By index.
  Extensions extensions;
  std::vector<CheckedField> checked_extensions;  // As in `extensions`.

  // The fields that are messages or payloads, by number.
  std::vector<const CheckedField*> looked_at;
  bool has_extensions;  // Has ranges for them.
  // How deep messages of the type are nested at most where no rule holds in any of them; nothing
  // where a rule may hold, or where they may be nested without end.
  std::optional<int> height_without_rules;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_PAIRING_CHECK_TYPE_H_
