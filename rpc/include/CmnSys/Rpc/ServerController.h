// What a service method can ask and tell about the call that it serves.

#ifndef CMNSYS_RPC_SERVER_CONTROLLER_H_
#define CMNSYS_RPC_SERVER_CONTROLLER_H_

#include <google/protobuf/service.h>

#include <string>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/Export.h"
#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// The controller that a Server passes to service methods:
//
//   auto* call = dynamic_cast<CmnSys::Rpc::ServerController*>(controller);
//
// It belongs to the server and is valid, as are request and response, until the method's closure
// is run. All functions may be called from any thread until then.
class CMNSYSRPC_EXPORT ServerController : public google::protobuf::RpcController {
 public:
  ~ServerController() override;

  // Caller, deadline and metadata of the call.
  virtual const CallInfo& Info() const = 0;

  // Fails the call with a code; kOk is taken for kUnknown. The response is not sent. Texts longer
  // than ServerOptions::max_error_text_bytes are cut.
  virtual void SetFailed(StatusCode code, const std::string& text) = 0;

  // Fails the call with kUnknown and this text; the text of a method that is not implemented
  // ("Method X() not implemented.") gives kUnimplemented.
  void SetFailed(const std::string& text) override = 0;

  // True when nobody waits for the response any more: the client cancelled, vanished, or its
  // deadline has passed, or the server is shutting down and its grace is over.
  bool IsCanceled() const override = 0;

  // Runs the closure exactly once, on a thread of the server's that is kept for such closures: when
  // the call is cancelled, or already is, or after the method's closure was run, never inside that
  // closure, nor, unless the server has been deleted, inside this function. At most one a call:
  // throws std::logic_error for another. What the closure throws is told to the observer (kLog) and
  // changes nothing.
  void NotifyOnCancel(google::protobuf::Closure* callback) override = 0;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SERVER_CONTROLLER_H_
