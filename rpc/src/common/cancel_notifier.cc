#include "common/cancel_notifier.h"

#include <stdexcept>
#include <utility>

namespace CmnSys::Rpc {

void CancelNotifier::Set(google::protobuf::Closure* closure) {
  {
    const std::lock_guard lock(mutex_);
    if (set_) {
      throw std::logic_error("NotifyOnCancel may be called only once for a call");
    }
    set_ = true;
    if (!fired_) {
      closure_ = closure;
      return;
    }
  }
  closure->Run();
}

void CancelNotifier::Fire() {
  google::protobuf::Closure* closure = nullptr;
  {
    const std::lock_guard lock(mutex_);
    fired_ = true;
    closure = std::exchange(closure_, nullptr);
  }
  if (closure != nullptr) closure->Run();
}

void CancelNotifier::Reset() {
  const std::lock_guard lock(mutex_);
  closure_ = nullptr;
  set_ = false;
  fired_ = false;
}

}  // namespace CmnSys::Rpc
