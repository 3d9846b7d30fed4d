// Whether a message keeps the pairing rules of the schema.
//
// The schema ties the payload of a record to its selector by convention only (see Pairing.h), and
// leaves it to the receiver to check the pairing. This checks it, in a message and in everything
// that it holds.

#ifndef CMNSYS_UTIL_CHECK_H_
#define CMNSYS_UTIL_CHECK_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

enum class CheckRule {
  // The selector is not set, so readers cannot tell the kind of the record; or it is set to the
  // value that an unset one reads as (IOTA_TYPE_UNKNOWN), which is the same to them, and no payload
  // is set. Where an unset selector reads as a real kind (a rule without rule_type is a triggered
  // rule), this is a violation only when the selector is not set and the payload of another kind is
  // set.
  kSelectorUnset,
  // The selector names a kind, but the payload of that kind is not set, nor any other.
  kPayloadMissing,
  // The payload of another kind is set instead of the one that the selector names, or a payload is
  // set although the kind has none.
  kPayloadMismatch,
  // The same where payloads are extensions, as those of an event are.
  kExtensionMismatch,
  // The same where payloads stand deeper in the message, as those of a state change do.
  kPathMismatch,
  // The payload that the selector names is set, and others are set beside it.
  kSeveralPayloads,
  // A record without selector, told by which of its alternatives is set, has none of them set.
  kAlternativeMissing,
  // A record without selector has more than one of its alternatives set.
  kSeveralAlternatives,
  // Not a fault of the message: it is nested deeper than the limit, and what lies below was not
  // checked.
  kDepthLimit,
};

// The name of a rule, for reports and filters: "payload-missing" for kPayloadMissing. Names never
// change. The text lives as long as the process. Thread-safe.
CMNSYSUTIL_EXPORT std::string_view RuleName(CheckRule rule);

struct Violation {
  // The field in question, from the checked message on: names joined by dots, indexes of repeated
  // fields in brackets, and extensions by their full name in brackets, as in
  // "events[2].[Pb.CmnSys.Events.event_user_login]". A payload that is missing stands where it
  // ought to be. Empty for the checked message itself.
  std::string path;
  CheckRule rule = CheckRule::kSelectorUnset;
  // What is wrong, for people, in one line of text: "type is IOTA_TYPE_U32, but its payload
  // iota_u32 is not set".
  std::string sentence;
};

struct CheckOptions {
  // Messages nested below the outermost one; what lies deeper is reported as kDepthLimit and not
  // checked. Each level takes some 750 bytes of the stack. At least 0.
  int max_depth = 100;
  // The checker stops when it has found so many.
  std::size_t max_violations = 1000;
};

// Checks a message, its sub-messages and its extensions, and returns all violations in the order of
// the message's fields, those of a record before those inside it; empty when there is none.
//
// A message that follows no rule, and any message that is not of a generated class of this library,
// is fine. So is what this version of the library does not know: unknown fields are passed over,
// and a record whose selector has a value that is unknown, or that may have an unknown alternative,
// is given the benefit of the doubt.
//
// Never changes the message. Thread-safe as long as no thread changes the message meanwhile.
// Linear in the size of the message.
CMNSYSUTIL_EXPORT std::vector<Violation> Check(const google::protobuf::Message& message,
                                               const CheckOptions& options = {});

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_CHECK_H_
