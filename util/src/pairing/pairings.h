// The pairing tables resolved against the descriptors of the generated classes.

#ifndef CMNSYS_UTIL_SRC_PAIRING_PAIRINGS_H_
#define CMNSYS_UTIL_SRC_PAIRING_PAIRINGS_H_

#include <google/protobuf/descriptor.h>

#include <map>
#include <set>
#include <vector>

#include "CmnSys/Util/Pairing.h"

namespace CmnSys::Util {

// A payload, or a step to one, with the payloads that exclude one another inside it.
struct PayloadNode {
  const google::protobuf::FieldDescriptor* field = nullptr;
  std::vector<PayloadNode> below;  // Sorted for FindNode.
};

// The node of a field, or nullptr. O(log nodes).
const PayloadNode* FindNode(const std::vector<PayloadNode>& nodes,
                            const google::protobuf::FieldDescriptor* field);

struct Pairing {
  PairedRecord described;
  std::vector<PayloadNode> payloads;  // Sorted for FindNode.
  // The path to the payload of each value, empty for a value without payload. Empty map when there
  // is no selector.
  std::map<int, PayloadPath> path_of_value;
  // The values for which the rule of the record does not hold.
  std::set<int> exceptions;
};

// The value that stands for no kind at all: the one that an unset selector reads as, when it has no
// payload. nullptr where every value is a kind, and where there is no selector.
const google::protobuf::EnumValueDescriptor* UnknownKind(const Pairing& pairing);

// All pairings, by full name of the record. Built at first use; lives as long as the process. A row
// whose names the loaded schema does not have is left out; the tests see to it that there is none.
// Thread-safe.
const std::vector<Pairing>& Pairings();

// The pairing of a record, or nullptr when it follows no rule. Thread-safe; O(1).
const Pairing* FindPairing(const google::protobuf::Descriptor* record);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_PAIRING_PAIRINGS_H_
