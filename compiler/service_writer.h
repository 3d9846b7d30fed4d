// The generic service classes of a file: for every service its abstract-by-convention class and
// the stub that sends each call to an RPC channel.

#ifndef CMNSYS_COMPILER_SERVICE_WRITER_H_
#define CMNSYS_COMPILER_SERVICE_WRITER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "options.h"

namespace CmnSys::Compiler {

// True when this plugin writes the file's service classes: the file has services and protoc's own
// generator does not write them (it does so only under cc_generic_services).
bool WritesServices(const google::protobuf::FileDescriptor* file);

// Writes the class definitions; goes into the header's package namespace.
void WriteServiceDeclarations(const google::protobuf::FileDescriptor* file, const Options& options,
                              google::protobuf::io::Printer* printer);

// Writes the member definitions; goes into the source's package namespace.
void WriteServiceDefinitions(const google::protobuf::FileDescriptor* file,
                             google::protobuf::io::Printer* printer);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_SERVICE_WRITER_H_
