#include "view_scan.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>

#include "messages.h"
#include "wire_format.h"

namespace CmnSys::Compiler {

using google::protobuf::FieldDescriptor;

namespace {

class ScanWriter {
 public:
  explicit ScanWriter(const ViewFields& fields) : fields_(fields) {}

  void WriteScan() {
    const bool repeated = std::any_of(fields_.all().begin(), fields_.all().end(),
                                      [](const auto* field) { return field->is_repeated(); });
    const auto uses = [this](const std::function<bool(const FieldDescriptor*)>& use) {
      return std::any_of(fields_.all().begin(), fields_.all().end(), use);
    };
    // With all of its small functions and apart from its callers, whatever the options: else -O3
    // takes it apart in favour of those.
    fields_.Print(
        "\n"
        "[[gnu::noinline, gnu::flatten]] inline bool $view$::Scan(const char* p, const char* e) "
        "{\n");
    for (std::size_t word = 0; word < fields_.words(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      fields_.Print("  ::std::uint64_t has$word$ = has$word$_;\n", vars);
      if (fields_.HasSubMessage(word))
        fields_.Print("  ::std::uint64_t split$word$ = split$word$_;\n", vars);
    }
    fields_.Print("  ::std::uint32_t tag = 0;\n");
    if (uses([](const auto* field) { return !IsNumeric(field) || field->is_repeated(); }) ||
        fields_.has_extensions()) {
      fields_.Print("  ::std::uint32_t length = 0;\n");
    }
    if (uses([](const auto* field) {
          return IsNumeric(field) && !field->is_repeated() && InfoOf(field).wire_type == kVarint;
        })) {
      fields_.Print("  ::std::uint64_t number = 0;\n");
    }
    if (repeated) fields_.Print("  const char* start = nullptr;\n");
    if (!fields_.all().empty()) WriteJump(fields_.all().front(), "  ");
    fields_.Print("  while (p != e) {\n");
    if (repeated) fields_.Print("    start = p;\n");
    fields_.Print(
        "    p = ::CmnSys::View::ReadTag(p, e, &tag);\n"
        "    if (p == nullptr) return false;\n"
        "    switch (tag) {\n");
    for (std::size_t i = 0; i < fields_.all().size(); ++i) {
      WriteCase(i);
    }
    fields_.Print("      default:\n");
    if (fields_.has_extensions()) {
      fields_.Print(
          "        if ($extension$) {\n"
          "          p = ::CmnSys::View::ReadLength(p, e, &length);\n"
          "          if (p == nullptr) return false;\n"
          "          extensions_.Add(tag, {source_.OffsetOf(p), length});\n"
          "          p += length;\n"
          "          break;\n"
          "        }\n",
          {{"extension", fields_.ExtensionCondition()}});
    }
    fields_.Print(
        "        p = ::CmnSys::View::SkipValue(p, e, tag, source_.depth_left());\n"
        "        if (p == nullptr) return false;\n"
        "        break;\n"
        "    }\n"
        "  }\n");
    for (std::size_t word = 0; word < fields_.words(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      fields_.Print("  has$word$_ = has$word$;\n", vars);
      if (fields_.HasSubMessage(word)) fields_.Print("  split$word$_ = split$word$;\n", vars);
    }
    fields_.Print(
        "  return true;\n"
        "}\n");
  }

  void WriteScanPieces() {
    fields_.Print(
        "\n"
        "[[gnu::noinline]] inline void $view$::ScanPieces() {\n"
        "  if (!::CmnSys::View::internal::ForEachPiece(\n"
        "          source_, [this](const char* p, const char* e) { return Scan(p, e); })) {\n"
        "    Fail();\n"
        "  }\n"
        "}\n");
  }

  void WriteFail() {
    fields_.Print(
        "\n"
        "[[gnu::noinline, gnu::cold]] inline void $view$::Fail() {\n"
        "  error_ = true;\n");
    for (std::size_t word = 0; word < fields_.words(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      fields_.Print("  has$word$_ = 0;\n", vars);
      if (fields_.HasSubMessage(word)) fields_.Print("  split$word$_ = 0;\n", vars);
    }
    for (const FieldDescriptor* field : fields_.all()) {
      if (field->is_repeated()) fields_.Print("  n$number$_ = 0;\n", fields_.VarsOf(field));
    }
    if (fields_.has_extensions()) fields_.Print("  extensions_.Clear();\n");
    fields_.Print("}\n");
  }

 private:
  // The tag with which a field is expected: packed fields packed, others one by one.
  static std::uint32_t ExpectedTag(const FieldDescriptor* field) {
    return Tag(field, field->is_packed() ? kLengthDelimited : InfoOf(field).wire_type);
  }

  // Whether there is a jump to the field's case: to fields with a tag of one or two bytes.
  static bool IsJumpedTo(const FieldDescriptor* field) { return ExpectedTag(field) < 0x4000; }

  // Goes straight to the case of the field whose tag follows, if it does.
  void WriteJump(const FieldDescriptor* field, const std::string& indent) {
    if (!IsJumpedTo(field)) return;
    const std::uint32_t tag = ExpectedTag(field);
    const Vars vars = {{"indent", indent},
                       {"tag", std::to_string(tag)},
                       {"size", tag < 0x80 ? "1" : "2"},
                       {"number", std::to_string(field->number())}};
    fields_.Print("$indent$if (::CmnSys::View::internal::StartsWithTag<$tag$u>(p, e)) {\n", vars);
    if (field->is_repeated()) fields_.Print("$indent$  start = p;\n", vars);
    fields_.Print(
        "$indent$  p += $size$;\n"
        "$indent$  goto field_$number$;\n"
        "$indent$}\n",
        vars);
  }

  void WriteCase(std::size_t index) {
    const FieldDescriptor* field = fields_.all()[index];
    if (field->is_repeated() && IsNumeric(field)) {
      WriteCasesOfNumbers(field);
    } else {
      BeginCase(field, InfoOf(field).wire_type);
      WriteLabel(field);
      switch (InfoOf(field).wire_type) {
        case kLengthDelimited:
          WriteReadLengthDelimited(field);
          break;
        case kVarint:
          WriteReadVarint(field);
          break;
        default:
          fields_.Print(
              "        p = ::CmnSys::View::ReadFixed(p, e, &f$number$_);\n"
              "        if (p == nullptr) return false;\n"
              "        $has$ |= $bit$;\n",
              fields_.VarsOf(field));
      }
    }
    if (field->is_repeated()) WriteJump(field, "        ");
    // One of the next two fields, as one that is not set is no rarity.
    for (std::size_t i = index + 1; i <= index + 2 && i < fields_.all().size(); ++i) {
      WriteJump(fields_.all()[i], "        ");
    }
    fields_.Print("        break;\n");
  }

  void BeginCase(const FieldDescriptor* field, std::uint32_t wire_type) {
    fields_.Print("      case $tag$u:\n", {{"tag", std::to_string(Tag(field, wire_type))}});
  }

  void WriteLabel(const FieldDescriptor* field) {
    if (IsJumpedTo(field)) fields_.Print("      field_$number$:\n", fields_.VarsOf(field));
  }

  // Of a repeated field of numbers, packed and not. The form that is not expected comes first.
  void WriteCasesOfNumbers(const FieldDescriptor* field) {
    const std::uint32_t unpacked = InfoOf(field).wire_type;
    BeginCase(field, field->is_packed() ? unpacked : kLengthDelimited);
    WriteSkip(field->is_packed() ? unpacked : kLengthDelimited);
    WriteNotePlace(field);
    fields_.Print("        break;\n");
    BeginCase(field, field->is_packed() ? kLengthDelimited : unpacked);
    WriteLabel(field);
    WriteSkip(field->is_packed() ? kLengthDelimited : unpacked);
    WriteNotePlace(field);
  }

  void WriteSkip(std::uint32_t wire_type) {
    if (wire_type == kLengthDelimited) {
      WriteReadLength();
      fields_.Print("        p += length;\n");
    } else {
      fields_.Print(
          "        p = ::CmnSys::View::SkipValue(p, e, $type$u | 8, 0);\n"
          "        if (p == nullptr) return false;\n",
          {{"type", std::to_string(wire_type)}});
    }
  }

  void WriteReadLength() {
    fields_.Print(
        "        p = ::CmnSys::View::ReadLength(p, e, &length);\n"
        "        if (p == nullptr) return false;\n");
  }

  // Counts the occurrences of a repeated field, and keeps where the first one is.
  void WriteNotePlace(const FieldDescriptor* field) {
    fields_.Print("        if (n$number$_++ == 0) f$number$_ = source_.OffsetOf(start);\n",
                  fields_.VarsOf(field));
  }

  void WriteReadLengthDelimited(const FieldDescriptor* field) {
    WriteReadLength();
    if (field->is_repeated()) {
      WriteNotePlace(field);
    } else {
      const Vars vars = fields_.VarsOf(field);
      if (IsMessage(field)) fields_.Print("        $split$ |= $has$ & $bit$;\n", vars);
      fields_.Print(
          "        f$number$_ = {source_.OffsetOf(p), length};\n"
          "        $has$ |= $bit$;\n",
          vars);
    }
    fields_.Print("        p += length;\n");
  }

  void WriteReadVarint(const FieldDescriptor* field) {
    const Vars vars = fields_.VarsOf(field);
    fields_.Print(IsEnum(field)
                      ? "        p = ::CmnSys::View::internal::ReadEnumNumber(p, e, &number);\n"
                      : "        p = ::CmnSys::View::ReadVarint(p, e, &number);\n");
    fields_.Print("        if (p == nullptr) return false;\n");
    if (IsEnum(field)) {
      fields_.Print(
          "        if (::CmnSys::View::internal::HasNumber<$type$>(\n"
          "                static_cast<::std::int32_t>(number))) {\n"
          "          f$number$_ = static_cast<$type$>(static_cast<::std::int32_t>(number));\n"
          "          $has$ |= $bit$;\n"
          "        }\n",
          vars);
    } else {
      fields_.Print(
          "        f$number$_ = $format$::Convert(number);\n"
          "        $has$ |= $bit$;\n",
          vars);
    }
  }

  const ViewFields& fields_;
};

}  // namespace

void WriteViewScan(const ViewFields& fields) {
  ScanWriter writer(fields);
  writer.WriteScan();
  writer.WriteScanPieces();
  writer.WriteFail();
}

}  // namespace CmnSys::Compiler
