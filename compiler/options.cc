#include "options.h"

#include <google/protobuf/compiler/code_generator.h>

#include <algorithm>
#include <utility>

namespace CmnSys::Compiler {

bool ParseOptions(const std::string& parameter, Options* options, std::string* error) {
  std::vector<std::pair<std::string, std::string>> pairs;
  google::protobuf::compiler::ParseGeneratorParameter(parameter, &pairs);
  for (auto& [key, value] : pairs) {
    std::string* target = nullptr;
    if (key == "dllexport_decl") {
      target = &options->export_macro;
    } else if (key == "export_header") {
      target = &options->export_header;
    } else if (key == "validation_header") {
      target = &options->validation_header;
    } else if (key == "stock_import") {
      target = &options->stock_imports.emplace_back();
    } else {
      *error = "unknown parameter \"" + key +
               "\"; known are dllexport_decl=MACRO, export_header=PATH, stock_import=PREFIX and "
               "validation_header=PATH";
      return false;
    }
    if (value.empty()) {
      *error = "parameter \"" + key + "\" needs a value: " + key + "=VALUE";
      return false;
    }
    *target = std::move(value);
  }
  return true;
}

bool IsStockImport(const google::protobuf::FileDescriptor* file, const Options& options) {
  return std::any_of(
      options.stock_imports.begin(), options.stock_imports.end(),
      [file](const std::string& prefix) { return file->name().rfind(prefix, 0) == 0; });
}

}  // namespace CmnSys::Compiler
