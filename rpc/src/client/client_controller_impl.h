#ifndef CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_
#define CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "CmnSys/Rpc/ClientController.h"
#include "client/metadata.h"
#include "common/cancel_notifier.h"

namespace CmnSys::Rpc {

class ClientController::Impl {
 public:
  // What Channel reads before a call and writes after it.
  std::optional<std::chrono::milliseconds> timeout;
  bool wait_for_ready = false;
  Metadata metadata;
  Status outcome;
  std::string address;
  std::string peer;
  CancelNotifier notifier;

  // Begins a call that StartCancel() ends by `cancel`; false when it is cancelled already. Throws
  // std::logic_error when the controller serves a call.
  bool Begin(std::function<void()> cancel);
  // Ends it; `cancel` is not called any more once this has returned.
  void End(Status how, const std::string& where, const std::string& who);

  void StartCancel();
  bool IsCanceled() const;
  void Reset();

 private:
  mutable std::mutex mutex_;
  bool cancelled_ = false;
  bool in_call_ = false;
  std::function<void()> cancel_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_
