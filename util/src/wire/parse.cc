#include "CmnSys/Util/Parse.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "CmnSys/View/Wire.h"
#include "text/field_path.h"
#include "wire/record_length.h"

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error "This file uses internals of protobuf 3.21; adapt util/src/wire/parse.cc."
#endif

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::internal::WireFormat;
using google::protobuf::io::CodedInputStream;

namespace {

// What protobuf's parsers read of a varint: tags and lengths have 32 bits, and more bytes than
// those take are refused, even when they add nothing.
constexpr int kLongestTag = 5;
constexpr int kLongestLength = 5;
constexpr int kLongestNumber = 10;

// A field that is being read, linked to those that hold it.
struct Step {
  const Step* before;
  const FieldDescriptor* field;  // nullptr when the type does not know it.
  int number;
  int index;  // Of an element of a repeated field.
};

void AppendSteps(const Step* step, std::string* path) {
  if (step == nullptr) return;
  AppendSteps(step->before, path);
  if (step->field != nullptr) {
    AppendField(*step->field, path);
    if (step->field->is_repeated()) AppendIndex(step->index, path);
  } else {
    *path += (path->empty() ? "" : ".") + std::to_string(step->number);
  }
}

class Walker {
 public:
  Walker(std::string_view bytes, int max_depth) : bytes_(bytes), max_depth_(max_depth) {}

  // Reads a message of `type` (nullptr: unknown fields only) up to `end`, or, when `group` is not
  // 0, up to the end tag of that group. Returns false after a fault.
  bool ReadMessage(const Descriptor* type, std::size_t end, int group, int depth,
                   const Step* path) {
    if (depth > max_depth_) {
      return Fault(path, "messages are nested more than " + std::to_string(max_depth_) +
                             " deep; raise max_depth if that is right");
    }
    std::map<int, int> seen;
    while (position_ < end) {
      const std::size_t tag_start = position_;
      std::uint64_t tag = 0;
      if (!Varint(end, path, "a field tag", kLongestTag, &tag)) return false;
      const auto bits = static_cast<std::uint32_t>(tag);
      const int number = static_cast<int>(View::FieldOf(bits));
      const View::WireType wire_type = View::WireTypeOf(bits);
      if (number == 0) {
        position_ = tag_start;
        return Fault(path, "a tag with field number 0 stands here");
      }
      if (wire_type == View::kEndGroup) {
        if (number == group) return true;
        position_ = tag_start;
        return Fault(path, "an end of group " + std::to_string(number) +
                               " stands here without its beginning");
      }
      const FieldDescriptor* field = FindField(type, number);
      const bool counts = field != nullptr && field->is_repeated();
      const Step step = {path, field, number, counts ? seen[number]++ : 0};
      if (!Value(field, wire_type, number, end, depth, &step)) return false;
    }
    if (group != 0) return Fault(path, "the end of the group is missing");
    return true;
  }

  WireFault TakeFault() { return std::move(fault_); }

 private:
  bool Value(const FieldDescriptor* field, View::WireType wire_type, int number, std::size_t end,
             int depth, const Step* path) {
    switch (wire_type) {
      case View::kVarint: {
        std::uint64_t ignored = 0;
        return Varint(end, path, "a number", kLongestNumber, &ignored);
      }
      case View::kFixed64:
        return Skip(8, end, path);
      case View::kFixed32:
        return Skip(4, end, path);
      case View::kLengthDelimited:
        return LengthDelimited(field, end, depth, path);
      case View::kStartGroup:
        return ReadMessage(SubMessage(field, FieldDescriptor::TYPE_GROUP), end, number, depth + 1,
                           path);
      default:
        return Fault(path, "wire type " + std::to_string(wire_type) + " does not exist");
    }
  }

  bool LengthDelimited(const FieldDescriptor* field, std::size_t end, int depth, const Step* path) {
    const std::size_t length_start = position_;
    std::uint64_t length = 0;
    if (!Varint(end, path, "a length", kLongestLength, &length)) return false;
    if (length > end - position_) {
      const std::size_t left = end - position_;
      position_ = length_start;
      return Fault(path, "the length is " + std::to_string(length) + " but the bytes left are " +
                             std::to_string(left));
    }
    const std::size_t value_end = position_ + static_cast<std::size_t>(length);
    if (const Descriptor* type = SubMessage(field, FieldDescriptor::TYPE_MESSAGE)) {
      return ReadMessage(type, value_end, 0, depth + 1, path);
    }
    if (field != nullptr && field->is_packable()) return Packed(field, value_end, path);
    position_ = value_end;
    return true;
  }

  bool Packed(const FieldDescriptor* field, std::size_t end, const Step* path) {
    const auto wire_type =
        static_cast<View::WireType>(WireFormat::WireTypeForFieldType(field->type()));
    while (position_ < end) {
      if (!Value(nullptr, wire_type, field->number(), end, 0, path)) return false;
    }
    return true;
  }

  bool Varint(std::size_t end, const Step* path, const char* what, int longest,
              std::uint64_t* value) {
    const std::size_t start = position_;
    *value = 0;
    for (int i = 0; i < longest; ++i) {
      if (position_ == end) {
        position_ = start;
        return Fault(path, std::string(what) + " is cut off by the end of the " +
                               (end == bytes_.size() ? "input" : "enclosing message"));
      }
      const auto byte = static_cast<unsigned char>(bytes_[position_++]);
      *value |= static_cast<std::uint64_t>(byte & 0x7f) << (7 * i);
      if (byte < 0x80) return true;
    }
    position_ = start;
    return Fault(path, std::string(what) + " is longer than " + std::to_string(longest) + " bytes");
  }

  bool Skip(std::size_t count, std::size_t end, const Step* path) {
    if (end - position_ < count) {
      return Fault(path, "the value takes " + std::to_string(count) +
                             " bytes but the bytes left are " + std::to_string(end - position_));
    }
    position_ += count;
    return true;
  }

  bool Fault(const Step* path, std::string reason) {
    fault_ = {position_, "", std::move(reason)};
    AppendSteps(path, &fault_.path);
    return false;
  }

  static const FieldDescriptor* FindField(const Descriptor* type, int number) {
    if (type == nullptr) return nullptr;
    if (const FieldDescriptor* field = type->FindFieldByNumber(number)) return field;
    return type->file()->pool()->FindExtensionByNumber(type, number);
  }

  static const Descriptor* SubMessage(const FieldDescriptor* field, FieldDescriptor::Type type) {
    return field != nullptr && field->type() == type ? field->message_type() : nullptr;
  }

  std::string_view bytes_;
  int max_depth_;
  std::size_t position_ = 0;
  WireFault fault_;
};

// Protobuf's parser, which is told where the bytes end.
bool ParsePartial(std::string_view bytes, int max_depth, Message* message) {
  const int size = static_cast<int>(bytes.size());
  if (max_depth == CodedInputStream::GetDefaultRecursionLimit()) {
    return message->ParsePartialFromArray(bytes.data(), size);
  }
  // Another depth can be given to a stream only, which takes memory for what a length announces
  // before it looks whether so much follows. Bytes without fault announce nothing false.
  if (FindWireFault(*message->GetDescriptor(), bytes, max_depth)) return false;
  CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(bytes.data()), size);
  stream.SetRecursionLimit(max_depth);
  return message->ParsePartialFromCodedStream(&stream) && stream.ConsumedEntireMessage();
}

std::optional<WireFault> FindFault(std::string_view bytes, const ParseLimits& limits,
                                   Message* message) {
  const std::uint64_t max_bytes = std::min(limits.max_bytes, kMostMessageBytes);
  if (bytes.size() > max_bytes) {
    return WireFault{static_cast<std::size_t>(max_bytes), "",
                     IsTooLong("message", bytes.size(), max_bytes)};
  }
  if (!ParsePartial(bytes, limits.max_depth, message)) {
    std::optional<WireFault> fault =
        FindWireFault(*message->GetDescriptor(), bytes, limits.max_depth);
    return fault ? std::move(fault) : WireFault{0, "", "protobuf does not take these bytes"};
  }
  if (!message->IsInitialized()) {
    return WireFault{bytes.size(), "",
                     "required fields are missing: " + message->InitializationErrorString()};
  }
  return std::nullopt;
}

}  // namespace

std::string ToString(const WireFault& fault) {
  return "at byte " + std::to_string(fault.offset) +
         (fault.path.empty() ? "" : ", in " + fault.path) + ", " + fault.reason;
}

std::optional<WireFault> Parse(std::string_view bytes, const ParseLimits& limits,
                               Message* message) {
  message->Clear();
  std::optional<WireFault> fault = FindFault(bytes, limits, message);
  if (fault) message->Clear();
  return fault;
}

std::optional<WireFault> FindWireFault(const Descriptor& type, std::string_view bytes,
                                       int max_depth) {
  Walker walker(bytes, max_depth);
  if (walker.ReadMessage(&type, bytes.size(), 0, 0, nullptr)) return std::nullopt;
  return walker.TakeFault();
}

}  // namespace CmnSys::Util
