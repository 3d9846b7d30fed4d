#include "common/cancel_notifier.h"

#include <stdexcept>
#include <utility>

namespace CmnSys::Rpc {

void CancelNotifier::Set(google::protobuf::Closure* closure) {
  google::protobuf::Closure* due = Keep(closure);
  if (due != nullptr) due->Run();
}

void CancelNotifier::Fire() {
  google::protobuf::Closure* due = Take();
  if (due != nullptr) due->Run();
}

google::protobuf::Closure* CancelNotifier::Keep(google::protobuf::Closure* closure) {
  const std::lock_guard lock(mutex_);
  if (set_) throw std::logic_error("NotifyOnCancel may be called only once for a call");
  set_ = true;
  if (fired_) return closure;
  closure_ = closure;
  return nullptr;
}

google::protobuf::Closure* CancelNotifier::Take() {
  const std::lock_guard lock(mutex_);
  fired_ = true;
  return std::exchange(closure_, nullptr);
}

void CancelNotifier::Reset() {
  const std::lock_guard lock(mutex_);
  closure_ = nullptr;
  set_ = false;
  fired_ = false;
}

}  // namespace CmnSys::Rpc
