// The closure of RpcController::NotifyOnCancel.

#ifndef CMNSYS_RPC_SRC_CANCEL_NOTIFIER_H_
#define CMNSYS_RPC_SRC_CANCEL_NOTIFIER_H_

#include <google/protobuf/service.h>

#include <mutex>

namespace CmnSys::Rpc {

// Has the closure run once: when Fire() is called, or at once when it was called before.
class CancelNotifier {
 public:
  // Throws std::logic_error when there is a closure already.
  void Set(google::protobuf::Closure* closure);
  void Fire();
  // The same for those who run the closure themselves: each returns it when it is due, otherwise
  // null.
  google::protobuf::Closure* Keep(google::protobuf::Closure* closure);
  google::protobuf::Closure* Take();
  void Reset();

 private:
  std::mutex mutex_;
  google::protobuf::Closure* closure_ = nullptr;
  bool set_ = false;
  bool fired_ = false;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CANCEL_NOTIFIER_H_
