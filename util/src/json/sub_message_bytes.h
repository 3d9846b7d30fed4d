#ifndef CMNSYS_UTIL_SRC_JSON_SUB_MESSAGE_BYTES_H_
#define CMNSYS_UTIL_SRC_JSON_SUB_MESSAGE_BYTES_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>

#include "json/json_type.h"
#include "json/wire_bytes.h"

namespace CmnSys::Util {

// While this lives, what is written to the wire bytes belongs to the sub-message in a field.
class SubMessageBytes {
 public:
  SubMessageBytes(const JsonField& field, WireBytes* wire)
      : wire_(*wire), number_(field.field->number()), kind_(KindOf(field)) {
    if (kind_ == Kind::kGroup) {
      wire_.Tag(number_, View::kStartGroup);
      return;
    }
    if (kind_ == Kind::kMessageSetItem) {
      // group Item = 1 { required int32 type_id = 2; required bytes message = 3; }
      wire_.Tag(1, View::kStartGroup);
      wire_.Tag(2, View::kVarint);
      wire_.Varint(static_cast<std::uint32_t>(number_));
      wire_.Tag(3, View::kLengthDelimited);
    } else {
      wire_.Tag(number_, View::kLengthDelimited);
    }
    begin_ = wire_.BeginLength();
  }

  ~SubMessageBytes() {
    if (kind_ == Kind::kGroup) {
      wire_.Tag(number_, View::kEndGroup);
      return;
    }
    wire_.EndLength(begin_);
    if (kind_ == Kind::kMessageSetItem) wire_.Tag(1, View::kEndGroup);
  }

  SubMessageBytes(const SubMessageBytes&) = delete;
  SubMessageBytes& operator=(const SubMessageBytes&) = delete;

 private:
  enum class Kind { kMessage, kGroup, kMessageSetItem };

  static Kind KindOf(const JsonField& field) {
    if (field.in_message_set) return Kind::kMessageSetItem;
    return field.type == google::protobuf::FieldDescriptor::TYPE_GROUP ? Kind::kGroup
                                                                       : Kind::kMessage;
  }

  WireBytes& wire_;
  int number_;
  Kind kind_;
  std::size_t begin_ = 0;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_SUB_MESSAGE_BYTES_H_
