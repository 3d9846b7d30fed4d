// The client's hold on one call.

#ifndef CMNSYS_RPC_CLIENT_CONTROLLER_H_
#define CMNSYS_RPC_CLIENT_CONTROLLER_H_

#include <google/protobuf/service.h>

#include <chrono>
#include <memory>
#include <string>

#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// Settings, cancellation and outcome of one call over a Channel. One controller serves one call at
// a time (a second one meanwhile throws std::logic_error); call Reset() before the next. It must
// outlive its call: for an asynchronous call, until the closure runs. StartCancel() may be called
// from any thread at any time; everything else only while no call is in progress, or after it.
class CMNSYSRPC_EXPORT ClientController final : public google::protobuf::RpcController {
 public:
  // The channel's settings, nothing cancelled.
  ClientController();
  ~ClientController() override;
  ClientController(const ClientController&) = delete;
  ClientController& operator=(const ClientController&) = delete;

  // How long the call may take, connecting included; the channel's timeout when not set. Zero or
  // less, however negative, fails the call at once; a century or more, as milliseconds::max() is,
  // waits for ever. Setting the system's clock meanwhile changes nothing.
  void SetTimeout(std::chrono::milliseconds timeout);

  // With true, the call waits for a connection, up to its timeout, when the server cannot be
  // reached; with false, the default, it fails at once with kUnavailable.
  void SetWaitForReady(bool wait);

  // Sends `name: value` along with the call; a name may come several times. Names are made of
  // a to z, 0 to 9, '_', '-' and '.', and are none of those that gRPC and HTTP/2 use themselves:
  // those that begin with "grpc" or "cmnsys-", "authorization" (see Channel::SetSessionToken),
  // "content-type", "te", "host", "user-agent" and a few more. Values are printable ASCII; when the
  // name ends with "-bin" they are any bytes. Throws std::invalid_argument otherwise, and when all
  // metadata of the call together exceeds 4,096 bytes, each counted as name, value and 32 bytes.
  void AddMetadata(const std::string& name, const std::string& value);

  // How the last call ended; kOk before the first. Valid until the next call, SetFailed or Reset().
  const Status& Outcome() const;
  // The code alone.
  StatusCode Code() const { return Outcome().code; }

  // The address, as given to the Channel, to which the last call went; empty when it went nowhere.
  const std::string& Address() const;

  // The IP address and port of the server that the last call was sent to ("192.0.2.7:4711"), or
  // "unix:" and the path of its socket; empty when it was not sent, or the timeout or a
  // cancellation ended it before the server had answered anything.
  const std::string& Peer() const;

  // Back to the state of a new controller: settings, metadata, outcome and cancellation. Throws
  // std::logic_error during a call.
  void Reset() override;
  // True when the last call did not end with kOk.
  bool Failed() const override;
  // The text of Outcome(). It can be empty for a failed call: servers may send an empty text.
  std::string ErrorText() const override;
  // Cancels the call: it ends with kCancelled, unless its response was already received. Before a
  // call it cancels the next one; after a call it changes nothing but IsCanceled().
  void StartCancel() override;

  // Marks the controller as failed with kUnknown and this text.
  void SetFailed(const std::string& reason) override;
  // True once StartCancel() was called, until Reset().
  bool IsCanceled() const override;
  // Runs the closure exactly once: when StartCancel() is called, or when the call has ended, just
  // before its own closure runs; at once when either has already happened. At most one closure a
  // call: throws std::logic_error for another.
  void NotifyOnCancel(google::protobuf::Closure* callback) override;

  class Impl;
  Impl* impl() const { return impl_.get(); }  // For this library's own use.

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_CLIENT_CONTROLLER_H_
