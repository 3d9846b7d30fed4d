#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <map>
#include <utility>

#include "CmnSys/Util/WireFault.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::internal::WireFormatLite;

namespace {

class Walker {
 public:
  Walker(std::string_view bytes, int max_depth) : bytes_(bytes), max_depth_(max_depth) {}

  // Reads a message of `type` (nullptr: unknown fields only) up to `end`, or, when `group` is not
  // 0, up to the end tag of that group. Returns false after a fault.
  bool Message(const Descriptor* type, std::size_t end, int group, int depth,
               const std::string& path) {
    if (depth > max_depth_) {
      return Fault(path, "messages are nested more than " + std::to_string(max_depth_) +
                             " deep; raise the depth limit if that is right");
    }
    std::map<int, int> seen;
    while (position_ < end) {
      const std::size_t tag_start = position_;
      std::uint64_t tag = 0;
      if (!Varint(end, path, "a field tag", &tag)) return false;
      const int number = static_cast<int>((tag & 0xffffffffU) >> 3);
      const int wire_type = static_cast<int>(tag & 7);
      if (number == 0) {
        position_ = tag_start;
        return Fault(path, "a tag with field number 0 stands here");
      }
      if (wire_type == WireFormatLite::WIRETYPE_END_GROUP) {
        if (number == group) return true;
        position_ = tag_start;
        return Fault(path, "an end of group " + std::to_string(number) +
                               " stands here without its beginning");
      }
      const FieldDescriptor* field = FindField(type, number);
      if (!Value(field, wire_type, number, end, depth,
                 FieldPath(path, field, number, seen[number]++))) {
        return false;
      }
    }
    if (group != 0) return Fault(path, "the end of the group is missing");
    return true;
  }

  WireFault TakeFault() { return std::move(fault_); }

 private:
  bool Value(const FieldDescriptor* field, int wire_type, int number, std::size_t end, int depth,
             const std::string& path) {
    switch (wire_type) {
      case WireFormatLite::WIRETYPE_VARINT: {
        std::uint64_t ignored = 0;
        return Varint(end, path, "a number", &ignored);
      }
      case WireFormatLite::WIRETYPE_FIXED64:
        return Skip(8, end, path);
      case WireFormatLite::WIRETYPE_FIXED32:
        return Skip(4, end, path);
      case WireFormatLite::WIRETYPE_LENGTH_DELIMITED:
        return LengthDelimited(field, end, depth, path);
      case WireFormatLite::WIRETYPE_START_GROUP:
        return Message(SubMessage(field, FieldDescriptor::TYPE_GROUP), end, number, depth + 1,
                       path);
      default:
        return Fault(path, "wire type " + std::to_string(wire_type) + " does not exist");
    }
  }

  bool LengthDelimited(const FieldDescriptor* field, std::size_t end, int depth,
                       const std::string& path) {
    const std::size_t length_start = position_;
    std::uint64_t length = 0;
    if (!Varint(end, path, "a length", &length)) return false;
    if (length > end - position_) {
      const std::size_t left = end - position_;
      position_ = length_start;
      return Fault(path, "the length is " + std::to_string(length) + " but the bytes left are " +
                             std::to_string(left));
    }
    const std::size_t value_end = position_ + static_cast<std::size_t>(length);
    if (const Descriptor* type = SubMessage(field, FieldDescriptor::TYPE_MESSAGE)) {
      return Message(type, value_end, 0, depth + 1, path);
    }
    if (field != nullptr && field->is_packable()) return Packed(field, value_end, path);
    position_ = value_end;
    return true;
  }

  bool Packed(const FieldDescriptor* field, std::size_t end, const std::string& path) {
    while (position_ < end) {
      const int wire_type = WireFormatLite::WireTypeForFieldType(
          static_cast<WireFormatLite::FieldType>(field->type()));
      if (!Value(nullptr, wire_type, field->number(), end, 0, path)) return false;
    }
    return true;
  }

  bool Varint(std::size_t end, const std::string& path, const char* what, std::uint64_t* value) {
    const std::size_t start = position_;
    *value = 0;
    for (int shift = 0; shift < 70; shift += 7) {
      if (position_ == end) {
        position_ = start;
        return Fault(path, std::string(what) + " is cut off by the end of the " +
                               (end == bytes_.size() ? "input" : "enclosing message"));
      }
      const auto byte = static_cast<unsigned char>(bytes_[position_++]);
      *value |= static_cast<std::uint64_t>(byte & 0x7f) << (shift & 63);
      if (byte < 0x80) return true;
    }
    position_ = start;
    return Fault(path, std::string(what) + " is longer than 10 bytes");
  }

  bool Skip(std::size_t count, std::size_t end, const std::string& path) {
    if (end - position_ < count) {
      return Fault(path, "the value takes " + std::to_string(count) +
                             " bytes but the bytes left are " + std::to_string(end - position_));
    }
    position_ += count;
    return true;
  }

  bool Fault(const std::string& path, std::string reason) {
    fault_ = {position_, path, std::move(reason)};
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

  static std::string FieldPath(const std::string& path, const FieldDescriptor* field, int number,
                               int index) {
    std::string name = std::to_string(number);
    if (field != nullptr) {
      name = field->is_extension() ? "[" + field->full_name() + "]" : field->name();
      if (field->is_repeated()) name += "[" + std::to_string(index) + "]";
    }
    return path.empty() ? name : path + "." + name;
  }

  std::string_view bytes_;
  int max_depth_;
  std::size_t position_ = 0;
  WireFault fault_;
};

}  // namespace

std::optional<WireFault> FindWireFault(const Descriptor& type, std::string_view bytes,
                                       int max_depth) {
  Walker walker(bytes, max_depth);
  if (walker.Message(&type, bytes.size(), 0, 0, "")) return std::nullopt;
  return walker.TakeFault();
}

}  // namespace CmnSys::Util
