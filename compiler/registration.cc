#include "registration.h"

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/stubs/common.h>

#include <algorithm>

#include "names.h"

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error \
    "protoc-gen-cmnsys knows the internals of protobuf 3.21 only; adapt compiler/registration.cc."
#endif

namespace CmnSys::Compiler {

using google::protobuf::FileDescriptor;
using google::protobuf::io::Printer;

namespace {

std::string SourcePath(const FileDescriptor* file) {
  return google::protobuf::compiler::cpp::StripProto(file->name()) + ".pb.cc";
}

}  // namespace

void WriteRegistrationDeclaration(const FileDescriptor* file, const Options& options,
                                  Printer* printer) {
  printer->Print(
      "\n"
      "// Registers this file and its imports in the generated pool. Runs when the library is\n"
      "// loaded; calling it again does nothing. Not to be called from several threads at once\n"
      "// before it has run.\n"
      "$export$void $routine$();\n",
      "export", options.export_macro.empty() ? "" : options.export_macro + " ", "routine",
      RegistrationRoutine(file));
}

void WriteRegistrationPrologue(const FileDescriptor* file, const Options& options,
                               Printer* printer) {
  printer->Print(
      "#include <google/protobuf/stubs/common.h>\n"
      "#include <google/protobuf/stubs/logging.h>\n"
      "#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021\n"
      "#error \"This file registers itself in a way that only protobuf 3.21 knows.\"\n"
      "#endif\n");
  for (int i = 0; i < file->dependency_count(); ++i) {
    const FileDescriptor* import = file->dependency(i);
    if (!IsStockImport(import, options)) continue;
    for (const std::string& part : PackageParts(import)) {
      printer->Print("namespace $part$ { ", "part", part);
    }
    printer->Print("void $routine$() __attribute__((weak));", "routine",
                   RegistrationRoutine(import));
    for (const std::string& part : PackageParts(import)) {
      printer->Print(" }  /* $part$ */", "part", part);
    }
    printer->Print("\n");
  }
}

void WriteRegistrationDefinition(const FileDescriptor* file, const Options& options,
                                 Printer* printer) {
  const std::map<std::string, std::string> vars = {{"mangled", MangledPath(file->name())},
                                                   {"routine", RegistrationRoutine(file)},
                                                   {"source", SourcePath(file)}};
  // The flag is set first, so that a cycle of calls ends. It is a plain flag: registration runs on
  // the one thread that loads the library.
  printer->Print(vars,
                 "\n"
                 "static bool protobuf_Added_$mangled$ = false;\n"
                 "\n"
                 "void $routine$() {\n"
                 "  if (protobuf_Added_$mangled$) return;\n"
                 "  protobuf_Added_$mangled$ = true;\n"
                 "  ::google::protobuf::internal::VerifyVersion(\n"
                 "      GOOGLE_PROTOBUF_VERSION, GOOGLE_PROTOBUF_MIN_LIBRARY_VERSION,\n"
                 "      \"$source$\");\n");
  for (int i = 0; i < file->dependency_count(); ++i) {
    const FileDescriptor* import = file->dependency(i);
    if (BelongsToRuntime(import)) continue;
    const std::string routine = QualifiedNamespace(import) + "::" + RegistrationRoutine(import);
    printer->Print(
        IsStockImport(import, options) ? "  if ($import$) $import$();\n" : "  $import$();\n",
        "import", routine);
  }
  // The runtime's own initializer of the file runs at priority 102; at 101 the version check and
  // the imports' declared order come first. Braces, because parentheses would make a
  // declaration.
  printer->Print(
      vars,
      "  ::google::protobuf::internal::AddDescriptorsRunner{&::descriptor_table_$mangled$};\n"
      "}\n"
      "\n"
      "static struct protobuf_StaticInitializer_$mangled$ {\n"
      "  protobuf_StaticInitializer_$mangled$() { $routine$(); }\n"
      "} protobuf_static_initializer_$mangled$ __attribute__((init_priority(101)));\n");
}

std::string AssignedFile(const FileDescriptor* file) {
  return "protobuf_AssignedFile_" + MangledPath(file->name());
}

void WriteAssignedFile(const FileDescriptor* file, Printer* printer) {
  // noexcept makes the failed check end the process: the runtime's fatal log may throw.
  printer->Print(
      "\n"
      "static const ::google::protobuf::FileDescriptor* $function$() noexcept {\n"
      "  static const ::google::protobuf::FileDescriptor* const assigned = [] {\n"
      "    $routine$();\n"
      "    ::google::protobuf::internal::AssignDescriptors(&::descriptor_table_$mangled$);\n"
      "    const ::google::protobuf::FileDescriptor* file =\n"
      "        ::google::protobuf::DescriptorPool::generated_pool()->FindFileByName(\n"
      "            \"$path$\");\n"
      "    GOOGLE_CHECK(file != NULL);\n"
      "    return file;\n"
      "  }();\n"
      "  return assigned;\n"
      "}\n",
      "function", AssignedFile(file), "routine", RegistrationRoutine(file), "mangled",
      MangledPath(file->name()), "path", file->name());
}

}  // namespace CmnSys::Compiler
