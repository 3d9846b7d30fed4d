#include "generator.h"

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "in_place.h"
#include "messages.h"
#include "options.h"
#include "registration.h"
#include "service_writer.h"
#include "validation_header.h"
#include "view_header.h"
#include "writer_header.h"

namespace CmnSys::Compiler {

using google::protobuf::FileDescriptor;
using google::protobuf::io::Printer;

namespace {

// Whether the name can stand in comments and #include lines. Returns false and sets *error when
// not.
bool CheckName(const FileDescriptor* file, std::string* error) {
  bool fits = true;
  std::string shown;
  for (const char c : file->name()) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7f && c != '"' && c != '\\') {
      shown += c;
      continue;
    }
    fits = false;
    char octal[8];
    std::snprintf(octal, sizeof octal, "\\%03o", byte);
    shown += octal;
  }
  if (!fits) {
    *error = "rename the file \"" + shown +
             "\": control characters, quotes and backslashes cannot stand in an #include";
  }
  return fits;
}

}  // namespace

bool Generator::Generate(const FileDescriptor* file, const std::string& parameter,
                         google::protobuf::compiler::GeneratorContext* context,
                         std::string* error) const {
  Options options;
  if (!ParseOptions(parameter, &options, error) || !CheckName(file, error)) return false;
  for (int i = 0; i < file->dependency_count(); ++i) {
    if (!CheckName(file->dependency(i), error)) return false;
  }

  const std::string base = google::protobuf::compiler::cpp::StripProto(file->name());
  const std::string header = base + ".pb.h";
  const std::string source = base + ".pb.cc";
  const bool services = WritesServices(file);

  const auto insert = [context](const std::string& path, const char* point,
                                const std::function<void(Printer*)>& write) {
    const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(
        context->OpenForInsert(path, point));
    Printer printer(stream.get(), '$');
    write(&printer);
  };

  insert(header, "includes", [&](Printer* printer) {
    if (!options.export_header.empty()) {
      printer->Print("#include \"$header$\"\n", "header", options.export_header);
    }
    if (services) printer->Print("#include <google/protobuf/service.h>\n");
  });
  insert(header, "namespace_scope", [&](Printer* printer) {
    WriteRegistrationDeclaration(file, options, printer);
    if (services) WriteServiceDeclarations(file, options, printer);
  });
  insert(source, "includes", [&](Printer* printer) {
    if (services) printer->Print("#include <cstdlib>\n");
    WriteRegistrationPrologue(file, options, printer);
  });
  insert(source, "namespace_scope", [&](Printer* printer) {
    WriteRegistrationDefinition(file, options, printer);
    if (services) WriteServiceDefinitions(file, printer);
  });

  const auto write = [context](const std::string& path,
                               const std::function<void(Printer*)>& write_all) {
    const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(context->Open(path));
    Printer printer(stream.get(), '$');
    write_all(&printer);
  };
  write(HeaderPath(file, kViewSuffix),
        [&](Printer* printer) { WriteViewHeader(file, options, printer); });
  write(HeaderPath(file, kWriterSuffix),
        [&](Printer* printer) { WriteWriterHeader(file, options, printer); });
  return true;
}

bool Generator::GenerateAll(const std::vector<const FileDescriptor*>& files,
                            const std::string& parameter,
                            google::protobuf::compiler::GeneratorContext* context,
                            std::string* error) const {
  Options options;
  if (!ParseOptions(parameter, &options, error)) return false;
  if (options.validation_header.empty()) {
    return CodeGenerator::GenerateAll(files, parameter, context, error);
  }
  const std::unique_ptr<google::protobuf::io::ZeroCopyOutputStream> stream(
      context->Open(options.validation_header));
  Printer printer(stream.get(), '$');
  return WriteValidationHeader(files, options.validation_header, options, &printer, error);
}

}  // namespace CmnSys::Compiler
