// What gRPC's completion queues carry, and how operations are kept off a queue that is closing.

#ifndef CMNSYS_RPC_SRC_COMPLETION_H_
#define CMNSYS_RPC_SRC_COMPLETION_H_

#include <mutex>
#include <shared_mutex>

namespace CmnSys::Rpc {

// Posted with an operation; Complete() is called when the queue returns it.
class Tag {
 public:
  virtual void Complete(bool ok) = 0;

 protected:
  ~Tag() = default;
};

// A tag that calls a member function.
template <typename Object, void (Object::*kMember)(bool)>
class MemberTag final : public Tag {
 public:
  explicit MemberTag(Object* object) : object_(object) {}
  void Complete(bool ok) override { (object_->*kMember)(ok); }

 private:
  Object* object_;
};

// Completes what the queue returns until it is shut down and empty.
template <typename Queue>
void Drain(Queue* queue) {
  void* tag = nullptr;
  bool ok = false;
  while (queue->Next(&tag, &ok)) static_cast<Tag*>(tag)->Complete(ok);
}

// gRPC aborts the process when an operation is started on a queue that was shut down. All
// operations start through a gate, and the gate is closed before its queues are.
class OperationGate {
 public:
  // Runs `start` and returns true, unless the gate is closed.
  template <typename Start>
  bool Pass(Start&& start) {
    const std::shared_lock lock(mutex_);
    if (closed_) return false;
    start();
    return true;
  }

  // Returns when no operation is being started and none will be.
  void Close() {
    const std::unique_lock lock(mutex_);
    closed_ = true;
  }

 private:
  std::shared_mutex mutex_;
  bool closed_ = false;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_COMPLETION_H_
