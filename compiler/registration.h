// The code by which a generated file registers itself and finds its own descriptors.
//
// Everything that depends on the internals of the protobuf runtime is written here and nowhere
// else: the descriptor table, the routine that adds it to the generated pool, and the assignment
// of descriptors. The generated code refuses runtimes whose internals are not known.

#ifndef CMNSYS_COMPILER_REGISTRATION_H_
#define CMNSYS_COMPILER_REGISTRATION_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include "options.h"

namespace CmnSys::Compiler {

// Writes the declaration of the registration routine; goes into the header's package namespace.
void WriteRegistrationDeclaration(const google::protobuf::FileDescriptor* file,
                                  const Options& options, google::protobuf::io::Printer* printer);

// Writes what the source needs ahead of its namespaces: the guard of the runtime's version and weak
// declarations of routines that may not exist.
void WriteRegistrationPrologue(const google::protobuf::FileDescriptor* file, const Options& options,
                               google::protobuf::io::Printer* printer);

// Writes the registration routine and the static initializer that calls it; goes into the source's
// package namespace.
void WriteRegistrationDefinition(const google::protobuf::FileDescriptor* file,
                                 const Options& options, google::protobuf::io::Printer* printer);

// Writes the file-local function "const FileDescriptor* <AssignedFile(file)>()", which assigns the
// file's descriptors once and returns the file's own; goes into the source's package namespace.
void WriteAssignedFile(const google::protobuf::FileDescriptor* file,
                       google::protobuf::io::Printer* printer);

// The name of the function that WriteAssignedFile writes.
std::string AssignedFile(const google::protobuf::FileDescriptor* file);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_REGISTRATION_H_
