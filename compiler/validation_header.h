// The tables by which a schema's messages are validated without objects: one header for all files
// of a schema, because only together they tell which extensions a message has.

#ifndef CMNSYS_COMPILER_VALIDATION_HEADER_H_
#define CMNSYS_COMPILER_VALIDATION_HEADER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <string>
#include <vector>

#include "options.h"

namespace CmnSys::Compiler {

// Writes the header for the messages of the files, and of the files that they import. `path` is the
// one under which it is included. Returns false and sets *error to a sentence when a message cannot
// be told in a table of reasonable size.
bool WriteValidationHeader(const std::vector<const google::protobuf::FileDescriptor*>& files,
                           const std::string& path, const Options& options,
                           google::protobuf::io::Printer* printer, std::string* error);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_VALIDATION_HEADER_H_
