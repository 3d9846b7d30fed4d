#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <string>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "commands/commands.h"
#include "commands/remote.h"
#include "io/failure.h"
#include "io/output.h"

namespace CmnSys::Tool {

using google::protobuf::DescriptorPool;
using google::protobuf::DynamicMessageFactory;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::Message;

namespace {

struct HealthOptions {
  RemoteOptions remote;
  std::string service;
};

// The standard health service of gRPC, in a pool of its own:
// https://github.com/grpc/grpc/blob/master/doc/health-checking.md
constexpr const char* kHealthFile = R"(
  name: "grpc/health/v1/health.proto" package: "grpc.health.v1" syntax: "proto3"
  message_type {
    name: "HealthCheckRequest"
    field { name: "service" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
  }
  message_type {
    name: "HealthCheckResponse"
    field {
      name: "status" number: 1 label: LABEL_OPTIONAL
      type: TYPE_ENUM type_name: ".grpc.health.v1.HealthCheckResponse.ServingStatus"
    }
    enum_type {
      name: "ServingStatus"
      value { name: "UNKNOWN" number: 0 }
      value { name: "SERVING" number: 1 }
      value { name: "NOT_SERVING" number: 2 }
      value { name: "SERVICE_UNKNOWN" number: 3 }
    }
  }
  service {
    name: "Health"
    method {
      name: "Check"
      input_type: ".grpc.health.v1.HealthCheckRequest"
      output_type: ".grpc.health.v1.HealthCheckResponse"
    }
  })";
constexpr int kServing = 1;

void Ask(const HealthOptions& options) {
  FileDescriptorProto file;
  google::protobuf::TextFormat::ParseFromString(kHealthFile, &file);
  DescriptorPool pool;
  const auto* method = pool.BuildFile(file)->service(0)->method(0);
  DynamicMessageFactory factory(&pool);
  const std::unique_ptr<Message> request(factory.GetPrototype(method->input_type())->New());
  const std::unique_ptr<Message> response(factory.GetPrototype(method->output_type())->New());
  request->GetReflection()->SetString(request.get(), method->input_type()->field(0),
                                      options.service);

  const auto channel = OpenChannel(options.remote, 1 << 20);
  Rpc::ClientController controller;
  for (const auto& [name, value] : options.remote.Metadata()) controller.AddMetadata(name, value);
  channel->CallMethod(method, &controller, request.get(), response.get(), nullptr);
  ThrowUnlessOk(method->full_name(), controller.Outcome());

  const auto* field = method->output_type()->field(0);
  const int status = response->GetReflection()->GetEnumValue(*response, field);
  const auto* value = field->enum_type()->FindValueByNumber(status);
  WriteOutput({}, (value == nullptr ? std::to_string(status) : value->name()) + "\n",
              OutputKind::kText);
  if (status != kServing) throw Ended(ExitStatus::kNo);
}

}  // namespace

void AddHealthCommand(Command program) {
  auto options = std::make_shared<HealthOptions>();
  Command command = program.AddCommand("health", "Ask a server whether it, or a service, serves");
  command.Add("SERVICE", &options->service,
              "Full name of a service, for example Pb.Rpc.SvcQuery.Query; without it, the "
              "server as a whole");
  AddRemote(command, &options->remote);
  command.Footer(
      "Prints SERVING or NOT_SERVING, the answer of gRPC's standard health service. The exit "
      "status "
      "is 0 when it serves and 1 when it does not.\n"
      "\n"
      "Examples:\n"
      "  cmnsys health --target server:4711 --ca ca.pem --cert me.pem --key me.key\n"
      "  cmnsys health Pb.Rpc.SvcQuery.Query --target 127.0.0.1:4711 --plaintext --timeout 2");
  command.Action([options] { Ask(*options); });
}

}  // namespace CmnSys::Tool
