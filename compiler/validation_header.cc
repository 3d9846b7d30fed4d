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

struct Slot {
  std::uint32_t tag = 0;
  std::string content = "0";
};

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

// What has to be looked into: fields that are messages, or may be packed. Empty when their numbers
// are too far apart.
std::vector<Slot> SlotsOf(const Descriptor* message,
                          const std::map<const Descriptor*, std::size_t>& indexes) {
  std::vector<Slot> used;
  for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
    Slot slot;
    slot.tag = Tag(field, kLengthDelimited);
    if (field->type() == FieldDescriptor::TYPE_MESSAGE) {
      const auto index = indexes.find(field->message_type());
      if (index == indexes.end()) continue;
      slot.content = std::to_string(index->second);
    } else if (!field->is_repeated() || !field->is_packable()) {
      continue;
    } else if (InfoOf(field).wire_type == kFixed32) {
      slot.content = "kPackedFixed32";
    } else if (InfoOf(field).wire_type == kFixed64) {
      slot.content = "kPackedFixed64";
    } else {
      slot.content = "kPackedVarints";
    }
    used.push_back(slot);
  }
  // As many slots as it takes for the low bits of the numbers to differ.
  for (std::size_t size = 1; size <= kMostSlots; size *= 2) {
    std::vector<Slot> slots(size);
    bool fits = true;
    for (const Slot& slot : used) {
      Slot& place = slots[(slot.tag >> 3) & (size - 1)];
      if (place.tag != 0) fits = false;
      place = slot;
    }
    if (fits) return slots;
  }
  return {};
}

}  // namespace

bool WriteValidationHeader(const std::vector<const FileDescriptor*>& files, const std::string& path,
                           const Options& options, Printer* printer, std::string* error) {
  std::vector<const Descriptor*> messages;
  std::set<const FileDescriptor*> added;
  for (const FileDescriptor* file : files) AddFile(file, &added, &messages);
  std::map<const Descriptor*, std::size_t> indexes;
  for (const Descriptor* message : messages) indexes.emplace(message, indexes.size());
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
      "namespace $guard$_tables {\n"
      "inline constexpr Slot kSlots[] = {\n",
      "guard", guard);
  std::string shapes;
  std::size_t first = 0;
  for (const Descriptor* message : messages) {
    const std::vector<Slot> slots = SlotsOf(message, indexes);
    if (slots.empty()) {
      *error = message->full_name() +
               ": the numbers of its fields and extensions that are messages "
               "or repeated are too far apart for a validation header";
      return false;
    }
    shapes += "{" + std::to_string(first) + "u, " + std::to_string(slots.size() - 1) + "u},\n";
    first += slots.size();
    for (const Slot& slot : slots) {
      printer->Print("{$tag$u, $content$},\n", "tag", std::to_string(slot.tag), "content",
                     slot.content);
    }
  }
  printer->Print(
      "};\n"
      "inline constexpr Shape kShapes[] = {\n"
      "$shapes$"
      "};\n"
      "}  // namespace $guard$_tables\n",
      "guard", guard, "shapes", shapes);
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
        "struct ShapeOf<$class$View> {\n"
        "  static constexpr Shapes kShapes = {$guard$_tables::kShapes, $guard$_tables::kSlots};\n"
        "  static constexpr std::uint32_t kIndex = $index$;\n"
        "};\n",
        "class", QualifiedClassName(message), "guard", guard, "index",
        std::to_string(indexes.at(message)));
  }
  printer->Print(
      "}  // namespace CmnSys::View::internal\n"
      "\n"
      "#endif  // $guard$\n",
      "guard", guard);
  return true;
}

}  // namespace CmnSys::Compiler
