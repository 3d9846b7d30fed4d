// Values of scalar fields as wire bytes, each behind its tag.

#ifndef CMNSYS_UTIL_SRC_JSON_SCALAR_BYTES_H_
#define CMNSYS_UTIL_SRC_JSON_SCALAR_BYTES_H_

#include <cstdint>
#include <string_view>

#include "CmnSys/Util/Json.h"
#include "json/json_number.h"
#include "json/json_type.h"
#include "json/wire_bytes.h"

namespace CmnSys::Util {

inline void PutVarint(const JsonField& field, std::uint64_t value, WireBytes* wire) {
  wire->Tag(field.field->number(), View::kVarint);
  wire->Varint(value);
}

inline void PutText(const JsonField& field, std::string_view text, WireBytes* wire) {
  wire->Tag(field.field->number(), View::kLengthDelimited);
  wire->Varint(text.size());
  wire->Bytes(text);
}

// The bytes that the text stands for. Returns false when it is not of that form.
bool PutBytes(const JsonField& field, std::string_view text, JsonBytes form, WireBytes* wire);

// The number in the text, for fields of all number types but enums. Nothing is written unless the
// result is kOk.
NumberResult PutNumber(const JsonField& field, std::string_view text, WireBytes* wire);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_SCALAR_BYTES_H_
