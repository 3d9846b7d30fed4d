// Which payload goes with which value of a selector.
//
// A record that holds one of several kinds has a selector, an enum field that names the kind, and
// one optional payload for each kind. Which payload goes with which value is a convention of the
// schema that protobuf does not know; these functions answer from the tables that hold it. Check.h
// holds a message against them.
//
// All functions are thread-safe. The first call builds the tables; the descriptors that they return
// are those of the generated classes and live until google::protobuf::ShutdownProtobufLibrary.

#ifndef CMNSYS_UTIL_PAIRING_H_
#define CMNSYS_UTIL_PAIRING_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

// The way in which a record ties payloads to kinds.
enum class PairingPattern {
  kFixedOffset,           // The payload of value N is the field N plus a constant.
  kOffsetWithExceptions,  // The same, except for some values.
  kByName,                // Each value has a payload of its own choice.
  kByExtension,           // The payloads are extensions of the record.
  kByPath,                // The payloads stand deeper, inside sub-messages of the record.
  kExactlyOne,            // No selector: the payload that is set tells the kind.
};

// A record whose payloads follow a rule.
struct PairedRecord {
  const google::protobuf::Descriptor* record = nullptr;
  PairingPattern pattern = PairingPattern::kFixedOffset;
  // nullptr for kExactlyOne.
  const google::protobuf::FieldDescriptor* selector = nullptr;
  // For kExactlyOne, the fields or extensions that exclude one another, by number; else empty.
  std::vector<const google::protobuf::FieldDescriptor*> alternatives;
  // For kExactlyOne, whether the record is complete with none of them.
  bool may_be_none = false;
};

// All records that follow a rule, sorted by full name.
CMNSYSUTIL_EXPORT std::vector<PairedRecord> PairedRecords();

// Whether the field is the selector of a record that follows a rule. The field may come from any
// descriptor pool; it is found by its full name.
CMNSYSUTIL_EXPORT bool IsSelector(const google::protobuf::FieldDescriptor& field);

// The fields that lead from a record to a payload, the payload last: one for most records, an
// extension for those that pair by extension.
using PayloadPath = std::vector<const google::protobuf::FieldDescriptor*>;

// The payload of this record at this value of its selector:
//
//   PayloadAt(Event::descriptor(), EVENT_USER_LOGIN)  // the extension event_user_login
//
// Empty when the value has no payload, when the enum does not define it, and when the record has no
// selector. The record, which must not be null, may come from any descriptor pool; it is found by
// its full name. The path lives as long as the process. O(log values).
CMNSYSUTIL_EXPORT const PayloadPath& PayloadAt(const google::protobuf::Descriptor* record,
                                               int value);

// What a selector value selects in one record.
struct SelectedPayload {
  const google::protobuf::Descriptor* record = nullptr;
  const google::protobuf::FieldDescriptor* selector = nullptr;
  PayloadPath payload;  // Empty when the value has no payload.
  // Whether the numbers of kOffsetWithExceptions and kByExtension do not hold for this value.
  bool exception = false;
};

// What the value selects, in each record whose selector is of the value's enum, sorted by the full
// name of the record. Empty when the enum is no record's selector. The value may come from any
// descriptor pool; it is found by its full name.
CMNSYSUTIL_EXPORT std::vector<SelectedPayload> SelectedPayloads(
    const google::protobuf::EnumValueDescriptor& value);

// The values that select the field or extension, at the end of a path or alone, in the order of
// their numbers. Empty when it is no payload, and for payloads that tell their kind themselves. The
// field may come from any descriptor pool; it is found by its full name.
CMNSYSUTIL_EXPORT std::vector<const google::protobuf::EnumValueDescriptor*> SelectingValues(
    const google::protobuf::FieldDescriptor& payload);

// A path of fields as text, joined by dots, extensions in brackets, as the text format writes them:
// "saved_view_op.set_name", "[Pb.CmnSys.Maps.geometryPoint]".
CMNSYSUTIL_EXPORT std::string PathText(const PayloadPath& path);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_PAIRING_H_
