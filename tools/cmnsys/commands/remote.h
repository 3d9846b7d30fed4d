// What the commands that talk to a server have in common.

#ifndef CMNSYS_TOOLS_COMMANDS_REMOTE_H_
#define CMNSYS_TOOLS_COMMANDS_REMOTE_H_

#include <google/protobuf/message.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "command_line/command.h"
#include "formats/message_stream.h"
#include "io/input.h"
#include "io/output.h"

namespace CmnSys::Tool {

// How to reach a server, and what to send along.
struct RemoteOptions {
  std::vector<std::string> targets;
  std::string ca;
  std::string certificate;
  std::string key;
  std::string server_name;
  bool plaintext = false;
  double timeout_seconds = 30;
  std::vector<std::string> metadata;
  std::string token_file;

  std::chrono::milliseconds Timeout() const;
  // Name and value of each. Throws Failure for an entry that has no "=".
  std::vector<std::pair<std::string, std::string>> Metadata() const;
};

void AddRemote(Command command, RemoteOptions* remote);

// What is sent to a server, what is shown of what it sends, and where that goes.
struct ExchangeOptions {
  InputOptions request;
  Format from = Format::kAuto;
  OutputOptions output;
  Format to = Format::kAuto;
  JsonOptions json;
};

// The options of formats and output. `shown` is a noun for what the server sends.
void AddExchange(Command command, ExchangeOptions* options, const std::string& shown);

// A channel to the server for messages up to so many bytes. Throws Failure or
// std::invalid_argument for options that do not fit.
std::unique_ptr<Rpc::Channel> OpenChannel(const RemoteOptions& remote, std::uint64_t max_bytes);

// Throws Failure, with the exit status, unless the status is kOk. `what` has failed.
void ThrowUnlessOk(const std::string& what, const Rpc::Status& status);

std::unique_ptr<google::protobuf::Message> New(const google::protobuf::Descriptor* type);

// Reads the request, the only message of the input; one without a message is a request without
// fields. Throws Failure.
void ReadRequest(const ExchangeOptions& options, google::protobuf::Message* request);

// Opens the output for what a server sends so that it cannot be lost once it was sent: what the
// format cannot hold is left out with a warning, and it may be as deep as a channel takes it. The
// options are adapted and must outlive the sink.
std::unique_ptr<MessageSink> OpenResponseSink(ExchangeOptions* options);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMANDS_REMOTE_H_
