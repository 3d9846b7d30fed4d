#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "commands/commands.h"
#include "io/colour.h"
#include "io/failure.h"
#include "io/output.h"
#include "schema/meaning.h"
#include "schema/message_type.h"
#include "schema/schema_source.h"
#include "text/field_path.h"
#include "text/runtime_text.h"

namespace CmnSys::Tool {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

// One declaration: its number and name, aligned with those of its neighbours, and the rest.
struct Row {
  int number;
  std::string name;
  std::string rest;
  std::string comment;
};

// Collects the description as indented lines.
class Page {
 public:
  void Line(int indent, const std::string& text) {
    text_ += (text.empty() ? "" : std::string(static_cast<std::size_t>(indent), ' ') + text) + "\n";
  }

  void Comment(int indent, const std::string& comment) {
    std::istringstream in(comment);
    for (std::string line; std::getline(in, line);) {
      Line(indent, Painted(Colour::kFaint, line, STDOUT_FILENO));
    }
  }

  void Rows(const std::vector<Row>& rows) {
    std::size_t number_width = 0;
    std::size_t name_width = 0;
    for (const Row& row : rows) {
      number_width = std::max(number_width, std::to_string(row.number).size());
      if (!row.rest.empty()) name_width = std::max(name_width, row.name.size());
    }
    for (const Row& row : rows) {
      std::string number = std::to_string(row.number);
      number.insert(0, number_width - number.size(), ' ');
      std::string line = number + "  " + Painted(Colour::kCyan, row.name, STDOUT_FILENO);
      if (!row.rest.empty()) {
        line += std::string(name_width - row.name.size() + 2, ' ') + row.rest;
      }
      Line(2, line);
      Comment(static_cast<int>(number_width) + 6, row.comment);
    }
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string TypeName(const FieldDescriptor* field) {
  if (field->message_type() != nullptr) return field->message_type()->full_name();
  if (field->enum_type() != nullptr) return field->enum_type()->full_name();
  return field->type_name();
}

// What a field reads as while it is unset, unless that is 0, false or empty as everyone expects.
std::string Default(const FieldDescriptor* field) {
  if (field->is_repeated() || (!field->has_default_value() && field->enum_type() == nullptr)) {
    return "";
  }
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return std::to_string(field->default_value_int32());
    case FieldDescriptor::CPPTYPE_INT64:
      return std::to_string(field->default_value_int64());
    case FieldDescriptor::CPPTYPE_UINT32:
      return std::to_string(field->default_value_uint32());
    case FieldDescriptor::CPPTYPE_UINT64:
      return std::to_string(field->default_value_uint64());
    case FieldDescriptor::CPPTYPE_FLOAT:
      return google::protobuf::SimpleFtoa(field->default_value_float());
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return google::protobuf::SimpleDtoa(field->default_value_double());
    case FieldDescriptor::CPPTYPE_BOOL:
      return field->default_value_bool() ? "true" : "false";
    case FieldDescriptor::CPPTYPE_STRING:
      return "\"" + Util::CEscaped(field->default_value_string()) + "\"";
    case FieldDescriptor::CPPTYPE_ENUM:
      return NameAndNumber(*field->default_value_enum());
    case FieldDescriptor::CPPTYPE_MESSAGE:
      break;
  }
  return "";
}

Row RowOf(const FieldDescriptor* field) {
  static const char* const kLabels[] = {"", "optional", "required", "repeated"};
  std::string rest = kLabels[field->label()] + (" " + TypeName(field));
  const std::string value = Default(field);
  if (!value.empty()) rest += ", default " + value;
  if (field->is_packed()) rest += ", packed";
  if (field->options().deprecated()) rest += ", deprecated";
  return {field->number(), Util::FieldName(*field), rest, CommentOf(field)};
}

Row RowOf(const EnumValueDescriptor* value) {
  return {value->number(), value->name(), "", CommentOf(value)};
}

Row RowOf(const MethodDescriptor* method) {
  return {method->index(), method->name(),
          "(" + method->input_type()->full_name() + ") returns (" +
              method->output_type()->full_name() + ")",
          CommentOf(method)};
}

template <typename DescriptorType>
void AddHeading(const char* kind, const DescriptorType* descriptor, Page* page) {
  page->Line(0, std::string(kind) + " " +
                    Painted(Colour::kBold, descriptor->full_name(), STDOUT_FILENO) + "  (" +
                    descriptor->file()->name() + ")");
  page->Comment(2, CommentOf(descriptor));
}

void Describe(const EnumDescriptor* type, Page* page) {
  AddHeading("enum", type, page);
  page->Line(0, "");
  std::vector<Row> values;
  for (int i = 0; i < type->value_count(); ++i) values.push_back(RowOf(type->value(i)));
  page->Rows(values);
}

void Describe(const Descriptor* message, Page* page) {
  AddHeading("message", message, page);
  page->Line(0, "");
  if (message->field_count() == 0) page->Line(2, "(no fields)");
  std::vector<Row> fields;
  for (int i = 0; i < message->field_count(); ++i) fields.push_back(RowOf(message->field(i)));
  page->Rows(fields);

  for (int i = 0; i < message->extension_range_count(); ++i) {
    const Descriptor::ExtensionRange* range = message->extension_range(i);
    page->Line(0, "");
    page->Line(
        2, "extensions " + std::to_string(range->start) + " to " + std::to_string(range->end - 1));
  }
  std::vector<const FieldDescriptor*> extensions;
  if (message->extension_range_count() > 0) SchemaSourceFiles();  // They may stand in any file.
  SchemaSource().FindAllExtensions(message, &extensions);
  std::vector<Row> rows;
  for (const FieldDescriptor* extension : extensions) rows.push_back(RowOf(extension));
  page->Rows(rows);

  for (int i = 0; i < message->enum_type_count(); ++i) {
    page->Line(0, "");
    Describe(message->enum_type(i), page);
  }
  for (int i = 0; i < message->nested_type_count(); ++i) {
    page->Line(0, "");
    Describe(message->nested_type(i), page);
  }
}

void Describe(const ServiceDescriptor* service, Page* page) {
  AddHeading("service", service, page);
  page->Line(0, "");
  std::vector<Row> methods;
  for (int i = 0; i < service->method_count(); ++i) methods.push_back(RowOf(service->method(i)));
  page->Rows(methods);
}

void Describe(const FieldDescriptor* field, Page* page) {
  if (field->is_extension()) {
    page->Line(0, "extension " + field->full_name() + " of " +
                      field->containing_type()->full_name() + "  (" + field->file()->name() + ")");
  } else {
    page->Line(0, "field of message " + field->containing_type()->full_name() + "  (" +
                      field->file()->name() + ")");
  }
  page->Rows({RowOf(field)});
  for (const std::string& line : MeaningOf(*field)) page->Line(2, line);
}

void Describe(const EnumValueDescriptor* value, Page* page) {
  page->Line(0, "value of enum " + value->type()->full_name() + "  (" +
                    value->type()->file()->name() + ")");
  page->Rows({RowOf(value)});
  for (const std::string& line : MeaningOf(*value)) page->Line(2, line);
}

void Describe(const MethodDescriptor* method, Page* page) {
  page->Line(0, "method of service " + method->service()->full_name() + "  (" +
                    method->service()->file()->name() + ")");
  page->Rows({RowOf(method)});
}

void Describe(const FileDescriptor* file, Page* page) {
  const std::string area = Util::SchemaArea(*file);
  page->Line(0, "file " + file->name() + "  (package " + file->package() +
                    (area.empty() ? "" : "; area: " + area) + ")");
  page->Comment(2, FileComment(file));
  for (int i = 0; i < file->dependency_count(); ++i) {
    if (i == 0) page->Line(0, "");
    page->Line(2, "import " + file->dependency(i)->name());
  }
  for (int i = 0; i < file->enum_type_count(); ++i) {
    page->Line(0, "");
    Describe(file->enum_type(i), page);
  }
  for (int i = 0; i < file->message_type_count(); ++i) {
    page->Line(0, "");
    Describe(file->message_type(i), page);
  }
  for (int i = 0; i < file->extension_count(); ++i) {
    page->Line(0, "");
    Describe(file->extension(i), page);
  }
  for (int i = 0; i < file->service_count(); ++i) {
    page->Line(0, "");
    Describe(file->service(i), page);
  }
}

// The name in a form in which text format, JSON, calls and captures show it: an extension in
// brackets, a method as SERVICE/METHOD with or without a slash in front.
std::string PlainName(std::string name) {
  if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
    return name.substr(1, name.size() - 2);
  }
  const std::size_t slash = name.rfind('/');
  if (slash == std::string::npos || name.find(".proto", slash) != std::string::npos) return name;
  name[slash] = '.';
  return name.front() == '/' ? name.substr(1) : name;
}

void DescribeName(const std::string& typed) {
  const std::string query = PlainName(typed);
  if (!query.empty() && query.find_first_not_of("0123456789") == std::string::npos) {
    throw Failure(
        "a number means something only in its enum or message: \"cmnsys describe "
        "EventType\" tells those of event types");
  }
  const DescriptorPool& pool = SchemaSource();
  // A name of a sibling library is described too when it is given in full.
  const bool known = pool.FindFileContainingSymbol(query) != nullptr;
  const std::string name =
      known ? query : ResolveName(SchemaSourceNames(), query, "declaration or schema file");

  Page page;
  if (const FileDescriptor* file = pool.FindFileByName(name)) {
    Describe(file, &page);
  } else if (const Descriptor* message = pool.FindMessageTypeByName(name)) {
    Describe(message, &page);
  } else if (const EnumDescriptor* type = pool.FindEnumTypeByName(name)) {
    Describe(type, &page);
  } else if (const EnumValueDescriptor* value = pool.FindEnumValueByName(name)) {
    Describe(value, &page);
  } else if (const FieldDescriptor* field = pool.FindFieldByName(name)) {
    Describe(field, &page);
  } else if (const FieldDescriptor* extension = pool.FindExtensionByName(name)) {
    Describe(extension, &page);
  } else if (const ServiceDescriptor* service = pool.FindServiceByName(name)) {
    Describe(service, &page);
  } else if (const MethodDescriptor* method = pool.FindMethodByName(name)) {
    Describe(method, &page);
  } else {
    throw Failure("\"" + name + "\" is a package; \"cmnsys list " + name +
                  ".\" lists the messages in it");
  }
  WriteOutput({}, page.text(), OutputKind::kText);
}

}  // namespace

void AddDescribeCommand(Command program) {
  auto name = std::make_shared<std::string>();
  Command command = program.AddCommand(
      "describe", "Explain a message, enum, service or any other name in the schema");
  command.Add("NAME", name.get(), "Name in full or its last parts, or path of a schema file")
      .Required();
  command.Footer(
      "Examples:\n"
      "  cmnsys describe Pb.CmnSys.Gid\n"
      "  cmnsys describe EVENT_DEVICE_MOTION_START\n"
      "  cmnsys describe EventType | grep -w 5013\n"
      "  cmnsys describe ProtoBuf/CmnSys/CmnSys.Iotas.proto");
  command.Action([name] { DescribeName(*name); });
}

}  // namespace CmnSys::Tool
