// The parameters that a build passes to protoc-gen-cmnsys with --cmnsys_out=PARAMETERS:DIR or
// --cmnsys_opt=PARAMETERS.

#ifndef CMNSYS_COMPILER_OPTIONS_H_
#define CMNSYS_COMPILER_OPTIONS_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace CmnSys::Compiler {

struct Options {
  // Macro in front of every exported declaration (dllexport_decl=MACRO), the same as the one given
  // to protoc's C++ generator. Empty: nothing is exported explicitly.
  std::string export_macro;

  // Header that defines export_macro (export_header=PATH), included by every generated header.
  std::string export_header;

  // Header to write for all files of the call together, instead of all else
  // (validation_header=PATH): what CmnSys::View::Validate needs to know of them.
  std::string validation_header;

  // Path prefixes of imports that may have been generated without this plugin
  // (stock_import=PREFIX, may be repeated). Their registration routines are called only where the
  // linked program has them.
  std::vector<std::string> stock_imports;
};

// Whether the file is below one of the stock imports' prefixes.
bool IsStockImport(const google::protobuf::FileDescriptor* file, const Options& options);

// Reads a plugin parameter ("key=value,key=value") into *options. Returns false and sets *error to
// a sentence that names the offending key when a key is unknown or a value is missing.
bool ParseOptions(const std::string& parameter, Options* options, std::string* error);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_OPTIONS_H_
