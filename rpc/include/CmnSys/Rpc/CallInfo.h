// What a server knows about a call besides its request.

#ifndef CMNSYS_RPC_CALL_INFO_H_
#define CMNSYS_RPC_CALL_INFO_H_

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace CmnSys::Rpc {

// Whom the peer's certificate names. It is verified before the first call is served; everything is
// empty on a connection without TLS.
struct PeerIdentity {
  std::string common_name;                     // CN of the subject.
  std::vector<std::string> alternative_names;  // Subject alternative names, in their order.
};

// A call, as a service and ServerOptions::authorize see it before its request. A value to be
// copied.
struct CallInfo {
  std::string service;  // Full name, for example "Pb.Rpc.SvcQuery.Query".
  std::string method;   // For example "Initiate".
  // The peer's IP address and port: "192.0.2.7:41000", "[2001:db8::7]:41000"; "unix:" and a path,
  // which may be empty, over a Unix domain socket.
  std::string peer;
  PeerIdentity identity;
  // The session token that came with the call; empty without one.
  std::string session_token;
  // What the client sent as call metadata, names in lower case. The session token is not in it.
  std::multimap<std::string, std::string> metadata;
  // When the client stops waiting; nothing when it waits for ever.
  std::optional<std::chrono::system_clock::time_point> deadline;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_CALL_INFO_H_
