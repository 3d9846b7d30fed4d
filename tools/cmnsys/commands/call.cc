#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "CmnSys/Rpc/ClientController.h"
#include "CmnSys/Util/Schema.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/remote.h"
#include "io/failure.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

struct CallOptions {
  std::string method;
  RemoteOptions remote;
  ExchangeOptions exchange;
};

std::vector<std::string> ServiceNames() {
  std::vector<std::string> names;
  for (const auto* file : Util::SchemaFiles()) {
    for (int i = 0; i < file->service_count(); ++i) names.push_back(file->service(i)->full_name());
  }
  return names;
}

const MethodDescriptor* FindMethod(std::string text) {
  // Captures and logs show the path of a call, which begins with a slash.
  if (text.rfind('/', 0) == 0) text.erase(0, 1);
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) {
    throw Failure("\"" + text +
                  "\" is no method: write SERVICE/METHOD, for example Query/Initiate");
  }
  const ServiceDescriptor* service =
      google::protobuf::DescriptorPool::generated_pool()->FindServiceByName(
          ResolveName(ServiceNames(), text.substr(0, slash), "service"));
  const std::string name = text.substr(slash + 1);
  if (const MethodDescriptor* method = service->FindMethodByName(name)) return method;
  std::string names;
  for (int i = 0; i < service->method_count(); ++i) names += "\n  " + service->method(i)->name();
  throw Failure("the service " + service->full_name() + " has no method \"" + name +
                "\"; it has:" + names);
}

void Call(CallOptions& options) {
  const MethodDescriptor* method = FindMethod(options.method);
  const std::unique_ptr<Message> request = New(method->input_type());
  const std::unique_ptr<Message> response = New(method->output_type());
  const auto channel = OpenChannel(options.remote, options.exchange.request.max_bytes);
  Rpc::ClientController controller;
  for (const auto& [name, value] : options.remote.Metadata()) controller.AddMetadata(name, value);
  ReadRequest(options.exchange, request.get());
  options.exchange.json.numbered = false;
  const auto sink = OpenResponseSink(&options.exchange);

  channel->CallMethod(method, &controller, request.get(), response.get(), nullptr);
  ThrowUnlessOk(method->full_name(), controller.Outcome());
  sink->Write(*response);
  sink->Finish();
}

}  // namespace

void AddCallCommand(Command program) {
  auto options = std::make_shared<CallOptions>();
  Command command = program.AddCommand("call", "Send a request to a server and show its response");
  command
      .Add("METHOD", &options->method,
           "Service and method, for example Pb.Rpc.SvcQuery.Query/Initiate or "
           "Query/Initiate")
      .Required();
  AddRemote(command, &options->remote);
  AddInput(command, &options->exchange.request);
  AddExchange(command, &options->exchange, "response");
  command.Footer(
      std::string(kFormatHelp) +
      "\n"
      "\n"
      "An empty INPUT is a request without fields.\n"
      "\n"
      "Examples:\n"
      "  cmnsys call Query/Initiate --target server:4711 --ca ca.pem --cert me.pem --key me.key "
      "query.txt\n"
      "  echo 'query_gid { id: \"7\" }' | cmnsys call Query/Abort --from text --target "
      "127.0.0.1:4711 --plaintext");
  command.Action([options] { Call(*options); });
}

}  // namespace CmnSys::Tool
