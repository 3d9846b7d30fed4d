// What the parts of a generated view have in common: the message's fields and their names in it.

#ifndef CMNSYS_COMPILER_VIEW_FIELDS_H_
#define CMNSYS_COMPILER_VIEW_FIELDS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "options.h"

namespace CmnSys::Compiler {

using Vars = std::map<std::string, std::string>;

class ViewFields {
 public:
  ViewFields(const google::protobuf::Descriptor* message, const Options& options,
             google::protobuf::io::Printer* printer);

  // In the order of their numbers.
  const std::vector<const google::protobuf::FieldDescriptor*>& all() const { return fields_; }

  // Whether making a view reads the message. Without singular fields and extensions that can wait
  // until one of the lists is walked over.
  bool scanned() const { return scanned_; }

  bool has_extensions() const { return message_->extension_range_count() > 0; }

  // Words of presence bits, and whether there is a singular sub-message among the fields of one.
  std::size_t words() const { return (fields_.size() + 63) / 64; }
  bool HasSubMessage(std::size_t word) const;

  // Prints with the variables $view$, $class$, $message$ and more.
  void Print(const char* text, const Vars& more = {}) const;

  // The variables of a field.
  Vars VarsOf(const google::protobuf::FieldDescriptor* field) const;

  // An expression: whether `tag` is one of an extension that is a message.
  std::string ExtensionCondition() const;

 private:
  const google::protobuf::Descriptor* message_;
  const Options& options_;
  google::protobuf::io::Printer* printer_;
  std::vector<const google::protobuf::FieldDescriptor*> fields_;
  bool scanned_;
};

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_VIEW_FIELDS_H_
