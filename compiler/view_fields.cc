#include "view_fields.h"

#include <google/protobuf/compiler/cpp/names.h>

#include <algorithm>

#include "default_value.h"
#include "in_place.h"
#include "messages.h"
#include "wire_format.h"

namespace CmnSys::Compiler {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::compiler::cpp::ClassName;
using google::protobuf::compiler::cpp::FieldName;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

std::string Format(const FieldDescriptor* field) {
  if (!IsNumeric(field)) return "";
  return std::string("::CmnSys::View::internal::") +
         (IsEnum(field) ? "EnumFormat<" + QualifiedClassName(field->enum_type()) + ">"
                        : InfoOf(field).format);
}

}  // namespace

ViewFields::ViewFields(const Descriptor* message, const Options& options, Printer* printer)
    : message_(message),
      options_(options),
      printer_(printer),
      fields_(FieldsByNumber(message)),
      scanned_(has_extensions() ||
               std::any_of(fields_.begin(), fields_.end(),
                           [](const FieldDescriptor* field) { return !field->is_repeated(); })) {}

bool ViewFields::HasSubMessage(std::size_t word) const {
  for (std::size_t i = word * 64; i < fields_.size() && i < (word + 1) * 64; ++i) {
    if (IsMessage(fields_[i]) && !fields_[i]->is_repeated()) return true;
  }
  return false;
}

void ViewFields::Print(const char* text, const Vars& more) const {
  Vars vars = {{"view", ClassName(message_) + "View"},
               {"class", QualifiedClassName(message_)},
               {"message", message_->full_name()}};
  vars.insert(more.begin(), more.end());
  printer_->Print(vars, text);
}

Vars ViewFields::VarsOf(const FieldDescriptor* field) const {
  const auto found = std::find(fields_.begin(), fields_.end(), field);
  const auto index = static_cast<std::size_t>(found - fields_.begin());
  Vars vars = {{"name", FieldName(field)},
               {"number", std::to_string(field->number())},
               {"has", "has" + std::to_string(index / 64)},
               {"split", "split" + std::to_string(index / 64)},
               {"bit", "(::std::uint64_t{1} << " + std::to_string(index % 64) + ")"},
               {"type", CppType(field)},
               {"format", Format(field)}};
  if (IsMessage(field) && IsInPlace(field->message_type(), options_)) {
    vars["sub"] = ViewName(field->message_type());
  }
  if (IsMessage(field) || IsText(field)) {
    vars["tag"] = std::to_string(Tag(field, kLengthDelimited)) + "u";
  }
  if (!field->is_repeated()) vars["default"] = DefaultValue(field);
  vars["value"] = (IsText(field) ? "source_.At(f" : "(f") + vars["number"] + "_)";
  // Views are copied with the values of unset fields, which are anything: no bool may be.
  vars["stored"] = !IsNumeric(field)                             ? "::CmnSys::View::internal::Piece"
                   : field->type() == FieldDescriptor::TYPE_BOOL ? "::std::uint8_t"
                                                                 : vars["type"];
  return vars;
}

std::string ViewFields::ExtensionCondition() const {
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

}  // namespace CmnSys::Compiler
