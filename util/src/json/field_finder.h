#ifndef CMNSYS_UTIL_SRC_JSON_FIELD_FINDER_H_
#define CMNSYS_UTIL_SRC_JSON_FIELD_FINDER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "json/json_type.h"
#include "json/map_entry.h"
#include "json/wire_fields.h"

namespace CmnSys::Util {

// Finds known fields, and the elements of repeated ones, in messages on the wire. As the functions
// of json/wire_fields.h, these take and return places in the bytes.
class FieldFinder {
 protected:
  // The field that begins with a tag; nullptr when the type has none that does, or has the number
  // for another tag. `*likely` is the index of the field that is probably meant, and becomes that
  // of the one behind it.
  const JsonField* FindField(const JsonType& type, std::uint64_t tag, std::size_t* likely) {
    constexpr std::size_t kTried = 3;
    const std::size_t end = std::min(*likely + kTried, type.tags.size());
    for (std::size_t i = *likely; i < end; ++i) {
      if (type.tags[i] == tag) {
        *likely = i + 1;
        return &type.fields[i];
      }
    }
    const JsonField* field = type.FindField(NumberOf(tag));
    if (field != nullptr) {
      *likely = static_cast<std::size_t>(field - type.fields.data()) + 1;
    } else {
      field = FindExtension(type, NumberOf(tag));
    }
    return field != nullptr && field->tag == tag ? field : nullptr;
  }

  // Whether the value is one of the field's and not an unknown one under its number.
  bool Takes(const JsonField& field, const char* value, const char* end) {
    if (!field.closed_enum || field.packed) return true;
    const JsonField* of_number = &field;
    if (field.map) {
      const JsonType& type = types_.MessageTypeOf(field);
      const MapEntry entry = ReadMapEntry(type, value, end);
      if (entry.value == nullptr) return true;
      of_number = &type.fields[1];
      value = entry.value;
      end = entry.end;
    }
    std::uint64_t number = 0;
    return View::ReadVarint(value, end, &number) != nullptr &&
           types_.EnumTypeOf(*of_number).NameOf(static_cast<int>(number)) != nullptr;
  }

  // The next element of a repeated field, or the next entry of a map, behind its tag if it has one;
  // nullptr where something else follows.
  const char* NextElement(const JsonField& field, const char* p, const char* end) {
    if (p == end) return nullptr;
    if (field.packed) return p;
    std::uint64_t tag = 0;
    const char* const value = ReadFieldTag(p, end, false, &tag);
    return value != nullptr && tag == field.tag && Takes(field, value, end) ? value : nullptr;
  }

  // Goes behind a field, all its elements included.
  const char* SkipField(const JsonField& field, const char* p, const char* end) {
    while (true) {
      p = LeaveField(SkipFieldValue(p, end, field.tag), end, field.in_message_set);
      if (p == nullptr || !field.repeated || field.packed) return p;
      const char* const next = NextElement(field, p, end);
      if (next == nullptr) return p;
      p = next;
    }
  }

  JsonTypes types_;
  google::protobuf::MessageFactory* factory_ = nullptr;  // Of the messages.

 private:
  const JsonField* FindExtension(const JsonType& type, int number) {
    if (!type.descriptor->IsExtensionNumber(number)) return nullptr;
    if (const JsonField* const known = type.FindExtension(number)) return known;
    const google::protobuf::Message* const prototype = factory_->GetPrototype(type.descriptor);
    const google::protobuf::FieldDescriptor* const extension =
        prototype->GetReflection()->FindKnownExtensionByNumber(number);
    return extension == nullptr ? nullptr : &types_.ExtensionOf(type, *extension);
  }
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_FIELD_FINDER_H_
