#include "client/endpoint.h"

#include <grpc/grpc.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/support/channel_arguments.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "common/payload.h"
#include "common/time.h"

namespace CmnSys::Rpc {

namespace {

constexpr int kFirstReconnectPauseMs = 100;
constexpr int kKeepaliveTimeoutMs = 10'000;
constexpr int kResolvePauseMs = 1'000;
// Long enough for the last of three name servers, the most that a system has, as the others are
// given 5 s each. What the hosts file tells is used when this is over and no name server answers.
constexpr int kResolveTimeoutMs = 11'000;

// What this file reads from gRPC's texts, and how it finds out where a call went, was tried with
// one version. With another no call is made again.
bool KnownGrpc() {
  static const bool known = grpc::Version().rfind("1.51.", 0) == 0;
  return known;
}

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

// A path as it stands in a URI (RFC 3986, section 2.1).
std::string PercentEncoded(const std::string& path) {
  static constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
    text += plain ? std::string(1, c) : std::string{'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
  }
  return text;
}

// A target is written differently from the peer that it leads to, see NeverSent().
std::string Target(const Address& address) {
  if (address.IsUnix()) {
    return "unix://" + PercentEncoded(std::filesystem::absolute(address.path).string());
  }
  std::string text = address.Text();
  const std::size_t scope = text.find('%');
  if (scope != std::string::npos) text.insert(scope + 1, "25");  // A percent sign in a URI.
  return "dns:///" + text;
}

std::shared_ptr<grpc::Channel> Connect(const Address& given, const Address& real,
                                       const std::string& target, const ChannelOptions& options,
                                       std::shared_ptr<grpc::ChannelCredentials> credentials) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(static_cast<int>(options.max_message_bytes));
  arguments.SetMaxSendMessageSize(-1);  // Checked when a request is serialized.
  // No compression: a small response could inflate to any size before it is measured.
  arguments.SetInt(GRPC_COMPRESSION_CHANNEL_ENABLED_ALGORITHMS_BITSET, 1);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS,
                   std::min(kFirstReconnectPauseMs, ToArgument(options.max_reconnect_pause)));
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, ToArgument(options.max_reconnect_pause));
  // The name of this argument misleads: it is the timeout of one attempt.
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, ToArgument(options.connect_timeout));
  arguments.SetInt(GRPC_ARG_DNS_MIN_TIME_BETWEEN_RESOLUTIONS_MS, kResolvePauseMs);
  arguments.SetInt(GRPC_ARG_DNS_ARES_QUERY_TIMEOUT_MS, kResolveTimeoutMs);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, ToArgument(options.keepalive));
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, kKeepaliveTimeoutMs);
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  // The environment's proxy for web pages is not meant for this.
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  // Among the IP addresses of one name.
  arguments.SetLoadBalancingPolicyName(
      options.balancing == LoadBalancing::kRoundRobin ? "round_robin" : "pick_first");
  if (credentials != nullptr) {
    // The name to verify is the one that was given, whatever IP address it stands for.
    const std::string name = options.server_name.empty() ? given.host : options.server_name;
    if (name != real.host) arguments.SetSslTargetNameOverride(name);
  } else if (options.plaintext == Plaintext::kAnywhere || IsLocal(real).value_or(false)) {
    credentials = grpc::InsecureChannelCredentials();
  } else {
    // Where the name leads is seen when it is connected to; these refuse other than loopback.
    credentials = grpc::experimental::LocalCredentials(LOCAL_TCP);
  }
  return grpc::CreateCustomChannel(target, credentials, arguments);
}

// How gRPC begins the text of a call for which there is no connection, before the reason.
constexpr std::array<std::string_view, 2> kNoConnection = {
    "failed to connect to all addresses; last error: ",
    "connections to all backends failing; last error: "};

// What gRPC says, as if the server had said it, when a connection is lost.
constexpr std::array<std::string_view, 9> kLost = {
    "Socket closed",        "Connection reset by peer", "Broken pipe",
    "keepalive watchdog",   "Connection timed out",     "No route to host",
    "Endpoint read failed", "Transport closed",         "GOAWAY received"};

// What gRPC says, as if the server had said it, of a call that the client cancelled or that the
// server's gRPC gave up: it does so with calls that arrive just when it is being shut down.
constexpr std::string_view kGivenUp = "CANCELLED";

// What a server's gRPC says when its calls are cancelled because it is being stopped.
constexpr std::string_view kStopped = "Cancelling all calls";

std::string Reason(const std::string& text) {
  if (KnownGrpc()) {
    for (const std::string_view prefix : kNoConnection) {
      const std::size_t at = text.find(prefix);
      if (at != std::string::npos) return text.substr(at + prefix.size());
    }
  }
  return text;
}

bool SaysLost(const std::string& text) {
  return KnownGrpc() && std::any_of(kLost.begin(), kLost.end(), [&text](std::string_view part) {
           return Contains(text, part);
         });
}

// What a failure to connect probably means, where gRPC's text does not say it.
std::string Advice(const std::string& text, const Endpoint& endpoint) {
  if (Contains(text, "wrong version number")) return " (the server does not speak TLS there)";
  if (Contains(text, "certificate verify failed")) {
    return " (the server's certificate is not signed by an authority in the CA file, or is not "
           "valid at this time)";
  }
  if (Contains(text, "Hostname Verification Check failed")) {
    return " (the server's certificate does not carry the expected name: the host of the address, "
           "or the server name that was set)";
  }
  if (Contains(text, "neither UDS or TCP loopback")) {
    return " (the name leads to another machine, and there everybody on the way could read and "
           "change the calls: set TLS files, or Plaintext::kAnywhere if that is meant)";
  }
  // An attempt that was given up, whose connection has never been; rarely one that was reset at
  // once.
  if (Contains(text, "tcp handshaker shutdown") ||
      Contains(text, "Failed to connect to remote host: Connection reset by peer")) {
    return " (nothing answers there: the address may be wrong, the machine off, or a firewall in "
           "between)";
  }
  if (Contains(text, "Handshake read failed") || Contains(text, "SETTINGS frame")) {
    return " (something accepts connections there and does not answer: it may be frozen, "
           "overloaded, or no such server)";
  }
  const bool closed = Contains(text, "Socket closed") || Contains(text, "reset by peer") ||
                      Contains(text, "Broken pipe");
  // One that accepted a certificate refuses it when its time is over.
  const std::string untimely = endpoint.tls == nullptr ? "" : endpoint.tls->Untimely();
  if (closed && (!endpoint.was_connected || !untimely.empty())) {
    const std::string what = " (the server closed the connection before it was ready: it may ";
    if (endpoint.tls == nullptr) return what + "expect TLS)";
    return what + "have refused this client's certificate" +
           (untimely.empty() ? ", and says why in its log)" : ": " + untimely + ")");
  }
  return "";
}

}  // namespace

Endpoint::Endpoint(const std::string& given, const Address& real, const ChannelOptions& options,
                   const ClientTls& client_tls)
    : address(given),
      tls(client_tls.files),
      target(Target(real)),
      channel(Connect(ParseAddress(given), real, target, options, client_tls.credentials)),
      stub(channel) {}

bool NeverSent(const grpc::Status& status, const grpc::ClientContext& context,
               const Endpoint& endpoint) {
  // gRPC names the target as peer until it hands the call to a connection.
  return status.error_code() == grpc::StatusCode::UNAVAILABLE && KnownGrpc() &&
         context.peer() == endpoint.target;
}

std::string Peer(const grpc::ClientContext& context, const Endpoint& endpoint) {
  const std::string peer = context.peer();
  return peer == endpoint.target ? "" : PeerAddress(peer);
}

bool MayBeSent(const grpc::ClientContext& context, const Endpoint& endpoint) {
  return context.peer() != endpoint.target || endpoint.Ready();
}

std::string NotConnected(const std::string& path, const std::string& addresses) {
  return path + " was not made: no connection to " + addresses + " in time";
}

Status Outcome(const grpc::Status& status, const grpc::ClientContext& context,
               const std::string& path, const Endpoint& endpoint, bool cancelled) {
  Status outcome = FromGrpc(status);
  const bool sent = context.peer() != endpoint.target;
  if (sent) endpoint.was_connected = true;
  if (outcome.Ok()) return outcome;
  const bool from_peer = Contains(context.debug_error_string(), "Error received from peer");
  switch (outcome.code) {
    case StatusCode::kUnavailable:
      if (!sent) {
        outcome.text = "cannot reach " + endpoint.address + ": " + Reason(outcome.text) +
                       Advice(outcome.text, endpoint);
      } else if (!from_peer || SaysLost(outcome.text)) {
        outcome.text =
            "lost the connection to " + endpoint.address + " during " + path + ": " + outcome.text;
      } else if (KnownGrpc() && outcome.text == kStopped) {
        outcome.text = endpoint.address + " ended " + path + ": it is being stopped";
      }
      break;
    case StatusCode::kDeadlineExceeded:
      // The server's gRPC keeps the same deadline, and its word may be here first.
      if (!from_peer || outcome.text == "Deadline Exceeded") {
        outcome.text = MayBeSent(context, endpoint)
                           ? path + " was not answered in time by " + endpoint.address
                           : NotConnected(path, endpoint.address);
      }
      break;
    case StatusCode::kCancelled:
      if (!cancelled && from_peer && KnownGrpc() && outcome.text == kGivenUp) {
        outcome = {StatusCode::kUnavailable, endpoint.address + " ended " + path +
                                                 " without an answer: it may be shutting down"};
      } else if (!from_peer || outcome.text == kGivenUp) {
        outcome.text = path + " was cancelled";
      }
      break;
    default:
      if (!from_peer) outcome.text = path + " at " + endpoint.address + " failed: " + outcome.text;
  }
  return outcome;
}

}  // namespace CmnSys::Rpc
