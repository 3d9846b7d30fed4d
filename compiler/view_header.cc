#include "view_header.h"

#include <google/protobuf/compiler/cpp/names.h>

#include <set>
#include <string>
#include <vector>

#include "in_place.h"
#include "messages.h"
#include "view_class.h"
#include "view_fields.h"

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

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

void WriteViewHeader(const FileDescriptor* file, const Options& options, Printer* printer) {
  InPlaceHeader header(file, options, printer);
  header.Begin(
      kViewSuffix, "Views of the file's messages, which read their bytes in place.",
      {"<cstdint>", "<limits>", "<string_view>", "<type_traits>", "", "\"CmnSys/View/View.h\""});
  header.Declare("View");
  printer->Print("\nnamespace CmnSys::View::internal {\n");
  for (const EnumDescriptor* type : EnumsOf(file)) WriteNumbers(type, printer);
  printer->Print("}  // namespace CmnSys::View::internal\n");
  header.InNamespace([&] {
    for (const Descriptor* message : header.messages()) {
      WriteViewClass(ViewFields(message, options, printer));
    }
    for (const Descriptor* message : header.messages()) {
      WriteViewMembers(ViewFields(message, options, printer));
    }
    printer->Print("\n");
  });
  header.End();
}

}  // namespace CmnSys::Compiler
