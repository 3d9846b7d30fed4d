#include "validation_header.h"

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/descriptor.pb.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "in_place.h"
#include "messages.h"
#include "names.h"
#include "wire_format.h"

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::cpp::ClassName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

void AddFile(const FileDescriptor* file, std::set<const FileDescriptor*>* added,
             std::vector<const Descriptor*>* messages) {
  if (BelongsToRuntime(file) || !added->insert(file).second) return;
  for (int i = 0; i < file->dependency_count(); ++i) {
    AddFile(file->dependency(i), added, messages);
  }
  const std::vector<const Descriptor*> own = MessagesOf(file);
  messages->insert(messages->end(), own.begin(), own.end());
}

constexpr std::size_t kMostSlots = 1 << 14;  // Of one message; an event takes 1,024.

// A field that has to be looked into.
struct Slot {
  std::uint32_t tag = 0;
  const Descriptor* message = nullptr;  // What it holds, or null when it may be packed.
  std::string packed;
};

// The slots of a message, by the low bits of the numbers. One slot, not used, when there is nothing
// to look into.
using Slots = std::vector<Slot>;

std::vector<const FieldDescriptor*> FieldsAndExtensions(const Descriptor* message) {
  std::vector<const FieldDescriptor*> fields;
  message->file()->pool()->FindAllExtensions(message, &fields);
  for (int i = 0; i < message->field_count(); ++i) fields.push_back(message->field(i));
  return fields;
}

// Why a walk over the wire does not tell what the parser of the message would, what is in fields
// that are messages aside; empty when it does.
std::string ObstacleIn(const Descriptor* message) {
  if (message->file()->syntax() != FileDescriptor::SYNTAX_PROTO2) {
    return message->full_name() + " is of proto3, where strings have to be UTF-8";
  }
  if (message->options().message_set_wire_format()) {
    return message->full_name() + " is a message set";
  }
  for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
    if (field->is_required()) return field->full_name() + " is required";
    if (field->type() == FieldDescriptor::TYPE_GROUP) return field->full_name() + " is a group";
    if (IsMessage(field) && BelongsToRuntime(field->message_type()->file())) {
      return field->full_name() + " is a " + field->message_type()->full_name();
    }
  }
  return "";
}

// The messages that have an obstacle in them or below them.
std::map<const Descriptor*, std::string> ObstaclesIn(
    const std::vector<const Descriptor*>& messages) {
  std::map<const Descriptor*, std::string> obstacles;
  for (const Descriptor* message : messages) {
    const std::string obstacle = ObstacleIn(message);
    if (!obstacle.empty()) obstacles.emplace(message, obstacle);
  }
  for (std::size_t before = 0; before != obstacles.size();) {
    before = obstacles.size();
    for (const Descriptor* message : messages) {
      for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
        const auto below = obstacles.find(field->message_type());
        if (below != obstacles.end()) obstacles.emplace(message, below->second);
      }
    }
  }
  return obstacles;
}

std::uint32_t FieldOf(const Slot& slot) { return slot.tag >> 3; }

// Finds what has to be looked into: fields that are messages of the files, or may be packed. Empty
// when their numbers are too far apart.
Slots SlotsOf(const Descriptor* message, const std::set<const FileDescriptor*>& files) {
  Slots used;
  for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
    Slot slot;
    slot.tag = Tag(field, kLengthDelimited);
    if (field->type() == FieldDescriptor::TYPE_MESSAGE) {
      if (files.count(field->message_type()->file()) == 0) continue;
      slot.message = field->message_type();
    } else if (!field->is_repeated() || !field->is_packable()) {
      continue;
    } else if (InfoOf(field).wire_type == kFixed32) {
      slot.packed = "kPackedFixed32";
    } else if (InfoOf(field).wire_type == kFixed64) {
      slot.packed = "kPackedFixed64";
    } else {
      slot.packed = "kPackedVarints";
    }
    used.push_back(slot);
  }
  // As many slots as it takes for the low bits of the numbers to differ.
  for (std::size_t size = 1; size <= kMostSlots; size *= 2) {
    Slots slots(size);
    bool fits = true;
    for (const Slot& slot : used) {
      Slot& place = slots[FieldOf(slot) & (size - 1)];
      if (place.tag != 0) fits = false;
      place = slot;
    }
    if (fits) return slots;
  }
  return {};
}

bool HasNothingToLookInto(const Slots& slots) { return slots.size() == 1 && slots[0].tag == 0; }

// The slots of all messages, one behind the other. Those with nothing to look into share the first
// ones.
class Table {
 public:
  void Add(const Descriptor* message, const Slots& slots) {
    if (HasNothingToLookInto(slots)) {
      places_.emplace(message, 0);
      return;
    }
    places_.emplace(message, size_);
    size_ += 1 + static_cast<std::int64_t>(slots.size());
    added_.push_back(slots);
  }

  // Where the slot of a message is.
  std::int64_t PlaceOf(const Descriptor* message) const { return places_.at(message); }

  void Print(Printer* printer) const {
    PrintMessage(0, Slots(1), printer);
    std::int64_t place = kShared;
    for (const Slots& slots : added_) {
      PrintMessage(place, slots, printer);
      place += 1 + static_cast<std::int64_t>(slots.size());
    }
  }

 private:
  static constexpr std::int64_t kShared = 2;

  static void PrintSlot(std::uint64_t tag, const std::string& content, Printer* printer) {
    printer->Print("{$tag$u, $content$},\n", "tag", std::to_string(tag), "content", content);
  }

  void PrintMessage(std::int64_t place, const Slots& slots, Printer* printer) const {
    std::uint32_t looked_into = 1;
    for (const Slot& slot : slots) {
      if (FieldOf(slot) < 16) looked_into |= 1U << FieldOf(slot);
    }
    PrintSlot(slots.size() - 1, std::to_string(looked_into), printer);
    for (const Slot& slot : slots) PrintSlot(slot.tag, ContentOf(slot, place), printer);
  }

  std::string ContentOf(const Slot& slot, std::int64_t place) const {
    if (slot.message == nullptr) return slot.packed.empty() ? "0" : slot.packed;
    const std::int64_t there = PlaceOf(slot.message);
    return there == 0 ? "kFields" : std::to_string(there - place);
  }

  std::vector<Slots> added_;
  std::map<const Descriptor*, std::int64_t> places_;
  std::int64_t size_ = kShared;
};

}  // namespace

bool WriteValidationHeader(const std::vector<const FileDescriptor*>& files, const std::string& path,
                           const Options& options, Printer* printer, std::string* error) {
  std::vector<const Descriptor*> messages;
  std::set<const FileDescriptor*> added;
  for (const FileDescriptor* file : files) AddFile(file, &added, &messages);
  Table table;
  for (const Descriptor* message : messages) {
    const Slots slots = SlotsOf(message, added);
    if (slots.empty()) {
      *error = message->full_name() +
               ": the numbers of its fields and extensions that are messages "
               "or repeated are too far apart for a validation header";
      return false;
    }
    table.Add(message, slots);
  }
  const std::map<const Descriptor*, std::string> obstacles = ObstaclesIn(messages);

  const std::string guard = "CMNSYS_VALIDATE_" + MangledPath(path);
  printer->Print(
      "// Generated by protoc-gen-cmnsys. Do not edit.\n"
      "//\n"
      "// What CmnSys::View::Validate needs to know of the schema's messages.\n"
      "\n"
      "#ifndef $guard$\n"
      "#define $guard$\n"
      "\n"
      "#include \"CmnSys/View/Validate.h\"\n"
      "\n",
      "guard", guard);
  for (const Descriptor* message : messages) {
    if (!IsInPlace(message, options)) continue;
    const std::vector<std::string> parts = PackageParts(message->file());
    for (const std::string& part : parts) printer->Print("namespace $part$ { ", "part", part);
    printer->Print("class $name$View;", "name", ClassName(message));
    for (std::size_t i = 0; i < parts.size(); ++i) printer->Print(" }");
    printer->Print("\n");
  }
  printer->Print(
      "\n"
      "namespace CmnSys::View::internal {\n"
      "inline constexpr Slot $guard$_slots[] = {\n",
      "guard", guard);
  table.Print(printer);
  printer->Print("};\n");
  for (const Descriptor* message : messages) {
    if (!IsInPlace(message, options)) continue;
    const auto obstacle = obstacles.find(message);
    if (obstacle != obstacles.end()) {
      printer->Print("// $message$ cannot be validated: $obstacle$.\n", "message",
                     message->full_name(), "obstacle", obstacle->second);
      continue;
    }
    printer->Print(
        "template <>\n"
        "struct SlotOf<$class$View> {\n"
        "  static constexpr const Slot* kSlot = $guard$_slots + $place$;\n"
        "};\n",
        "class", QualifiedClassName(message), "guard", guard, "place",
        std::to_string(table.PlaceOf(message)));
  }
  printer->Print(
      "}  // namespace CmnSys::View::internal\n"
      "\n"
      "#endif  // $guard$\n",
      "guard", guard);
  return true;
}

}  // namespace CmnSys::Compiler
