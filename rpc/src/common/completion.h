// What gRPC's completion queues carry, and how operations are kept off a queue that is closing.

#ifndef CMNSYS_RPC_SRC_COMPLETION_H_
#define CMNSYS_RPC_SRC_COMPLETION_H_

#include <atomic>
#include <mutex>
#include <shared_mutex>

namespace CmnSys::Rpc {

// Posted with an operation; Complete() is called when the queue returns it, and sees everything
// that was done before Post(). gRPC guarantees that, but in a way that ThreadSanitizer does not
// see; the flag shows it.
class Tag {
 public:
  // What to give to gRPC.
  void* Post() {
    posted_.store(true, std::memory_order_release);
    return this;
  }

  static void CompletePosted(void* posted, bool ok) {
    auto* tag = static_cast<Tag*>(posted);
    (void)tag->posted_.load(std::memory_order_acquire);
    tag->Complete(ok);
  }

 protected:
  ~Tag() = default;

 private:
  virtual void Complete(bool ok) = 0;

  std::atomic<bool> posted_{false};
};

// A tag that calls a member function.
template <typename Object, void (Object::*kMember)(bool)>
class MemberTag final : public Tag {
 public:
  explicit MemberTag(Object* object) : object_(object) {}

 private:
  void Complete(bool ok) override { (object_->*kMember)(ok); }

  Object* object_;
};

// Completes what the queue returns until it is shut down and empty.
template <typename Queue>
void Drain(Queue* queue) {
  void* tag = nullptr;
  bool ok = false;
  while (queue->Next(&tag, &ok)) Tag::CompletePosted(tag, ok);
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
