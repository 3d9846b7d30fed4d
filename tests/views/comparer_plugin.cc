// A protoc plugin for the tests: writes for each schema file the functions that go through all
// fields of its messages' views, see comparer.h.

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/compiler/plugin.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::cpp::FieldName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

void Collect(const Descriptor* message, std::vector<const Descriptor*>* messages) {
  messages->push_back(message);
  for (int i = 0; i < message->nested_type_count(); ++i) {
    Collect(message->nested_type(i), messages);
  }
}

std::string ViewHeader(const FileDescriptor* file) {
  return google::protobuf::compiler::cpp::StripProto(file->name()) + ".view.h";
}

std::string Mangled(std::string name) {
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

bool IsMessage(const FieldDescriptor* field) {
  return field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}

void WriteField(const FieldDescriptor* field, Printer* printer) {
  const std::string name = FieldName(field);
  const char* text = nullptr;
  if (field->is_repeated()) {
    text = IsMessage(field)
               ? "  comparer.AreMessages($number$, view.$name$(), view.$name$_size());\n"
               : "  comparer.AreValues($number$, view.$name$(), view.$name$_size());\n";
  } else if (IsMessage(field)) {
    text = "  comparer.IsMessage($number$, view.has_$name$(), view.$name$());\n";
  } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
    text = "  comparer.IsEnum($number$, view.has_$name$(), static_cast<int>(view.$name$()));\n";
  } else {
    text = "  comparer.Is($number$, view.has_$name$(), view.$name$());\n";
  }
  printer->Print(text, "number", std::to_string(field->number()), "name", name);
}

class ComparerGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  bool Generate(const FileDescriptor* file, const std::string& /*parameter*/,
                google::protobuf::compiler::GeneratorContext* context,
                std::string* /*error*/) const override {
    const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(
        context->Open(google::protobuf::compiler::cpp::StripProto(file->name()) + ".compare.cc"));
    Printer printer(stream.get(), '$');
    std::vector<const Descriptor*> messages;
    for (int i = 0; i < file->message_type_count(); ++i) {
      Collect(file->message_type(i), &messages);
    }
    std::set<std::string> headers = {ViewHeader(file)};
    std::set<std::string> views;
    std::vector<std::vector<const FieldDescriptor*>> extensions(messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
      file->pool()->FindAllExtensions(messages[i], &extensions[i]);
      for (const FieldDescriptor* field : extensions[i]) {
        headers.insert(ViewHeader(field->message_type()->file()));
        views.insert(QualifiedClassName(field->message_type()) + "View");
      }
      for (int k = 0; k < messages[i]->field_count(); ++k) {
        const FieldDescriptor* field = messages[i]->field(k);
        if (IsMessage(field)) views.insert(QualifiedClassName(field->message_type()) + "View");
      }
    }

    printer.Print("#include \"views/comparer.h\"\n");
    for (const std::string& header : headers) {
      printer.Print("#include \"$header$\"\n", "header", header);
    }
    printer.Print("namespace CmnSys::Test {\n");
    for (const std::string& view : views) {
      printer.Print("void CompareFields(const $view$& view, Comparer comparer);\n", "view", view);
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
      printer.Print("void CompareFields(const $class$View& view, Comparer comparer) {\n", "class",
                    QualifiedClassName(messages[i]));
      printer.Print("  comparer.Self(view);\n");
      for (int k = 0; k < messages[i]->field_count(); ++k) {
        WriteField(messages[i]->field(k), &printer);
      }
      for (const FieldDescriptor* field : extensions[i]) {
        printer.Print(
            "  comparer.IsMessage($number$,\n"
            "      view.HasExtension(Identifier<$extendee$, $class$, $number$>()),\n"
            "      view.GetExtension(Identifier<$extendee$, $class$, $number$>()));\n",
            "number", std::to_string(field->number()), "extendee", QualifiedClassName(messages[i]),
            "class", QualifiedClassName(field->message_type()));
      }
      printer.Print(
          "}\n"
          "[[maybe_unused]] const bool added_$mangled$ =\n"
          "    Comparers().emplace(\"$name$\", &CompareView<$class$View>).second;\n",
          "mangled", Mangled(messages[i]->full_name()), "name", messages[i]->full_name(), "class",
          QualifiedClassName(messages[i]));
    }
    printer.Print("}  // namespace CmnSys::Test\n");
    return true;
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  const ComparerGenerator generator;
  return google::protobuf::compiler::PluginMain(argc, argv, &generator);
}
