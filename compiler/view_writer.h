// The views of a schema file's messages, which read their bytes in place: one header of its own for
// each file, beside the .pb.h that protoc's C++ generator writes.

#ifndef CMNSYS_COMPILER_VIEW_WRITER_H_
#define CMNSYS_COMPILER_VIEW_WRITER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <string>

#include "options.h"

namespace CmnSys::Compiler {

// Whether a message has a view. It has none when its file is one of the runtime's or may come from
// protoc's generator alone, and where views do not do what the parser does: in proto3, with oneofs,
// maps, groups, required fields and enums of files without views.
bool HasView(const google::protobuf::Descriptor* message, const Options& options);

// The path of the header, for example "ProtoBuf/CmnSys/CmnSys.Gid.view.h".
std::string ViewHeaderPath(const google::protobuf::FileDescriptor* file);

// Writes the whole header.
void WriteViewHeader(const google::protobuf::FileDescriptor* file, const Options& options,
                     google::protobuf::io::Printer* printer);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_VIEW_WRITER_H_
