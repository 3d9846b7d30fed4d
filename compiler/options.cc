#include "options.h"

#include <google/protobuf/compiler/code_generator.h>

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
    } else if (key == "stock_import") {
      target = &options->stock_imports.emplace_back();
    } else {
      *error = "unknown parameter \"" + key +
               "\"; known are dllexport_decl=MACRO, export_header=PATH and stock_import=PREFIX";
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

}  // namespace CmnSys::Compiler
