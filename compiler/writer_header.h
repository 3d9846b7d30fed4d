// The writers of a schema file's messages, which write bytes without objects: one header of its own
// for each file, beside the .pb.h that protoc's C++ generator writes.

#ifndef CMNSYS_COMPILER_WRITER_HEADER_H_
#define CMNSYS_COMPILER_WRITER_HEADER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "options.h"

namespace CmnSys::Compiler {

// Writes the whole header.
void WriteWriterHeader(const google::protobuf::FileDescriptor* file, const Options& options,
                       google::protobuf::io::Printer* printer);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_WRITER_HEADER_H_
