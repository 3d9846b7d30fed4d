#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "CmnSys/Util/Schema.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/rpc_status.h"
#include "formats/message_stream.h"
#include "io/failure.h"
#include "io/input.h"
#include "io/output.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

struct CallOptions {
  std::string method;
  std::vector<std::string> targets;
  std::string ca;
  std::string certificate;
  std::string key;
  std::string server_name;
  bool plaintext = false;
  double timeout_seconds = 30;
  std::vector<std::string> metadata;
  std::string token_file;
  InputOptions input;
  Format from = Format::kAuto;
  OutputOptions output;
  Format to = Format::kAuto;
  JsonOptions json;
};

std::vector<std::string> ServiceNames() {
  std::vector<std::string> names;
  for (const auto* file : Util::SchemaFiles()) {
    for (int i = 0; i < file->service_count(); ++i) names.push_back(file->service(i)->full_name());
  }
  return names;
}

const MethodDescriptor* FindMethod(const std::string& text) {
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

std::unique_ptr<Message> New(const google::protobuf::Descriptor* type) {
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(type)->New());
}

// The token in a file, without the blanks and ends of line around it.
std::string ReadToken(const std::string& path) {
  InputOptions file;
  file.path = path;
  file.max_bytes = 64 << 10;
  const std::string text = ReadInput(file);
  static constexpr const char* kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) throw Failure("the token file " + path + " is empty");
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

Rpc::ChannelOptions ChannelOptionsFor(const CallOptions& options) {
  Rpc::ChannelOptions channel;
  channel.max_message_bytes = options.input.max_bytes;
  channel.server_name = options.server_name;
  if (options.plaintext) {
    channel.plaintext = Rpc::Plaintext::kAnywhere;
  } else {
    if (options.ca.empty()) {
      throw Failure(
          "give the file of certificate authorities with --ca, or --plaintext for a connection "
          "that everybody on the way can read");
    }
    channel.tls = Rpc::TlsFiles();
    channel.tls->ca_file = options.ca;
    channel.tls->certificate_file = options.certificate;
    channel.tls->key_file = options.key;
  }
  if (!options.token_file.empty()) channel.session_token = ReadToken(options.token_file);
  return channel;
}

void Prepare(const CallOptions& options, Rpc::ClientController* controller) {
  const double milliseconds = std::ceil(options.timeout_seconds * 1000);
  controller->SetTimeout(std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds)));
  for (const std::string& entry : options.metadata) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos) {
      throw Failure("\"" + entry + "\" is no metadata: write NAME=VALUE");
    }
    controller->AddMetadata(entry.substr(0, equals), entry.substr(equals + 1));
  }
}

// An input without a message is a request without fields.
void ReadRequest(const CallOptions& options, Message* request) {
  const auto source = OpenSource(options.input, options.from, options.json);
  if (!source->Next(request)) return;
  const std::unique_ptr<Message> another(request->New());
  if (source->Next(another.get())) {
    throw Failure(options.input.Name() + " holds more than one request; a call takes one");
  }
}

// Opens the output for the response so that it cannot be lost once the server has given it: what
// the format cannot hold is left out with a warning, and it may be as deep as a channel takes it.
std::unique_ptr<MessageSink> OpenResponseSink(CallOptions& options) {
  options.json.lossy = true;
  options.json.numbered = false;
  options.json.write.max_depth = std::max(options.json.write.max_depth, options.input.max_depth);
  return OpenSink(options.output, options.to, options.json);
}

void Call(CallOptions& options) {
  // gRPC's log repeats what this reports; whoever wants it sets the variable.
  setenv("GRPC_VERBOSITY", "NONE", 0);
  const MethodDescriptor* method = FindMethod(options.method);
  const std::unique_ptr<Message> request = New(method->input_type());
  const std::unique_ptr<Message> response = New(method->output_type());
  Rpc::ClientController controller;
  Rpc::Channel channel(options.targets, ChannelOptionsFor(options));
  Prepare(options, &controller);
  ReadRequest(options, request.get());
  const auto sink = OpenResponseSink(options);

  channel.CallMethod(method, &controller, request.get(), response.get(), nullptr);
  if (controller.Failed()) {
    throw Failure(method->full_name() + " failed with " + Rpc::StatusCodeName(controller.Code()) +
                      (controller.ErrorText().empty() ? "" : ": " + controller.ErrorText()),
                  ExitStatusOf(controller.Code()));
  }
  sink->Write(*response);
  sink->Finish();
}

}  // namespace

void AddCallCommand(CLI::App* app) {
  auto options = std::make_shared<CallOptions>();
  CLI::App* command =
      app->add_subcommand("call", "Send a request to a server and show its response");
  command
      ->add_option("METHOD", options->method,
                   "Service and method, for example Pb.Rpc.SvcQuery.Query/Initiate or "
                   "Query/Initiate")
      ->required();
  command
      ->add_option("--target", options->targets,
                   "Address of the server; of several, one that can be reached")
      ->required()
      ->type_name("HOST:PORT")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  AddInput(command, &options->input);
  AddFormat(command, "-f,--from", &options->from, "Format of the request");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the response; auto is json on standard output");
  AddOutput(command, &options->output);
  AddJson(command, &options->json);
  command->add_option("--ca", options->ca, "Certificates of the authorities to believe, PEM")
      ->type_name("FILE");
  CLI::Option* certificate =
      command->add_option("--cert", options->certificate, "Certificate to show, PEM")
          ->type_name("FILE");
  CLI::Option* key =
      command->add_option("--key", options->key, "Private key of --cert, PEM")->type_name("FILE");
  certificate->needs(key);
  key->needs(certificate);
  command
      ->add_option("--server-name", options->server_name,
                   "Name to expect in the server's certificate instead of HOST")
      ->type_name("NAME");
  command
      ->add_flag("--plaintext", options->plaintext,
                 "No TLS: everybody on the way can read and change the call")
      ->excludes("--ca")
      ->excludes("--cert");
  command->add_option("--timeout", options->timeout_seconds, "Time to wait for the response")
      ->type_name("SECONDS")
      ->check(CLI::Validator(
          [](const std::string& text) -> std::string {
            char* end = nullptr;
            const double seconds = std::strtod(text.c_str(), &end);
            const bool fine = *end == '\0' && seconds >= 0.001 && seconds <= 86400;
            return fine ? "" : text + " is not a number of seconds from 0.001 to 86400";
          },
          ""))
      ->capture_default_str();
  command
      ->add_option("--metadata", options->metadata,
                   "Metadata to send along; may be given several times")
      ->type_name("NAME=VALUE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command
      ->add_option("--token-file", options->token_file,
                   "File with the session token; it is sent over TLS only")
      ->type_name("FILE");
  command->footer(
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
  command->callback([options] { Call(*options); });
}

}  // namespace CmnSys::Tool
