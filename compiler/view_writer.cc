#include "view_writer.h"

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "names.h"

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::cpp::ClassName;
using google::protobuf::compiler::cpp::FieldName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

using Vars = std::map<std::string, std::string>;

// The wire types of tags.
constexpr std::uint32_t kVarint = 0;
constexpr std::uint32_t kFixed64 = 1;
constexpr std::uint32_t kLengthDelimited = 2;
constexpr std::uint32_t kFixed32 = 5;

std::uint32_t Tag(const FieldDescriptor* field, std::uint32_t wire_type) {
  return static_cast<std::uint32_t>(field->number()) << 3 | wire_type;
}

// How fields of a type are stored in a view and read from the wire.
struct TypeInfo {
  std::uint32_t wire_type;
  const char* cpp_type;  // Empty for enums.
  const char* format;    // In CmnSys::View::internal; empty for enums, strings and messages.
  int bytes;             // In the view.
};

TypeInfo InfoOf(const FieldDescriptor* field) {
  switch (field->type()) {
    case FieldDescriptor::TYPE_INT32:
      return {kVarint, "::std::int32_t", "Int32", 4};
    case FieldDescriptor::TYPE_INT64:
      return {kVarint, "::std::int64_t", "Int64", 8};
    case FieldDescriptor::TYPE_UINT32:
      return {kVarint, "::std::uint32_t", "UInt32", 4};
    case FieldDescriptor::TYPE_UINT64:
      return {kVarint, "::std::uint64_t", "UInt64", 8};
    case FieldDescriptor::TYPE_SINT32:
      return {kVarint, "::std::int32_t", "SInt32", 4};
    case FieldDescriptor::TYPE_SINT64:
      return {kVarint, "::std::int64_t", "SInt64", 8};
    case FieldDescriptor::TYPE_BOOL:
      return {kVarint, "bool", "Bool", 1};
    case FieldDescriptor::TYPE_ENUM:
      return {kVarint, "", "", 4};
    case FieldDescriptor::TYPE_FIXED32:
      return {kFixed32, "::std::uint32_t", "Fixed32", 4};
    case FieldDescriptor::TYPE_SFIXED32:
      return {kFixed32, "::std::int32_t", "SFixed32", 4};
    case FieldDescriptor::TYPE_FLOAT:
      return {kFixed32, "float", "Float", 4};
    case FieldDescriptor::TYPE_FIXED64:
      return {kFixed64, "::std::uint64_t", "Fixed64", 8};
    case FieldDescriptor::TYPE_SFIXED64:
      return {kFixed64, "::std::int64_t", "SFixed64", 8};
    case FieldDescriptor::TYPE_DOUBLE:
      return {kFixed64, "double", "Double", 8};
    case FieldDescriptor::TYPE_STRING:
    case FieldDescriptor::TYPE_BYTES:
    case FieldDescriptor::TYPE_MESSAGE:
    case FieldDescriptor::TYPE_GROUP:
      return {kLengthDelimited, "::std::string_view", "", 16};
  }
  return {};
}

bool IsMessage(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}
bool IsEnum(const FieldDescriptor* field) { return field->type() == FieldDescriptor::TYPE_ENUM; }
bool IsText(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
}
bool IsNumeric(const FieldDescriptor* field) { return !IsMessage(field) && !IsText(field); }

bool HasViews(const FileDescriptor* file, const Options& options) {
  return file->syntax() == FileDescriptor::SYNTAX_PROTO2 && !BelongsToRuntime(file) &&
         !IsStockImport(file, options);
}

std::string ViewName(const Descriptor* message) { return QualifiedClassName(message) + "View"; }

std::string Literal(double value, const char* type, int digits) {
  const std::string limits = std::string("::std::numeric_limits<") + type + ">::";
  if (std::isnan(value)) return limits + "quiet_NaN()";
  if (std::isinf(value)) return (value < 0 ? "-" : "") + limits + "infinity()";
  char text[40];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  return std::string("static_cast<") + type + ">(" + text + ")";
}

std::string Default(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      // The lowest number has no literal.
      return field->default_value_int32() == std::numeric_limits<std::int32_t>::min()
                 ? "::std::numeric_limits<::std::int32_t>::min()"
                 : std::to_string(field->default_value_int32());
    case FieldDescriptor::CPPTYPE_INT64:
      return field->default_value_int64() == std::numeric_limits<std::int64_t>::min()
                 ? "::std::numeric_limits<::std::int64_t>::min()"
                 : std::to_string(field->default_value_int64());
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::to_string(field->default_value_uint32()) + "u";
    case FieldDescriptor::CPPTYPE_UINT64:
      return std::to_string(field->default_value_uint64()) + "u";
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return Literal(field->default_value_double(), "double", 17);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return Literal(static_cast<double>(field->default_value_float()), "float", 9);
    case FieldDescriptor::CPPTYPE_BOOL:
      return field->default_value_bool() ? "true" : "false";
    case FieldDescriptor::CPPTYPE_ENUM:
      return "static_cast<" + QualifiedClassName(field->enum_type()) + ">(" +
             std::to_string(field->default_value_enum()->number()) + ")";
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string& text = field->default_value_string();
      if (text.empty()) return "::std::string_view()";
      std::string literal = "::std::string_view(\"";
      for (const char c : text) {
        char octal[8];
        std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned char>(c));
        literal += octal;
      }
      return literal + "\", " + std::to_string(text.size()) + ")";
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
  return "";
}

// Writes the view of one message.
class ViewWriter {
 public:
  ViewWriter(const Descriptor* message, const Options& options, Printer* printer)
      : message_(message), options_(options), printer_(printer) {
    for (int i = 0; i < message->field_count(); ++i) fields_.push_back(message->field(i));
    std::sort(fields_.begin(), fields_.end(),
              [](const auto* a, const auto* b) { return a->number() < b->number(); });
    scans_ = message->extension_range_count() > 0 ||
             std::any_of(fields_.begin(), fields_.end(),
                         [](const FieldDescriptor* field) { return !field->is_repeated(); });
  }

  void WriteClass() {
    Print(
        "\n"
        "// Reads a $message$ in place. The bytes must stay while it, or what came from it, is "
        "used.\n"
        "class $view$ {\n"
        " public:\n"
        "  // The view of a message's bytes, which need not be valid: see HasError.\n"
        "  explicit $view$(::std::string_view bytes)\n"
        "      : $view$(::CmnSys::View::internal::Source(bytes)) {}\n"
        "  explicit $view$(const ::CmnSys::View::internal::Source& source) : source_(source) {\n");
    if (scans_) {
      Print(
          "    if (source.path_size != 0 || source.bad) {\n"
          "      ScanPieces();\n"
          "    } else if (!Scan(source.begin, source.end)) {\n"
          "      Fail();\n"
          "    }\n");
    }
    Print(
        "  }\n"
        "\n"
        "  // Whether the bytes are malformed, so that no field is set. Looks at this message "
        "alone\n"
        "  // and not at what is in its sub-messages and packed fields.\n");
    Print(
        scans_
            ? "  bool HasError() const { return error_; }\n"
            : "  bool HasError() const { return !::CmnSys::View::internal::IsFramed(source_); }\n");
    Print(
        "\n"
        "  // Parses the bytes into a message and returns whether that succeeds.\n"
        "  template <typename Message>\n"
        "  bool CopyTo(Message* message) const {\n"
        "    static_assert(::std::is_same_v<Message, $class$>);\n"
        "    return ::CmnSys::View::internal::CopyTo(source_, message);\n"
        "  }\n"
        "\n"
        "  // Calls visit(::CmnSys::View::UnknownField) for each unknown field, fields with "
        "numbers\n"
        "  // of extensions aside, and returns whether the bytes are well-formed.\n"
        "  template <typename Visit>\n"
        "  bool ForEachUnknownField(Visit visit) const {\n"
        "    return ::CmnSys::View::internal::ForEachUnknownField<$view$>(source_, visit);\n"
        "  }\n");
    if (message_->extension_range_count() > 0) {
      Print(
          "\n"
          "  // Extensions that are messages, by their identifiers: GetExtension gives the view "
          "of\n"
          "  // the payload, whose schema file's view header must be included.\n"
          "  template <typename Identifier>\n"
          "  bool HasExtension(const Identifier& identifier) const {\n"
          "    return extensions_.Has(source_, ExtensionTag(identifier));\n"
          "  }\n"
          "  template <typename Identifier>\n"
          "  auto GetExtension(const Identifier& identifier) const {\n"
          "    using Payload = ::CmnSys::View::internal::PayloadOf<Identifier>;\n"
          "    return typename ::CmnSys::View::ViewOf<Payload>::type(\n"
          "        extensions_.Get(source_, ExtensionTag(identifier)));\n"
          "  }\n");
    }
    for (const FieldDescriptor* field : fields_) WriteAccessors(field);
    Print(
        "\n"
        " private:\n"
        "  template <typename View, typename Visit>\n"
        "  friend bool ::CmnSys::View::internal::ForEachUnknownField(\n"
        "      const ::CmnSys::View::internal::Source& source, Visit& visit);\n"
        "  static ::CmnSys::View::internal::Known Knows(::std::uint32_t tag);\n"
        "  static bool HasNumber(::std::uint32_t field, ::std::int32_t number);\n");
    if (scans_) WriteState();
    Print(
        "  ::CmnSys::View::internal::Source source_;\n"
        "};\n");
  }

  void WriteMembers() {
    for (const FieldDescriptor* field : fields_) WriteMessageAccessor(field);
    WriteKnows();
    if (scans_) WriteScan();
  }

 private:
  void Print(const char* text, const Vars& more = {}) {
    Vars vars = {{"view", ClassName(message_) + "View"},
                 {"class", QualifiedClassName(message_)},
                 {"message", message_->full_name()}};
    vars.insert(more.begin(), more.end());
    printer_->Print(vars, text);
  }

  Vars FieldVars(const FieldDescriptor* field) const {
    const auto found = std::find(fields_.begin(), fields_.end(), field);
    const auto index = static_cast<std::size_t>(found - fields_.begin());
    Vars vars = {{"name", FieldName(field)},
                 {"number", std::to_string(field->number())},
                 {"has", "has" + std::to_string(index / 64)},
                 {"split", "split" + std::to_string(index / 64)},
                 {"bit", "(::std::uint64_t{1} << " + std::to_string(index % 64) + ")"},
                 {"type", CppType(field)},
                 {"format", Format(field)}};
    if (IsMessage(field) && HasView(field->message_type(), options_)) {
      vars["sub"] = ViewName(field->message_type());
    }
    if (IsMessage(field) || IsText(field)) {
      vars["tag"] = std::to_string(Tag(field, kLengthDelimited)) + "u";
    }
    if (!field->is_repeated()) vars["default"] = Default(field);
    vars["value"] = (IsText(field) ? "::std::string_view(f" : "(f") + vars["number"] + "_)";
    vars["stored"] = IsNumeric(field) ? vars["type"] : "::CmnSys::View::internal::Piece";
    return vars;
  }

  static std::string CppType(const FieldDescriptor* field) {
    return IsEnum(field) ? QualifiedClassName(field->enum_type()) : InfoOf(field).cpp_type;
  }

  static std::string Format(const FieldDescriptor* field) {
    if (!IsNumeric(field)) return "";
    return std::string("::CmnSys::View::internal::") +
           (IsEnum(field) ? "EnumFormat<" + QualifiedClassName(field->enum_type()) + ">"
                          : InfoOf(field).format);
  }

  // The range of a repeated field; empty when its elements have no view.
  std::string RangeType(const FieldDescriptor* field) const {
    if (IsMessage(field)) {
      return HasView(field->message_type(), options_)
                 ? "::CmnSys::View::MessageRange<" + ViewName(field->message_type()) + ">"
                 : "";
    }
    return IsText(field) ? "::CmnSys::View::BytesRange"
                         : "::CmnSys::View::ScalarRange<" + Format(field) + ">";
  }

  void WriteAccessors(const FieldDescriptor* field) {
    Vars vars = FieldVars(field);
    Print("\n");
    if (field->is_repeated()) {
      vars["range"] = RangeType(field);
      if (vars["range"].empty()) {
        Print("  // No view: $name$, of another library.\n", vars);
        return;
      }
      Print(
          "  $range$ $name$() const;\n"
          "  int $name$_size() const;\n",
          vars);
      return;
    }
    Print("  bool has_$name$() const { return ($has$_ & $bit$) != 0; }\n", vars);
    if (!IsMessage(field)) {
      Print("  $type$ $name$() const { return has_$name$() ? $value$ : $default$; }\n", vars);
    } else if (vars.count("sub") != 0) {
      Print("  $sub$ $name$() const;\n", vars);
    } else {
      Print("  // No view: $name$, of another library.\n", vars);
    }
  }

  void WriteMessageAccessor(const FieldDescriptor* field) {
    Vars vars = FieldVars(field);
    if (field->is_repeated()) {
      vars["range"] = RangeType(field);
      if (vars["range"].empty()) return;
      vars["first"] = scans_ ? "f" + vars["number"] + "_" : "source_.begin";
      vars["count"] = scans_ ? "n" + vars["number"] + "_"
                             : "::CmnSys::View::internal::Occurrences::kUnknownCount";
      vars["which"] = IsNumeric(field) ? vars["number"] + "u" : vars["tag"];
      vars["walk"] = IsNumeric(field) ? "ScalarWalk<" + vars["format"] + ">"
                     : IsText(field)  ? "BytesWalk"
                                      : "MessageWalk<" + vars["sub"] + ">";
      Print(
          "\n"
          "inline $range$ $view$::$name$() const {\n"
          "  return $range$(\n"
          "      ::CmnSys::View::internal::$walk$(source_, $first$, $count$, $which$));\n"
          "}\n"
          "inline int $view$::$name$_size() const {\n",
          vars);
      Print(scans_ && !IsNumeric(field) ? "  return static_cast<int>($count$);\n"
                                        : "  return $name$().size();\n",
            vars);
      Print("}\n");
    } else if (vars.count("sub") != 0) {
      Print(
          "\n"
          "inline $sub$ $view$::$name$() const {\n"
          "  if (($split$_ & $bit$) != 0) return $sub$(source_.SplitChild($tag$));\n"
          "  if (!has_$name$()) return $sub$(::CmnSys::View::internal::Source());\n"
          "  return $sub$(source_.Child(f$number$_));\n"
          "}\n",
          vars);
    }
  }

  // What scanning leaves in the view; values are those of fields that are set alone.
  void WriteState() {
    Print(
        "  bool Scan(const char* p, const char* e);\n"
        "  void ScanPieces();\n"
        "  void Fail();\n");
    if (message_->extension_range_count() > 0) {
      Print(
          "  template <typename Identifier>\n"
          "  static ::std::uint32_t ExtensionTag(const Identifier& identifier) {\n"
          "    static_assert(\n"
          "        ::std::is_base_of_v<typename Identifier::Extendee, $class$>,\n"
          "        \"The extension is one of another message.\");\n"
          "    return ::CmnSys::View::MakeTag(static_cast<::std::uint32_t>(identifier.number()),\n"
          "                                   ::CmnSys::View::kLengthDelimited);\n"
          "  }\n");
    }
    Print("\n");
    std::vector<const FieldDescriptor*> by_size = fields_;
    std::stable_sort(by_size.begin(), by_size.end(), [](const auto* a, const auto* b) {
      return (a->is_repeated() ? 16 : InfoOf(a).bytes) > (b->is_repeated() ? 16 : InfoOf(b).bytes);
    });
    for (std::size_t word = 0; word * 64 < fields_.size(); ++word) {
      Print("  ::std::uint64_t has$word$_ = 0;\n", {{"word", std::to_string(word)}});
      if (HasSubMessage(word)) {
        Print("  ::std::uint64_t split$word$_ = 0;\n", {{"word", std::to_string(word)}});
      }
    }
    for (const FieldDescriptor* field : by_size) {
      const Vars vars = FieldVars(field);
      Print(field->is_repeated() ? "  const char* f$number$_ = nullptr;\n"
                                   "  ::std::uint32_t n$number$_ = 0;\n"
                                 : "  $stored$ f$number$_;\n",
            vars);
    }
    Print("  bool error_ = false;\n");
    if (message_->extension_range_count() > 0) {
      Print("  ::CmnSys::View::internal::FoundExtensions extensions_;\n");
    }
  }

  // Whether there is a singular sub-message among the fields of a word of presence bits.
  bool HasSubMessage(std::size_t word) const {
    for (std::size_t i = word * 64; i < fields_.size() && i < (word + 1) * 64; ++i) {
      if (IsMessage(fields_[i]) && !fields_[i]->is_repeated()) return true;
    }
    return false;
  }

  void WriteKnows() {
    Print(
        "\n"
        "inline ::CmnSys::View::internal::Known $view$::Knows(::std::uint32_t tag) {\n"
        "  switch (tag) {\n");
    std::string enums;
    std::set<std::uint32_t> enum_tags;
    bool any = false;
    for (const FieldDescriptor* field : fields_) {
      std::vector<std::uint32_t> tags = {Tag(field, InfoOf(field).wire_type)};
      if (field->is_repeated() && IsNumeric(field)) tags.push_back(Tag(field, kLengthDelimited));
      for (const std::uint32_t tag : tags) {
        if (IsEnum(field)) {
          enum_tags.insert(tag);
        } else {
          any = true;
          Print("    case $tag$u:\n", {{"tag", std::to_string(tag)}});
        }
      }
    }
    if (any) Print("      return ::CmnSys::View::internal::Known::kYes;\n");
    for (const std::uint32_t tag : enum_tags) {
      Print("    case $tag$u:\n", {{"tag", std::to_string(tag)}});
    }
    if (!enum_tags.empty()) Print("      return ::CmnSys::View::internal::Known::kEnum;\n");
    Print("    default:\n");
    if (message_->extension_range_count() > 0) {
      Print("      if ($extension$) return ::CmnSys::View::internal::Known::kYes;\n",
            {{"extension", ExtensionCondition()}});
    }
    Print(
        "      return ::CmnSys::View::internal::Known::kNo;\n"
        "  }\n"
        "}\n"
        "inline bool $view$::HasNumber(::std::uint32_t $field$, ::std::int32_t $value$) {\n",
        {{"field", enum_tags.empty() ? "/*field*/" : "field"},
         {"value", enum_tags.empty() ? "/*number*/" : "number"}});
    if (!enum_tags.empty()) {
      Print("  switch (field) {\n");
      for (const FieldDescriptor* field : fields_) {
        if (!IsEnum(field)) continue;
        Print(
            "    case $number$u:\n"
            "      return ::CmnSys::View::internal::HasNumber<$type$>(number);\n",
            FieldVars(field));
      }
      Print(
          "    default:\n"
          "      return false;\n"
          "  }\n");
    } else {
      Print("  return false;\n");
    }
    Print("}\n");
  }

  // Whether a tag is one of an extension that is a message.
  std::string ExtensionCondition() const {
    std::string condition = "(tag & 7) == 2 && (";
    for (int i = 0; i < message_->extension_range_count(); ++i) {
      const Descriptor::ExtensionRange* range = message_->extension_range(i);
      if (i > 0) condition += " || ";
      // The tags of the numbers begin here and behind; the end may lie behind 32 bits.
      condition += "(tag >> 3 >= " + std::to_string(range->start) + "u && tag >> 3 < " +
                   std::to_string(range->end) + "u)";
    }
    return condition + ")";
  }

  void WriteScan() {
    const bool repeated = std::any_of(fields_.begin(), fields_.end(),
                                      [](const auto* field) { return field->is_repeated(); });
    const auto uses = [this](const std::function<bool(const FieldDescriptor*)>& use) {
      return std::any_of(fields_.begin(), fields_.end(), use);
    };
    Print(
        "\n"
        "inline bool $view$::Scan(const char* p, const char* e) {\n");
    for (std::size_t word = 0; word * 64 < fields_.size(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      Print("  ::std::uint64_t has$word$ = has$word$_;\n", vars);
      if (HasSubMessage(word)) Print("  ::std::uint64_t split$word$ = split$word$_;\n", vars);
    }
    Print("  ::std::uint32_t tag = 0;\n");
    if (uses([](const auto* field) { return !IsNumeric(field) || field->is_repeated(); }) ||
        message_->extension_range_count() > 0) {
      Print("  ::std::uint32_t length = 0;\n");
    }
    if (uses([](const auto* field) {
          return IsNumeric(field) && !field->is_repeated() && InfoOf(field).wire_type == kVarint;
        })) {
      Print("  ::std::uint64_t number = 0;\n");
    }
    if (repeated) Print("  const char* start = nullptr;\n");
    Print("  while (p != e) {\n");
    if (repeated) Print("    start = p;\n");
    Print(
        "    p = ::CmnSys::View::ReadTag(p, e, &tag);\n"
        "    if (p == nullptr) return false;\n"
        "    switch (tag) {\n");
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      WriteCase(fields_[i], i > 0, i + 1 < fields_.size() ? fields_[i + 1] : nullptr);
    }
    Print("      default:\n");
    if (message_->extension_range_count() > 0) {
      Print(
          "        if ($extension$) {\n"
          "          p = ::CmnSys::View::ReadLength(p, e, &length);\n"
          "          if (p == nullptr) return false;\n"
          "          extensions_.Add(tag, {p, length});\n"
          "          p += length;\n"
          "          break;\n"
          "        }\n",
          {{"extension", ExtensionCondition()}});
    }
    Print(
        "        p = ::CmnSys::View::SkipValue(p, e, tag, source_.depth_left());\n"
        "        if (p == nullptr) return false;\n"
        "        break;\n"
        "    }\n"
        "  }\n");
    for (std::size_t word = 0; word * 64 < fields_.size(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      Print("  has$word$_ = has$word$;\n", vars);
      if (HasSubMessage(word)) Print("  split$word$_ = split$word$;\n", vars);
    }
    Print(
        "  return true;\n"
        "}\n"
        "\n"
        "[[gnu::noinline]] inline void $view$::ScanPieces() {\n"
        "  if (!::CmnSys::View::internal::ForEachPiece(\n"
        "          source_, [this](const char* p, const char* e) { return Scan(p, e); })) {\n"
        "    Fail();\n"
        "  }\n"
        "}\n"
        "\n"
        "[[gnu::noinline, gnu::cold]] inline void $view$::Fail() {\n"
        "  error_ = true;\n");
    for (std::size_t word = 0; word * 64 < fields_.size(); ++word) {
      const Vars vars = {{"word", std::to_string(word)}};
      Print("  has$word$_ = 0;\n", vars);
      if (HasSubMessage(word)) Print("  split$word$_ = 0;\n", vars);
    }
    for (const FieldDescriptor* field : fields_) {
      if (field->is_repeated()) Print("  n$number$_ = 0;\n", FieldVars(field));
    }
    if (message_->extension_range_count() > 0) Print("  extensions_.Clear();\n");
    Print("}\n");
  }

  // The tag with which a field is expected: packed fields packed, others one by one.
  static std::uint32_t ExpectedTag(const FieldDescriptor* field) {
    return Tag(field, field->is_packed() ? kLengthDelimited : InfoOf(field).wire_type);
  }

  // Goes straight to the case of the field whose tag follows, if it does.
  void WriteJump(const FieldDescriptor* field) {
    const std::uint32_t tag = ExpectedTag(field);
    if (tag >= 0x4000) return;
    Print("        if (::CmnSys::View::internal::StartsWithTag<$tag$u>(p, e)) {\n",
          {{"tag", std::to_string(tag)}});
    if (field->is_repeated()) Print("          start = p;\n");
    Print(
        "          p += $size$;\n"
        "          goto field_$number$;\n"
        "        }\n",
        {{"size", tag < 0x80 ? "1" : "2"}, {"number", std::to_string(field->number())}});
  }

  void WriteCase(const FieldDescriptor* field, bool jumped_to, const FieldDescriptor* next) {
    const Vars vars = FieldVars(field);
    const auto tag_case = [this, field](std::uint32_t wire_type) {
      Print("      case $tag$u:\n", {{"tag", std::to_string(Tag(field, wire_type))}});
    };
    const std::uint32_t wire_type = InfoOf(field).wire_type;
    jumped_to = (jumped_to || field->is_repeated()) && ExpectedTag(field) < 0x4000;
    const auto label = [&] {
      if (jumped_to) Print("      field_$number$:\n", vars);
    };
    if (field->is_repeated() && IsNumeric(field)) {
      // The form that is not expected comes first and goes on like the other one.
      const std::uint32_t other = field->is_packed() ? wire_type : kLengthDelimited;
      const auto read = [this](std::uint32_t type, const char* end) {
        if (type == kLengthDelimited) {
          Print(
              "        p = ::CmnSys::View::ReadLength(p, e, &length);\n"
              "        if (p == nullptr) return false;\n"
              "        p += length;\n");
        } else {
          Print(
              "        p = ::CmnSys::View::SkipValue(p, e, $type$u | 8, 0);\n"
              "        if (p == nullptr) return false;\n",
              {{"type", std::to_string(type)}});
        }
        Print(end);
      };
      tag_case(other);
      read(other, "");
      Print(
          "        if (n$number$_++ == 0) f$number$_ = start;\n"
          "        break;\n",
          vars);
      tag_case(field->is_packed() ? kLengthDelimited : wire_type);
      label();
      read(field->is_packed() ? kLengthDelimited : wire_type, "");
      Print("        if (n$number$_++ == 0) f$number$_ = start;\n", vars);
    } else {
      tag_case(wire_type);
      label();
      if (wire_type == kLengthDelimited) {
        Print(
            "        p = ::CmnSys::View::ReadLength(p, e, &length);\n"
            "        if (p == nullptr) return false;\n");
        if (field->is_repeated()) {
          Print("        if (n$number$_++ == 0) f$number$_ = start;\n", vars);
        } else {
          if (IsMessage(field)) Print("        $split$ |= $has$ & $bit$;\n", vars);
          Print(
              "        f$number$_ = {p, length};\n"
              "        $has$ |= $bit$;\n",
              vars);
        }
        Print("        p += length;\n");
      } else if (wire_type == kVarint) {
        Print(
            "        p = ::CmnSys::View::ReadVarint(p, e, &number);\n"
            "        if (p == nullptr) return false;\n");
        if (IsEnum(field)) {
          Print(
              "        if (::CmnSys::View::internal::HasNumber<$type$>(\n"
              "                static_cast<::std::int32_t>(number))) {\n"
              "          f$number$_ = static_cast<$type$>(static_cast<::std::int32_t>(number));\n"
              "          $has$ |= $bit$;\n"
              "        }\n",
              vars);
        } else {
          Print(
              "        f$number$_ = $format$::Convert(number);\n"
              "        $has$ |= $bit$;\n",
              vars);
        }
      } else {
        Print(
            "        p = ::CmnSys::View::ReadFixed(p, e, &f$number$_);\n"
            "        if (p == nullptr) return false;\n"
            "        $has$ |= $bit$;\n",
            vars);
      }
    }
    if (field->is_repeated()) WriteJump(field);
    if (next != nullptr) WriteJump(next);
    Print("        break;\n");
  }

  const Descriptor* message_;
  const Options& options_;
  Printer* printer_;
  std::vector<const FieldDescriptor*> fields_;  // In the order of their numbers.
  // Whether making a view reads the message. Without singular fields and extensions that can wait
  // until one of the lists is walked over.
  bool scans_ = false;
};

void ForEachMessage(const Descriptor* message, const std::function<void(const Descriptor*)>& call) {
  call(message);
  for (int i = 0; i < message->nested_type_count(); ++i) {
    ForEachMessage(message->nested_type(i), call);
  }
}

void ForEachMessage(const FileDescriptor* file,
                    const std::function<void(const Descriptor*)>& call) {
  for (int i = 0; i < file->message_type_count(); ++i) ForEachMessage(file->message_type(i), call);
}

std::vector<const EnumDescriptor*> EnumsOf(const FileDescriptor* file) {
  std::vector<const EnumDescriptor*> enums;
  for (int i = 0; i < file->enum_type_count(); ++i) enums.push_back(file->enum_type(i));
  ForEachMessage(file, [&enums](const Descriptor* message) {
    for (int i = 0; i < message->enum_type_count(); ++i) enums.push_back(message->enum_type(i));
  });
  return enums;
}

void WriteNumbers(const EnumDescriptor* type, Printer* printer) {
  std::set<int> numbers;
  for (int i = 0; i < type->value_count(); ++i) numbers.insert(type->value(i)->number());
  printer->Print(
      "template <>\n"
      "constexpr bool HasNumber<$type$>(::std::int32_t number) {\n"
      "  switch (number) {\n",
      "type", QualifiedClassName(type));
  for (const int number : numbers) {
    printer->Print("    case $number$:\n", "number", std::to_string(number));
  }
  printer->Print(
      "      return true;\n"
      "    default:\n"
      "      return false;\n"
      "  }\n"
      "}\n");
}

}  // namespace

bool HasView(const Descriptor* message, const Options& options) {
  if (!HasViews(message->file(), options) || message->oneof_decl_count() > 0 ||
      message->options().message_set_wire_format() || message->options().map_entry()) {
    return false;
  }
  for (int i = 0; i < message->field_count(); ++i) {
    const FieldDescriptor* field = message->field(i);
    if (field->is_map() || field->is_required() || field->type() == FieldDescriptor::TYPE_GROUP ||
        (IsEnum(field) && !HasViews(field->enum_type()->file(), options))) {
      return false;
    }
  }
  return true;
}

std::string ViewHeaderPath(const FileDescriptor* file) {
  return google::protobuf::compiler::cpp::StripProto(file->name()) + ".view.h";
}

void WriteViewHeader(const FileDescriptor* file, const Options& options, Printer* printer) {
  const std::string guard = "CMNSYS_VIEW_" + MangledPath(file->name());
  printer->Print(
      "// Generated by protoc-gen-cmnsys from $file$. Do not edit.\n"
      "//\n"
      "// Views of the file's messages, which read their bytes in place.\n"
      "\n"
      "#ifndef $guard$\n"
      "#define $guard$\n"
      "\n"
      "#include <cstdint>\n"
      "#include <limits>\n"
      "#include <string_view>\n"
      "#include <type_traits>\n"
      "\n"
      "#include \"CmnSys/View/View.h\"\n",
      "file", file->name(), "guard", guard);
  std::set<const FileDescriptor*> used;
  std::vector<const Descriptor*> messages;
  ForEachMessage(file, [&](const Descriptor* message) {
    if (!HasView(message, options)) return;
    messages.push_back(message);
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      if (IsMessage(field)) used.insert(field->message_type()->file());
      if (IsEnum(field)) used.insert(field->enum_type()->file());
    }
  });
  for (int i = 0; i < file->dependency_count(); ++i) {
    const FileDescriptor* import = file->dependency(i);
    if (used.count(import) != 0 && HasViews(import, options)) {
      printer->Print("#include \"$path$\"\n", "path", ViewHeaderPath(import));
    }
  }

  const std::vector<std::string> parts = PackageParts(file);
  const auto open = [&] {
    printer->Print("\n");
    for (const std::string& part : parts) printer->Print("namespace $part$ {\n", "part", part);
  };
  const auto close = [&] {
    for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
      printer->Print("}  // namespace $part$\n", "part", *part);
    }
  };

  open();
  for (const EnumDescriptor* type : EnumsOf(file)) {
    printer->Print("enum $name$ : int;\n", "name", ClassName(type));
  }
  for (const Descriptor* message : messages) {
    printer->Print(
        "class $name$;\n"
        "class $name$View;\n",
        "name", ClassName(message));
  }
  close();

  printer->Print("\nnamespace CmnSys::View {\n");
  for (const Descriptor* message : messages) {
    printer->Print(
        "template <>\n"
        "struct ViewOf<$class$> {\n"
        "  using type = $class$View;\n"
        "};\n",
        "class", QualifiedClassName(message));
  }
  printer->Print("namespace internal {\n");
  for (const EnumDescriptor* type : EnumsOf(file)) WriteNumbers(type, printer);
  printer->Print(
      "}  // namespace internal\n"
      "}  // namespace CmnSys::View\n");

  open();
  for (const Descriptor* message : messages) ViewWriter(message, options, printer).WriteClass();
  for (const Descriptor* message : messages) ViewWriter(message, options, printer).WriteMembers();
  printer->Print("\n");
  close();
  printer->Print("\n#endif  // $guard$\n", "guard", guard);
}

}  // namespace CmnSys::Compiler
