#ifndef CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_
#define CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Rpc/ClientController.h"
#include "common/cancel_notifier.h"

namespace CmnSys::Rpc {

using Metadata = std::vector<std::pair<std::string, std::string>>;

class ClientController::Impl {
 public:
  // What Channel reads before a call and writes after it.
  std::optional<std::chrono::milliseconds> timeout;
  bool wait_for_ready = false;
  Metadata metadata;
  std::size_t metadata_bytes = 0;
  Status outcome;
  std::string address;
  CancelNotifier notifier;

  // Makes `cancel` what StartCancel() calls while the call is in progress. Returns false, and keeps
  // nothing, when the call is already cancelled. Null when the call has ended; then `cancel` is not
  // called any more once this has returned.
  bool SetCancel(std::function<void()> cancel);

  void StartCancel();
  bool IsCanceled() const;
  void Reset();

 private:
  mutable std::mutex mutex_;
  bool cancelled_ = false;
  std::function<void()> cancel_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CLIENT_CONTROLLER_IMPL_H_
