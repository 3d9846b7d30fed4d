// A protoc plugin for the tests: writes for each schema file the functions that go through all
// fields of its messages, in one file those of views (see comparer.h), in another one those of
// writers (see values.h).

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/compiler/plugin.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "messages.h"

namespace {

using CmnSys::Compiler::FieldsByNumber;
using CmnSys::Compiler::HeaderPath;
using CmnSys::Compiler::IsEnum;
using CmnSys::Compiler::IsMessage;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::GeneratorContext;
using google::protobuf::compiler::cpp::FieldName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

using Vars = std::map<std::string, std::string>;

std::string Mangled(std::string name) {
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

const char* ComparisonOf(const FieldDescriptor* field) {
  if (field->is_extension()) {
    return "  comparer.IsMessage($number$,\n"
           "      view.HasExtension(Identifier<$extendee$, $class$, $number$>()),\n"
           "      view.GetExtension(Identifier<$extendee$, $class$, $number$>()));\n";
  }
  if (field->is_repeated()) {
    return IsMessage(field)
               ? "  comparer.AreMessages($number$, view.$name$(), view.$name$_size());\n"
               : "  comparer.AreValues($number$, view.$name$(), view.$name$_size());\n";
  }
  if (IsMessage(field)) {
    return "  comparer.IsMessage($number$, view.has_$name$(), view.$name$());\n";
  }
  return IsEnum(field) ? "  comparer.IsEnum($number$, view.has_$name$(), "
                         "static_cast<int>(view.$name$()));\n"
                       : "  comparer.Is($number$, view.has_$name$(), view.$name$());\n";
}

const char* WritingOf(const FieldDescriptor* field) {
  if (field->is_extension()) {
    return "    case $number$: {\n"
           "      auto sub = writer.MutableExtension(Identifier<$extendee$, $class$, "
           "$number$>());\n"
           "      WriteFields(sub, values.Sub());\n"
           "      break;\n"
           "    }\n";
  }
  if (field->is_packed()) {
    return "    case $number$: {\n"
           "      auto list = writer.mutable_$name$();\n"
           "      do list.Add($value$); while (values.NextElement());\n"
           "      break;\n"
           "    }\n";
  }
  if (IsMessage(field)) {
    return "    case $number$: {\n"
           "      auto sub = writer.$begin$_$name$();\n"
           "      WriteFields(sub, values.Sub());\n"
           "      break;\n"
           "    }\n";
  }
  return "    case $number$: writer.$set$_$name$($value$); break;\n";
}

Vars VarsOf(const FieldDescriptor* field, const Descriptor* message) {
  Vars vars = {{"number", std::to_string(field->number())},
               {"extendee", QualifiedClassName(message)},
               {"name", FieldName(field)},
               {"set", field->is_repeated() ? "add" : "set"},
               {"begin", field->is_repeated() ? "add" : "mutable"},
               {"value", std::string("values.Get_") + field->cpp_type_name() + "()"}};
  if (IsMessage(field)) vars["class"] = QualifiedClassName(field->message_type());
  if (IsEnum(field)) {
    vars["value"] =
        "static_cast<" + QualifiedClassName(field->enum_type()) + ">(" + vars["value"] + ")";
  }
  return vars;
}

std::vector<const FieldDescriptor*> FieldsAndExtensions(const Descriptor* message) {
  std::vector<const FieldDescriptor*> fields = FieldsByNumber(message);
  std::vector<const FieldDescriptor*> extensions;
  message->file()->pool()->FindAllExtensions(message, &extensions);
  fields.insert(fields.end(), extensions.begin(), extensions.end());
  return fields;
}

// Writes one of the two files. `$view$` and `$writer$` name the class of a message.
void WriteFile(const FileDescriptor* file, bool compares, GeneratorContext* context) {
  const std::string suffix = compares ? ".view.h" : ".writer.h";
  const std::string kind = compares ? "View" : "Writer";
  const char* const signature =
      compares ? "void CompareFields(const $class$View& view, Comparer comparer)"
               : "void WriteFields([[maybe_unused]] $class$Writer& writer, Values values)";
  const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(
      context->Open(HeaderPath(file, compares ? ".compare.cc" : ".write.cc")));
  Printer printer(stream.get(), '$');
  const std::vector<const Descriptor*> messages = CmnSys::Compiler::MessagesOf(file);
  std::set<std::string> headers = {HeaderPath(file, suffix)};
  std::set<std::string> used;
  for (const Descriptor* message : messages) {
    for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
      if (!IsMessage(field)) continue;
      used.insert(QualifiedClassName(field->message_type()));
      if (field->is_extension()) headers.insert(HeaderPath(field->message_type()->file(), suffix));
    }
  }
  printer.Print("#include \"views/$header$\"\n", "header", compares ? "comparer.h" : "values.h");
  for (const std::string& header : headers) {
    printer.Print("#include \"$header$\"\n", "header", header);
  }
  printer.Print("namespace CmnSys::Test {\n");
  for (const std::string& name : used) {
    printer.Print(signature, "class", name);
    printer.Print(";\n");
  }
  for (const Descriptor* message : messages) {
    printer.Print(signature, "class", QualifiedClassName(message));
    printer.Print(compares ? " {\n  comparer.Self(view);\n"
                           : " {\n  while (values.Next()) switch (values.number()) {\n");
    for (const FieldDescriptor* field : FieldsAndExtensions(message)) {
      printer.Print(VarsOf(field, message), compares ? ComparisonOf(field) : WritingOf(field));
    }
    printer.Print(
        {{"mangled", Mangled(message->full_name())},
         {"name", message->full_name()},
         {"class", QualifiedClassName(message)}},
        compares ? "}\n"
                   "[[maybe_unused]] const bool added_$mangled$ =\n"
                   "    Comparers().emplace(\"$name$\", &CompareView<$class$View>).second;\n"
                 : "    default: values.Unexpected();\n"
                   "  }\n"
                   "}\n"
                   "[[maybe_unused]] const bool added_$mangled$ =\n"
                   "    WriteFunctions().emplace(\"$name$\", &WriteWith<$class$Writer>).second;\n");
  }
  printer.Print("}  // namespace CmnSys::Test\n");
}

class FieldsGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  bool Generate(const FileDescriptor* file, const std::string& /*parameter*/,
                GeneratorContext* context, std::string* /*error*/) const override {
    WriteFile(file, true, context);
    WriteFile(file, false, context);
    return true;
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  const FieldsGenerator generator;
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
