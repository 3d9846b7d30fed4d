// The pairing rules as data: which payload goes with which value of a selector, one table for each
// way in which the schema ties the two together. Names are those of the schema; pairings.h
// resolves them. A value that has no payload is listed as having none, so that a value added to the
// schema without a rule does not pass unnoticed.

#ifndef CMNSYS_UTIL_SRC_PAIRING_PAIRING_TABLES_H_
#define CMNSYS_UTIL_SRC_PAIRING_PAIRING_TABLES_H_

#include <utility>
#include <vector>

namespace CmnSys::Util {

// The value of a selector and the payload that goes with it.
using ValueAndPayload = std::pair<const char*, const char*>;

// Stands for the payload of a value that has none.
inline constexpr const char* kNoPayload = "";

// The payload of value N is the field with number N + offset.
struct FixedOffset {
  const char* record;
  const char* selector;
  int offset;
  // The value that stands for an unknown kind, which has no payload; nullptr when every value is
  // a kind.
  const char* unknown;
};

// As FixedOffset, but for the listed values.
struct OffsetWithExceptions {
  const char* record;
  const char* selector;
  int offset;
  std::vector<ValueAndPayload> exceptions;
};

// The payload of each value is named.
struct ByName {
  const char* record;
  const char* selector;
  std::vector<ValueAndPayload> payloads;
};

// The payload is an extension of the record, numbered like the value within its block: the block
// with the greatest `first_value` that is not greater than the value. Exceptions name extensions
// of the record's file.
struct ByExtension {
  struct Block {
    int first_value;
    int first_extension;
  };
  const char* record;
  const char* selector;
  std::vector<Block> blocks;
  std::vector<ValueAndPayload> exceptions;
};

// The payload of each value is reached through one or more messages: names joined by dots.
struct ByPath {
  const char* record;
  const char* selector;
  std::vector<ValueAndPayload> payloads;
  // Payloads that no value selects.
  std::vector<const char*> unselected;
};

// No selector: the fields, or extensions, in a range of numbers exclude one another.
struct ExactlyOne {
  const char* record;
  int first_field;
  int last_field;
  // Whether the record is complete with none of them.
  bool may_be_none;
};

// The tables are built at first use and live as long as the process. Thread-safe.
const std::vector<FixedOffset>& FixedOffsetTable();
const std::vector<OffsetWithExceptions>& OffsetWithExceptionsTable();
const std::vector<ByName>& ByNameTable();
const std::vector<ByExtension>& ByExtensionTable();
const std::vector<ByPath>& ByPathTable();
const std::vector<ExactlyOne>& ExactlyOneTable();

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_PAIRING_PAIRING_TABLES_H_
