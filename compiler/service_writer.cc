#include "service_writer.h"

#include <google/protobuf/compiler/cpp/names.h>
#include <google/protobuf/descriptor.pb.h>

#include <map>
#include <string>

#include "names.h"
#include "registration.h"

namespace CmnSys::Compiler {

using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::compiler::cpp::QualifiedClassName;
using google::protobuf::io::Printer;

namespace {

using Vars = std::map<std::string, std::string>;

Vars ServiceVars(const ServiceDescriptor* service, const Options& options) {
  return {{"service", service->name()},
          {"full_name", service->full_name()},
          {"index", std::to_string(service->index())},
          {"export", options.export_macro.empty() ? "" : options.export_macro + " "},
          {"mangled", MangledPath(service->file()->name())},
          {"assigned_file", AssignedFile(service->file())}};
}

Vars MethodVars(const MethodDescriptor* method) {
  return {{"service", method->service()->name()},
          {"method", method->name()},
          {"index", std::to_string(method->index())},
          {"request", QualifiedClassName(method->input_type())},
          {"response", QualifiedClassName(method->output_type())}};
}

void WriteMethodDeclarations(const ServiceDescriptor* service, const char* prefix,
                             const char* suffix, Printer* printer) {
  for (int i = 0; i < service->method_count(); ++i) {
    Vars vars = MethodVars(service->method(i));
    vars["prefix"] = prefix;
    vars["suffix"] = suffix;
    printer->Print(vars,
                   "  $prefix$void $method$(::google::protobuf::RpcController* controller,\n"
                   "      const $request$* request,\n"
                   "      $response$* response,\n"
                   "      ::google::protobuf::Closure* done)$suffix$;\n");
  }
}

void WriteServiceClass(const ServiceDescriptor* service, const Options& options, Printer* printer) {
  const Vars vars = ServiceVars(service, options);
  printer->Print(
      vars,
      "\n"
      "class $service$_Stub;\n"
      "\n"
      "// Server side of $full_name$: derive from it and override the methods. A method\n"
      "// that is not overridden fails its call as not implemented.\n"
      "class $export$$service$ : public ::google::protobuf::Service {\n"
      " protected:\n"
      "  $service$() {}\n"
      "\n"
      " public:\n"
      "  typedef $service$_Stub Stub;\n"
      "\n"
      "  ~$service$() override;\n"
      "  $service$(const $service$&) = delete;\n"
      "  $service$& operator=(const $service$&) = delete;\n"
      "\n"
      "  static const ::google::protobuf::ServiceDescriptor* descriptor();\n"
      "\n"
      "  const ::google::protobuf::ServiceDescriptor* GetDescriptor() override;\n"
      "  void CallMethod(const ::google::protobuf::MethodDescriptor* method,\n"
      "      ::google::protobuf::RpcController* controller,\n"
      "      const ::google::protobuf::Message* request,\n"
      "      ::google::protobuf::Message* response,\n"
      "      ::google::protobuf::Closure* done) override;\n"
      "  const ::google::protobuf::Message& GetRequestPrototype(\n"
      "      const ::google::protobuf::MethodDescriptor* method) const override;\n"
      "  const ::google::protobuf::Message& GetResponsePrototype(\n"
      "      const ::google::protobuf::MethodDescriptor* method) const override;\n"
      "\n");
  WriteMethodDeclarations(service, "virtual ", "", printer);
  printer->Print("};\n");
}

void WriteStubClass(const ServiceDescriptor* service, const Options& options, Printer* printer) {
  const Vars vars = ServiceVars(service, options);
  printer->Print(vars,
                 "\n"
                 "// Client side of $full_name$: sends every call to its channel, which must\n"
                 "// not be null. The stub deletes the channel only when built with\n"
                 "// STUB_OWNS_CHANNEL.\n"
                 "class $export$$service$_Stub : public $service$ {\n"
                 " public:\n"
                 "  explicit $service$_Stub(::google::protobuf::RpcChannel* channel);\n"
                 "  $service$_Stub(::google::protobuf::RpcChannel* channel,\n"
                 "      ::google::protobuf::Service::ChannelOwnership ownership);\n"
                 "  ~$service$_Stub() override;\n"
                 "\n"
                 "  ::google::protobuf::RpcChannel* channel() { return channel_; }\n"
                 "\n");
  WriteMethodDeclarations(service, "", " override", printer);
  printer->Print(
      "\n"
      " private:\n"
      "  ::google::protobuf::RpcChannel* channel_;\n"
      "  bool owns_channel_;\n"
      "};\n");
}

// Writes a switch over a method's index whose cases are made from case_text. An index that matches
// no method ends the process.
void WriteDispatch(const ServiceDescriptor* service, const char* case_text, Printer* printer) {
  printer->Print("  switch (method->index()) {\n");
  for (int i = 0; i < service->method_count(); ++i) {
    const Vars vars = MethodVars(service->method(i));
    printer->Print(vars, "    case $index$:\n");
    printer->Print(vars, case_text);
  }
  printer->Print(
      "    default:\n"
      "      protobuf_BadMethodIndex_$mangled$();\n"
      "  }\n"
      "}\n",
      "mangled", MangledPath(service->file()->name()));
}

void WriteServiceMembers(const ServiceDescriptor* service, Printer* printer) {
  const Vars vars = ServiceVars(service, Options());
  printer->Print(vars,
                 "\n"
                 "$service$::~$service$() {}\n"
                 "\n"
                 "const ::google::protobuf::ServiceDescriptor* $service$::descriptor() {\n"
                 "  return $assigned_file$()->service($index$);\n"
                 "}\n"
                 "\n"
                 "const ::google::protobuf::ServiceDescriptor* $service$::GetDescriptor() {\n"
                 "  return descriptor();\n"
                 "}\n");
  for (int i = 0; i < service->method_count(); ++i) {
    printer->Print(MethodVars(service->method(i)),
                   "\n"
                   "void $service$::$method$(::google::protobuf::RpcController* controller,\n"
                   "    const $request$*,\n"
                   "    $response$*,\n"
                   "    ::google::protobuf::Closure* done) {\n"
                   "  controller->SetFailed(\"Method $method$() not implemented.\");\n"
                   "  done->Run();\n"
                   "}\n");
  }

  printer->Print(vars,
                 "\n"
                 "void $service$::CallMethod(const ::google::protobuf::MethodDescriptor* method,\n"
                 "    ::google::protobuf::RpcController* controller,\n"
                 "    const ::google::protobuf::Message* request,\n"
                 "    ::google::protobuf::Message* response,\n"
                 "    ::google::protobuf::Closure* done) {\n");
  if (service->method_count() == 0) {
    printer->Print("  (void)controller; (void)request; (void)response; (void)done;\n");
  }
  WriteDispatch(service,
                "      $method$(controller,\n"
                "          static_cast<const $request$*>(request),\n"
                "          static_cast<$response$*>(response),\n"
                "          done);\n"
                "      return;\n",
                printer);

  printer->Print(vars,
                 "\n"
                 "const ::google::protobuf::Message& $service$::GetRequestPrototype(\n"
                 "    const ::google::protobuf::MethodDescriptor* method) const {\n");
  WriteDispatch(service, "      return $request$::default_instance();\n", printer);

  printer->Print(vars,
                 "\n"
                 "const ::google::protobuf::Message& $service$::GetResponsePrototype(\n"
                 "    const ::google::protobuf::MethodDescriptor* method) const {\n");
  WriteDispatch(service, "      return $response$::default_instance();\n", printer);
}

void WriteStubMembers(const ServiceDescriptor* service, Printer* printer) {
  printer->Print(
      "\n"
      "$service$_Stub::$service$_Stub(::google::protobuf::RpcChannel* channel)\n"
      "    : channel_(channel), owns_channel_(false) {}\n"
      "\n"
      "$service$_Stub::$service$_Stub(::google::protobuf::RpcChannel* channel,\n"
      "    ::google::protobuf::Service::ChannelOwnership ownership)\n"
      "    : channel_(channel),\n"
      "      owns_channel_(ownership == ::google::protobuf::Service::STUB_OWNS_CHANNEL) {}\n"
      "\n"
      "$service$_Stub::~$service$_Stub() {\n"
      "  if (owns_channel_) delete channel_;\n"
      "}\n",
      "service", service->name());
  for (int i = 0; i < service->method_count(); ++i) {
    printer->Print(MethodVars(service->method(i)),
                   "\n"
                   "void $service$_Stub::$method$(::google::protobuf::RpcController* controller,\n"
                   "    const $request$* request,\n"
                   "    $response$* response,\n"
                   "    ::google::protobuf::Closure* done) {\n"
                   "  channel_->CallMethod(descriptor()->method($index$), controller, request, "
                   "response, done);\n"
                   "}\n");
  }
}

}  // namespace

bool WritesServices(const FileDescriptor* file) {
  return file->service_count() > 0 && !file->options().cc_generic_services();
}

void WriteServiceDeclarations(const FileDescriptor* file, const Options& options,
                              Printer* printer) {
  for (int i = 0; i < file->service_count(); ++i) {
    WriteServiceClass(file->service(i), options, printer);
    WriteStubClass(file->service(i), options, printer);
  }
}

void WriteServiceDefinitions(const FileDescriptor* file, Printer* printer) {
  WriteAssignedFile(file, printer);
  // noexcept, because the runtime's fatal log may throw and this must end the process.
  printer->Print(
      "\n"
      "[[noreturn]] static void protobuf_BadMethodIndex_$mangled$() noexcept {\n"
      "  GOOGLE_LOG(FATAL) << \"Bad method index; this should never happen.\";\n"
      "  ::std::abort();\n"
      "}\n",
      "mangled", MangledPath(file->name()));
  for (int i = 0; i < file->service_count(); ++i) {
    WriteServiceMembers(file->service(i), printer);
    WriteStubMembers(file->service(i), printer);
  }
}

}  // namespace CmnSys::Compiler
