#include "client/channel_target.h"

#include <grpc/grpc.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/support/channel_arguments.h>

#include <algorithm>
#include <climits>
#include <string_view>

#include "common/address.h"
#include "common/payload.h"
#include "common/tls.h"

namespace CmnSys::Rpc {

namespace {

constexpr int kFirstReconnectPauseMs = 100;
constexpr int kKeepaliveTimeoutMs = 10'000;

int Milliseconds(std::chrono::milliseconds duration) {
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(duration.count(), 1, INT_MAX));
}

std::shared_ptr<grpc::Channel> Connect(const std::string& text, const ChannelOptions& options) {
  const Address address = ParseAddress(text);
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(static_cast<int>(options.max_message_bytes));
  arguments.SetMaxSendMessageSize(-1);  // Checked when a request is serialized.
  // No compression: a small response could inflate to any size before it is measured.
  arguments.SetInt(GRPC_COMPRESSION_CHANNEL_ENABLED_ALGORITHMS_BITSET, 1);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS,
                   std::min(kFirstReconnectPauseMs, Milliseconds(options.max_reconnect_pause)));
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, Milliseconds(options.max_reconnect_pause));
  // The name of this argument misleads: it is the timeout of one attempt.
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, Milliseconds(options.connect_timeout));
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, Milliseconds(options.keepalive));
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, kKeepaliveTimeoutMs);
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  // The environment's proxy for web pages is not meant for this.
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  arguments.SetLoadBalancingPolicyName("round_robin");  // Over the addresses of one name.
  std::shared_ptr<grpc::ChannelCredentials> credentials;
  if (options.tls) {
    credentials = ClientCredentials(*options.tls);
    if (!options.server_name.empty()) arguments.SetSslTargetNameOverride(options.server_name);
  } else {
    CheckPlaintextAllowed(address, options.plaintext);
    credentials = grpc::InsecureChannelCredentials();
  }
  return grpc::CreateCustomChannel("dns:///" + address.Text(), credentials, arguments);
}

// How gRPC begins the text of a call for which there is no connection, before the reason.
constexpr const char* kNoConnection = "connections to all backends failing; last error: ";

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string WithoutPrefix(const std::string& text) {
  const std::size_t at = text.find(kNoConnection);
  return at == std::string::npos ? text : text.substr(at + std::string_view(kNoConnection).size());
}

// What a failure to connect probably means, where gRPC's text does not say it.
std::string Advice(const std::string& text, bool tls) {
  if (Contains(text, "wrong version number")) return " (the server does not speak TLS there)";
  if (Contains(text, "certificate verify failed")) {
    return " (the server's certificate is not signed by an authority in the CA file, or is not "
           "valid at this time)";
  }
  if (Contains(text, "Hostname Verification Check failed")) {
    return " (the server's certificate does not carry the expected name: the host of the address, "
           "or the server name that was set)";
  }
  if (Contains(text, "Socket closed") || Contains(text, "reset by peer") ||
      Contains(text, "Broken pipe")) {
    return tls ? " (the server may have refused this client's certificate; it says why in its log)"
               : " (the server may expect TLS)";
  }
  return "";
}

}  // namespace

ChannelTarget::ChannelTarget(const std::string& text, const ChannelOptions& options)
    : address(text), tls(options.tls.has_value()), channel(Connect(text, options)), stub(channel) {}

std::chrono::system_clock::time_point DeadlineAfter(std::chrono::milliseconds timeout) {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(system_clock::time_point::max() - now);
  return timeout >= left ? system_clock::time_point::max() : now + timeout;
}

bool NeverSent(const grpc::Status& status) {
  return status.error_code() == grpc::StatusCode::UNAVAILABLE &&
         (Contains(status.error_message(), kNoConnection) ||
          Contains(status.error_message(), "DNS resolution failed"));
}

Status Outcome(const grpc::Status& status, const grpc::ClientContext& context,
               const std::string& path, const ChannelTarget& target) {
  Status outcome = FromGrpc(status);
  if (outcome.Ok() || Contains(context.debug_error_string(), "Error received from peer")) {
    return outcome;
  }
  switch (outcome.code) {
    case StatusCode::kUnavailable:
      outcome.text = NeverSent(status)
                         ? "cannot reach " + target.address + ": " + WithoutPrefix(outcome.text) +
                               Advice(outcome.text, target.tls)
                         : "lost the connection to " + target.address + " during " + path + ": " +
                               outcome.text;
      break;
    case StatusCode::kDeadlineExceeded:
      outcome.text = path + " was not answered in time by " + target.address;
      break;
    case StatusCode::kCancelled:
      outcome.text = path + " was cancelled";
      break;
    default:
      outcome.text = path + " at " + target.address + " failed: " + outcome.text;
  }
  return outcome;
}

}  // namespace CmnSys::Rpc
