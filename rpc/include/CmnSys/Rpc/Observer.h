// What a channel or server tells of its doings: what logging, metrics and tracing hang on.

#ifndef CMNSYS_RPC_OBSERVER_H_
#define CMNSYS_RPC_OBSERVER_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// A unary call that has ended.
struct CallEnd {
  // On a client: the address, as given to the Channel, that the call went to; empty when it went
  // nowhere. Empty on a server.
  std::string address;
  // On a client the peer is empty when the call went nowhere, the session token is left out, and
  // the metadata is what was sent.
  const CallInfo& info;
  const Status& status;
  // From the arrival of the call, or from the call of the stub, to its end.
  std::chrono::nanoseconds duration{0};
  // Serialized sizes without headers; 0 for what was not sent or received.
  std::uint64_t request_bytes = 0;
  std::uint64_t response_bytes = 0;
};

// Something else that happened.
struct Event {
  enum class Kind {
    kConnected,           // A connection is ready for calls.
    kDisconnected,        // A connection was lost or closed, or could not be made (client).
    kSubscribed,          // A subscription was accepted.
    kUnsubscribed,        // An accepted subscription has ended; `status` says how.
    kSubscriberDropped,   // Server: a subscriber was too slow; kUnsubscribed follows.
    kTlsFilesReloaded,    // Renewed TLS files are in use.
    kTlsFilesNotUsable,   // Changed TLS files cannot be used, the last good ones still are.
    kCertificateExpires,  // A certificate expires soon, has expired or is not valid yet.
    kLog,                 // gRPC's own log; whole process.
  };
  Kind kind = Kind::kLog;
  std::string address;  // Client: the address as given to the Channel. Server: the peer's.
  std::string method;   // "<service>/<method>" of a subscription.
  Status status;
  std::string text;  // For people; may be empty.
};

// Derive from it, override what is of interest, and set it in ChannelOptions or ServerOptions; one
// observer may serve several of both. The functions are called on the library's own threads and, on
// a client, on those of blocking callers; at the same time from several threads. They must be fast,
// must not throw and must not wait for calls: the call they tell of waits for their return.
// Those that tell of subscribers must not call the publisher, whose locks may be held meanwhile.
class CMNSYSRPC_EXPORT Observer {
 public:
  virtual ~Observer();

  // Just before the closure of the call runs or the blocking call returns; on a server when the
  // response was sent, or cannot be any more. A server does not tell of calls of methods that it
  // does not offer, whose names strangers choose, nor of health checks and reflection.
  virtual void OnCallEnd(const CallEnd& end);
  // As soon as it has happened, or a second later where the system tells it late. What `event`
  // refers to is valid during the call.
  virtual void OnEvent(const Event& event);
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_OBSERVER_H_
