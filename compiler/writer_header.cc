#include "writer_header.h"

#include <google/protobuf/compiler/cpp/names.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "in_place.h"
#include "messages.h"
#include "wire_format.h"

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::cpp::ClassName;
using google::protobuf::compiler::cpp::FieldName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

using Vars = std::map<std::string, std::string>;

// A tag's bytes on the wire, the first one lowest, and their number.
std::string TagBytes(std::uint32_t tag) {
  std::uint64_t bytes = 0;
  unsigned size = 0;
  for (std::uint64_t rest = tag; rest != 0 || size == 0; rest >>= 7, ++size) {
    bytes |= ((rest & 0x7f) | (rest >= 0x80 ? 0x80 : 0)) << (8 * size);
  }
  char text[40];
  std::snprintf(text, sizeof text, "{0x%llxu, %uu}", static_cast<unsigned long long>(bytes), size);
  return text;
}

// The function that writes an element of a packed list.
std::string PutFunction(const FieldDescriptor* field) {
  const std::string put = "::CmnSys::View::internal::Put";
  if (IsEnum(field)) return put + "Enum<" + CppType(field) + ">";
  return InfoOf(field).wire_type == kVarint ? put + InfoOf(field).format
                                            : put + "Fixed<" + CppType(field) + ">";
}

Vars VarsOf(const FieldDescriptor* field, const Options& options) {
  const std::uint32_t wire_type = field->is_packed() ? kLengthDelimited : InfoOf(field).wire_type;
  Vars vars = {{"name", FieldName(field)},
               {"writer", ClassName(field->containing_type()) + "Writer"},
               {"tag", TagBytes(Tag(field, wire_type))},
               {"type", CppType(field)},
               {"set", field->is_repeated() ? "add" : "set"},
               {"begin", field->is_repeated() ? "add" : "mutable"}};
  // Enums convert to Int32.
  vars["format"] = IsText(field) ? "Bytes" : IsEnum(field) ? "Int32" : InfoOf(field).format;
  if (field->is_packed()) {
    vars["list"] = "::CmnSys::View::PackedWriter<" + vars["type"] + ", " + PutFunction(field) + ">";
  }
  if (IsMessage(field) && IsInPlace(field->message_type(), options)) {
    vars["sub"] = WriterName(field->message_type());
    vars["message"] = QualifiedClassName(field->message_type());
  }
  return vars;
}

void WriteAccessors(const FieldDescriptor* field, const Options& options, Printer* printer) {
  const Vars vars = VarsOf(field, options);
  const char* text = nullptr;
  if (field->is_packed()) {
    text = "  $list$ mutable_$name$() { return {this, $tag$}; }\n";
  } else if (!IsMessage(field)) {
    text = "  void $set$_$name$($type$ value) { $format$($tag$, value); }\n";
  } else if (vars.count("sub") == 0) {  // Of another library: its bytes.
    text = "  void $set$_$name$(::std::string_view message) { Bytes($tag$, message); }\n";
  } else {
    text =
        "  $sub$ $begin$_$name$();\n"
        "  template <typename From>\n"
        "  bool $set$_$name$(const From& from) { return Copy<$message$>($tag$, from); }\n";
  }
  printer->Print(vars, text);
}

void WriteClass(const Descriptor* message, const Options& options, Printer* printer) {
  const Vars vars = {{"writer", ClassName(message) + "Writer"},
                     {"class", QualifiedClassName(message)},
                     {"message", message->full_name()}};
  printer->Print(vars,
                 "\n"
                 "// Writes a $message$; see CmnSys/View/Writer.h for what all writers can.\n"
                 "class $writer$ : public ::CmnSys::View::internal::MessageWriter {\n"
                 " public:\n"
                 "  using MessageWriter::MessageWriter;\n");
  for (const FieldDescriptor* field : FieldsByNumber(message)) {
    WriteAccessors(field, options, printer);
  }
  if (message->extension_range_count() > 0) {
    printer->Print(
        vars,
        "\n"
        "  // Extensions that are messages, by their identifiers. The writer header of the\n"
        "  // payload's schema file must be included.\n"
        "  template <typename Identifier>\n"
        "  auto MutableExtension(const Identifier& identifier) {\n"
        "    using Payload = ::CmnSys::View::internal::PayloadOf<Identifier>;\n"
        "    return typename ::CmnSys::View::WriterOf<Payload>::type(this, "
        "ExtensionTag(identifier));\n"
        "  }\n"
        "  template <typename Identifier, typename From>\n"
        "  bool SetExtension(const Identifier& identifier, const From& from) {\n"
        "    using Payload = ::CmnSys::View::internal::PayloadOf<Identifier>;\n"
        "    return Copy<Payload>(ExtensionTag(identifier), from);\n"
        "  }\n"
        "\n"
        " private:\n"
        "  template <typename Identifier>\n"
        "  static ::CmnSys::View::internal::TagBytes ExtensionTag(const Identifier& identifier) "
        "{\n"
        "    return ::CmnSys::View::internal::BytesOf(\n"
        "        ::CmnSys::View::internal::ExtensionTag<$class$>(identifier));\n"
        "  }\n");
  }
  printer->Print("};\n");
}

void WriteMembers(const Descriptor* message, const Options& options, Printer* printer) {
  for (const FieldDescriptor* field : FieldsByNumber(message)) {
    const Vars vars = VarsOf(field, options);
    if (vars.count("sub") == 0) continue;
    printer->Print(vars, "inline $sub$ $writer$::$begin$_$name$() { return {this, $tag$}; }\n");
  }
}

}  // namespace

void WriteWriterHeader(const FileDescriptor* file, const Options& options, Printer* printer) {
  InPlaceHeader header(file, options, printer);
  header.Begin(kWriterSuffix, "Writers of the file's messages, which write bytes without objects.",
               {"<cstdint>", "<string_view>", "", "\"CmnSys/View/Writer.h\""});
  header.Declare("Writer");
  header.InNamespace([&] {
    for (const Descriptor* message : header.messages()) WriteClass(message, options, printer);
    printer->Print("\n");
    for (const Descriptor* message : header.messages()) WriteMembers(message, options, printer);
    printer->Print("\n");
  });
  header.End();
}

}  // namespace CmnSys::Compiler
