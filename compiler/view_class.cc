#include "view_class.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "messages.h"
#include "view_scan.h"
#include "wire_format.h"

namespace CmnSys::Compiler {

using google::protobuf::FieldDescriptor;

namespace {

// Writes the view of one message.
class ViewWriter {
 public:
  explicit ViewWriter(const ViewFields& fields) : fields_(fields) {}

  void WriteClass() {
    fields_.Print(
        "\n"
        "// Reads a $message$ in place. The bytes must stay while it, or what came from it, is "
        "used.\n"
        "$lists$"
        "class $view$ {\n"
        " public:\n"
        "  // The view of a message's bytes, which need not be valid: see HasError.\n"
        "  explicit $view$(::std::string_view bytes)\n"
        "      : $view$(::CmnSys::View::internal::Source(bytes)) {}\n"
        "  explicit $view$(const ::CmnSys::View::internal::Source& source) : source_(source) {\n",
        {{"lists", HasLists() ? "// Lists can also be had of the message's bytes alone: up to "
                                "malformed ones, and without the pass over\n"
                                "// the message that makes a view.\n"
                              : ""}});
    if (fields_.scanned()) {
      fields_.Print(
          "    if (source.path_size != 0 || source.bad) {\n"
          "      ScanPieces();\n"
          "    } else if (!Scan(source.begin, source.end())) {\n"
          "      Fail();\n"
          "    }\n");
    }
    fields_.Print(
        "  }\n"
        "\n"
        "  // Whether the bytes are malformed, so that no field is set. Looks at this message "
        "alone\n"
        "  // and not at what is in its sub-messages and packed fields.\n");
    fields_.Print(
        fields_.scanned()
            ? "  bool HasError() const { return error_; }\n"
            : "  bool HasError() const { return !::CmnSys::View::internal::IsFramed(source_); }\n");
    fields_.Print(
        "\n"
        "  // Parses the bytes into a message and returns whether that succeeds.\n"
        "  template <typename Message>\n"
        "  bool CopyTo(Message* message) const {\n"
        "    static_assert(::std::is_same_v<Message, $class$>);\n"
        "    return ::CmnSys::View::internal::CopyTo(source_, message);\n"
        "  }\n"
        "\n"
        "  // Calls visit(::std::string_view) for the pieces of bytes that the message consists "
        "of: "
        "one,\n"
        "  // or several where a sub-message occurs again. One behind the other they are the "
        "message.\n"
        "  // Returns false where they cannot be told apart.\n"
        "  template <typename Visit>\n"
        "  bool ForEachPiece(Visit visit) const {\n"
        "    return ::CmnSys::View::internal::ForEachPiece(\n"
        "        source_, [&visit](const char* begin, const char* end) {\n"
        "          visit(::std::string_view(begin, static_cast<::std::size_t>(end - begin)));\n"
        "          return true;\n"
        "        });\n"
        "  }\n"
        "\n"
        "  // Calls visit(::CmnSys::View::UnknownField) for each unknown field, fields with "
        "numbers\n"
        "  // of extensions aside, and returns whether the bytes are well-formed.\n"
        "  template <typename Visit>\n"
        "  bool ForEachUnknownField(Visit visit) const {\n"
        "    return ::CmnSys::View::internal::ForEachUnknownField<$view$>(source_, visit);\n"
        "  }\n");
    if (fields_.has_extensions()) {
      fields_.Print(
          "\n"
          "  // Extensions that are messages, by their identifiers: GetExtension gives the view "
          "of\n"
          "  // the payload, whose schema file's view header must be included.\n"
          "  template <typename Identifier>\n"
          "  bool HasExtension(const Identifier& identifier) const {\n"
          "    return extensions_.Has(source_, "
          "::CmnSys::View::internal::ExtensionTag<$class$>(identifier));\n"
          "  }\n"
          "  template <typename Identifier>\n"
          "  auto GetExtension(const Identifier& identifier) const {\n"
          "    using Payload = ::CmnSys::View::internal::PayloadOf<Identifier>;\n"
          "    return extensions_.template Get<typename ::CmnSys::View::ViewOf<Payload>::type>(\n"
          "        source_, ::CmnSys::View::internal::ExtensionTag<$class$>(identifier));\n"
          "  }\n");
    }
    for (const FieldDescriptor* field : fields_.all()) WriteAccessors(field);
    fields_.Print(
        "\n"
        " private:\n"
        "  template <typename View, typename Visit>\n"
        "  friend bool ::CmnSys::View::internal::ForEachUnknownField(\n"
        "      const ::CmnSys::View::internal::Source& source, Visit& visit);\n"
        "  static ::CmnSys::View::internal::Known Knows(::std::uint32_t tag);\n"
        "  static bool HasNumber(::std::uint32_t field, ::std::int32_t number);\n");
    if (fields_.scanned()) WriteState();
    fields_.Print(
        "  ::CmnSys::View::internal::Source source_;\n"
        "};\n");
  }

  void WriteMembers() {
    for (const FieldDescriptor* field : fields_.all()) WriteMessageAccessor(field);
    WriteKnows();
    if (fields_.scanned()) WriteViewScan(fields_);
  }

 private:
  // The range of a repeated field with these variables; empty when its elements have no view.
  static std::string RangeType(const FieldDescriptor* field, const Vars& vars) {
    if (IsText(field)) return "::CmnSys::View::BytesRange";
    if (IsNumeric(field)) return "::CmnSys::View::ScalarRange<" + vars.at("format") + ">";
    return vars.count("sub") != 0 ? "::CmnSys::View::MessageRange<" + vars.at("sub") + ">" : "";
  }

  bool HasLists() const {
    return std::any_of(fields_.all().begin(), fields_.all().end(),
                       [](const FieldDescriptor* field) { return field->is_repeated(); });
  }

  void WriteAccessors(const FieldDescriptor* field) {
    Vars vars = fields_.VarsOf(field);
    fields_.Print("\n");
    if (field->is_repeated()) {
      vars["range"] = RangeType(field, vars);
      if (vars["range"].empty()) {
        fields_.Print("  // $name$ has no view.\n", vars);
        return;
      }
      fields_.Print(
          "  $range$ $name$() const;\n"
          "  static $range$ $name$(::std::string_view bytes);\n"
          "  int $name$_size() const;\n",
          vars);
      return;
    }
    fields_.Print("  bool has_$name$() const { return ($has$_ & $bit$) != 0; }\n", vars);
    if (!IsMessage(field)) {
      fields_.Print("  $type$ $name$() const { return has_$name$() ? $value$ : $default$; }\n",
                    vars);
    } else if (vars.count("sub") != 0) {
      fields_.Print("  $sub$ $name$() const;\n", vars);
    } else {
      fields_.Print("  // $name$ has no view.\n", vars);
    }
  }

  void WriteMessageAccessor(const FieldDescriptor* field) {
    Vars vars = fields_.VarsOf(field);
    if (field->is_repeated()) {
      vars["range"] = RangeType(field, vars);
      if (vars["range"].empty()) return;
      vars["first"] = fields_.scanned() ? "f" + vars["number"] + "_" : "0";
      vars["count"] = fields_.scanned() ? "n" + vars["number"] + "_"
                                        : "::CmnSys::View::internal::Occurrences::kUnknownCount";
      vars["which"] = IsNumeric(field) ? vars["number"] + "u" : vars["tag"];
      vars["walk"] = IsNumeric(field) ? "ScalarWalk<" + vars["format"] + ">"
                     : IsText(field)  ? "BytesWalk"
                                      : "MessageWalk<" + vars["sub"] + ">";
      fields_.Print(
          "\n"
          "inline $range$ $view$::$name$() const {\n"
          "  return $range$(\n"
          "      ::CmnSys::View::internal::$walk$(source_, $first$, $count$, $which$));\n"
          "}\n"
          "inline $range$ $view$::$name$(::std::string_view bytes) {\n"
          "  return $range$(::CmnSys::View::internal::$walk$(\n"
          "      ::CmnSys::View::internal::Source(bytes), 0,\n"
          "      ::CmnSys::View::internal::Occurrences::kUnknownCount, $which$));\n"
          "}\n"
          "inline int $view$::$name$_size() const {\n",
          vars);
      fields_.Print(fields_.scanned() && !IsNumeric(field) ? "  return static_cast<int>($count$);\n"
                                                           : "  return $name$().size();\n",
                    vars);
      fields_.Print("}\n");
    } else if (vars.count("sub") != 0) {
      fields_.Print(
          "\n"
          "inline $sub$ $view$::$name$() const {\n"
          "  if (($split$_ & $bit$) != 0) return $sub$(source_.SplitChild($tag$));\n"
          "  if (!has_$name$()) return $sub$(::CmnSys::View::internal::Source());\n"
          "  return $sub$(source_.Child(source_.At(f$number$_)));\n"
          "}\n",
          vars);
    }
  }

  // What scanning leaves in the view; values are those of fields that are set alone.
  void WriteState() {
    fields_.Print(
        "  bool Scan(const char* p, const char* e);\n"
        "  void ScanPieces();\n"
        "  void Fail();\n");
    fields_.Print("\n");
    std::vector<const FieldDescriptor*> by_size = fields_.all();
    std::stable_sort(by_size.begin(), by_size.end(), [](const auto* a, const auto* b) {
      return (a->is_repeated() ? 8 : InfoOf(a).bytes) > (b->is_repeated() ? 8 : InfoOf(b).bytes);
    });
    for (std::size_t word = 0; word < fields_.words(); ++word) {
      fields_.Print("  ::std::uint64_t has$word$_ = 0;\n", {{"word", std::to_string(word)}});
      if (fields_.HasSubMessage(word)) {
        fields_.Print("  ::std::uint64_t split$word$_ = 0;\n", {{"word", std::to_string(word)}});
      }
    }
    for (const FieldDescriptor* field : by_size) {
      const Vars vars = fields_.VarsOf(field);
      fields_.Print(field->is_repeated() ? "  ::std::uint32_t f$number$_ = 0;\n"
                                           "  ::std::uint32_t n$number$_ = 0;\n"
                                         : "  $stored$ f$number$_;\n",
                    vars);
    }
    fields_.Print("  bool error_ = false;\n");
    if (fields_.has_extensions()) {
      fields_.Print("  ::CmnSys::View::internal::FoundExtensions extensions_;\n");
    }
  }

  void WriteKnows() {
    fields_.Print(
        "\n"
        "inline ::CmnSys::View::internal::Known $view$::Knows(::std::uint32_t tag) {\n"
        "  switch (tag) {\n");
    std::set<std::uint32_t> enum_tags;
    bool any = false;
    for (const FieldDescriptor* field : fields_.all()) {
      std::vector<std::uint32_t> tags = {Tag(field, InfoOf(field).wire_type)};
      if (field->is_repeated() && IsNumeric(field)) tags.push_back(Tag(field, kLengthDelimited));
      for (const std::uint32_t tag : tags) {
        if (IsEnum(field)) {
          enum_tags.insert(tag);
        } else {
          any = true;
          fields_.Print("    case $tag$u:\n", {{"tag", std::to_string(tag)}});
        }
      }
    }
    if (any) fields_.Print("      return ::CmnSys::View::internal::Known::kYes;\n");
    for (const std::uint32_t tag : enum_tags) {
      fields_.Print("    case $tag$u:\n", {{"tag", std::to_string(tag)}});
    }
    if (!enum_tags.empty()) fields_.Print("      return ::CmnSys::View::internal::Known::kEnum;\n");
    fields_.Print("    default:\n");
    if (fields_.has_extensions()) {
      fields_.Print("      if ($extension$) return ::CmnSys::View::internal::Known::kYes;\n",
                    {{"extension", fields_.ExtensionCondition()}});
    }
    fields_.Print(
        "      return ::CmnSys::View::internal::Known::kNo;\n"
        "  }\n"
        "}\n"
        "inline bool $view$::HasNumber(::std::uint32_t $field$, ::std::int32_t $value$) {\n",
        {{"field", enum_tags.empty() ? "/*field*/" : "field"},
         {"value", enum_tags.empty() ? "/*number*/" : "number"}});
    if (!enum_tags.empty()) {
      fields_.Print("  switch (field) {\n");
      for (const FieldDescriptor* field : fields_.all()) {
        if (!IsEnum(field)) continue;
        fields_.Print(
            "    case $number$u:\n"
            "      return ::CmnSys::View::internal::HasNumber<$type$>(number);\n",
            fields_.VarsOf(field));
      }
      fields_.Print(
          "    default:\n"
          "      return false;\n"
          "  }\n");
    } else {
      fields_.Print("  return false;\n");
    }
    fields_.Print("}\n");
  }

  const ViewFields& fields_;
};

}  // namespace

void WriteViewClass(const ViewFields& fields) { ViewWriter(fields).WriteClass(); }

void WriteViewMembers(const ViewFields& fields) { ViewWriter(fields).WriteMembers(); }

}  // namespace CmnSys::Compiler
