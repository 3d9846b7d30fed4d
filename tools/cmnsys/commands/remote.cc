#include "commands/remote.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "commands/options.h"
#include "io/exit_status.h"
#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

// The token in a file, without the blanks and ends of line around it.
std::string ReadToken(const std::string& path) {
  static constexpr std::uint64_t kMostBytes = 64 << 10;
  InputOptions file;
  file.path = path;
  const std::string text = ReadBeginning(file, kMostBytes + 1);
  if (text.size() > kMostBytes) {
    throw Failure("the token file " + path + " is longer than " + std::to_string(kMostBytes) +
                  " bytes; name one that holds the token alone");
  }
  static constexpr const char* kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) throw Failure("the token file " + path + " is empty");
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

ExitStatus ExitStatusOf(const Rpc::Status& status) {
  // The channel's words.
  const auto says = [&status](const char* words) {
    return status.text.find(words) != std::string::npos;
  };
  switch (status.code) {
    case Rpc::StatusCode::kOk:
      return ExitStatus::kDone;
    case Rpc::StatusCode::kDeadlineExceeded:
      return says("was not made: no connection") ? ExitStatus::kNotReached
                                                 : ExitStatus::kCallFailed;
    case Rpc::StatusCode::kUnavailable:
      // A certificate may be what keeps the channel from a server.
      return says("certificate") ? ExitStatus::kRefused : ExitStatus::kNotReached;
    case Rpc::StatusCode::kUnauthenticated:
    case Rpc::StatusCode::kPermissionDenied:
      return ExitStatus::kRefused;
    default:
      return ExitStatus::kCallFailed;
  }
}

}  // namespace

std::chrono::milliseconds RemoteOptions::Timeout() const {
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(timeout_seconds * 1000)));
}

std::vector<std::pair<std::string, std::string>> RemoteOptions::Metadata() const {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const std::string& entry : metadata) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos) {
      throw Failure("\"" + entry + "\" is no metadata: write NAME=VALUE");
    }
    entries.emplace_back(entry.substr(0, equals), entry.substr(equals + 1));
  }
  return entries;
}

void AddRemote(Command command, RemoteOptions* remote) {
  command
      .Add("--target", &remote->targets,
           "Address of the server; of several, one that can be reached")
      .Required()
      .ValueName("HOST:PORT")
      .Repeatable();
  const Option ca =
      command.Add("--ca", &remote->ca, "Certificates of the authorities to believe, PEM")
          .ValueName("FILE");
  Option certificate =
      command.Add("--cert", &remote->certificate, "Certificate to show, PEM").ValueName("FILE");
  Option key = command.Add("--key", &remote->key, "Private key of --cert, PEM").ValueName("FILE");
  certificate.Needs(key);
  key.Needs(certificate);
  const Option server_name = command
                                 .Add("--server-name", &remote->server_name,
                                      "Name to expect in the server's certificate instead of HOST")
                                 .ValueName("NAME");
  command
      .AddFlag("--plaintext", &remote->plaintext,
               "No TLS: everybody on the way can read and change what is sent")
      .Excludes(ca)
      .Excludes(certificate)
      .Excludes(server_name);
  command.Add("--timeout", &remote->timeout_seconds, "Time to wait for the server's answer")
      .ValueName("SECONDS")
      .Check([](const std::string& text) -> std::string {
        char* end = nullptr;
        const double seconds = std::strtod(text.c_str(), &end);
        const bool fine = *end == '\0' && seconds >= 0.001 && seconds <= 86400;
        return fine ? "" : text + " is not a number of seconds from 0.001 to 86400";
      })
      .ShowDefault();
  command.Add("--metadata", &remote->metadata, "Metadata to send along; may be given several times")
      .ValueName("NAME=VALUE")
      .Repeatable();
  command
      .Add("--token-file", &remote->token_file,
           "File with the session token; it is sent over TLS only")
      .ValueName("FILE");
}

std::unique_ptr<Rpc::Channel> OpenChannel(const RemoteOptions& remote, std::uint64_t max_bytes) {
  // gRPC's log repeats what is reported here; whoever wants it sets the variable.
  setenv("GRPC_VERBOSITY", "NONE", 0);
  Rpc::ChannelOptions options;
  options.max_message_bytes = max_bytes;
  options.server_name = remote.server_name;
  options.timeout = remote.Timeout();
  if (remote.plaintext) {
    options.plaintext = Rpc::Plaintext::kAnywhere;
  } else {
    if (remote.ca.empty()) {
      throw Failure(
          "give the file of certificate authorities with --ca, or --plaintext for a connection "
          "that everybody on the way can read");
    }
    options.tls = Rpc::TlsFiles();
    options.tls->ca_file = remote.ca;
    options.tls->certificate_file = remote.certificate;
    options.tls->key_file = remote.key;
  }
  if (!remote.token_file.empty()) options.session_token = ReadToken(remote.token_file);
  return std::make_unique<Rpc::Channel>(remote.targets, options);
}

void ThrowUnlessOk(const std::string& what, const Rpc::Status& status) {
  if (status.Ok()) return;
  throw Failure(what + " failed with " + Rpc::StatusCodeName(status.code) +
                    (status.text.empty() ? "" : ": " + status.text),
                ExitStatusOf(status));
}

std::unique_ptr<Message> New(const google::protobuf::Descriptor* type) {
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(type)->New());
}

void AddExchange(Command command, ExchangeOptions* options, const std::string& shown) {
  AddFormat(command, "-f,--from", &options->from, "Format of the request");
  AddFormat(command, "-t,--to", &options->to,
            "Format of the " + shown + "; auto is json on standard output");
  AddOutput(command, &options->output);
  AddJson(command, &options->json);
}

void ReadRequest(const ExchangeOptions& options, Message* request) {
  const auto source = OpenSource(options.request, options.from, options.json);
  if (!source->Next(request)) return;
  const std::unique_ptr<Message> another(request->New());
  if (source->Next(another.get())) {
    throw Failure(options.request.Name() + " holds more than one message; one request is sent");
  }
}

std::unique_ptr<MessageSink> OpenResponseSink(ExchangeOptions* options) {
  JsonOptions& json = options->json;
  json.lossy = true;
  json.write.max_depth = std::max(json.write.max_depth, options->request.max_depth);
  return OpenSink(options->output, options->to, json);
}

}  // namespace CmnSys::Tool
