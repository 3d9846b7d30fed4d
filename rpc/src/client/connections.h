// The connections of a channel, and which of them a call goes to.

#ifndef CMNSYS_RPC_SRC_CONNECTIONS_H_
#define CMNSYS_RPC_SRC_CONNECTIONS_H_

#include <grpcpp/alarm.h>
#include <grpcpp/completion_queue.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "client/endpoint.h"
#include "client/poller.h"
#include "common/completion.h"
#include "common/time.h"
#include "common/tls.h"

namespace CmnSys::Rpc {

// Shared by a channel, its calls and its subscriptions. All functions are thread-safe.
class Connections {
 public:
  // Throws std::invalid_argument.
  Connections(const std::vector<std::string>& addresses, const ChannelOptions& options);
  ~Connections();  // Not on the poller's thread.
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  // A call that has to wait until there is a connection.
  struct Waiter {
    bool wait_for_ready = false;
    gpr_timespec deadline = Never();
    // Where `tag` completes: with true when the deadline has passed, otherwise when it is time to
    // choose again.
    grpc::CompletionQueue* queue = nullptr;
    Tag* tag = nullptr;
    std::unique_ptr<grpc::Alarm> alarm;
    bool cancelled = false;
  };

  // What a call should do: be sent to `endpoint`; without one, wait; or give up.
  struct Choice {
    Endpoint* endpoint = nullptr;
    bool give_up = false;
  };
  // `tried` is how often the call was sent in vain. When the call is to wait, End() follows the
  // completion of its tag.
  // Whether Choose() ever lets calls wait; gRPC lets those for a single endpoint wait by itself.
  bool MayWait() const { return endpoints_.size() > 1; }
  Choice Choose(std::size_t tried, Waiter* waiter);
  void End(Waiter* waiter);
  // Completes the tag of a waiter now, or as soon as it waits.
  void Cancel(Waiter* waiter);

  // All addresses, for texts.
  const std::string& names() const { return names_; }
  Poller* poller() { return poller_.get(); }

 private:
  struct Watched;

  void Watch(Watched* watched);
  void OnState(Watched* watched, grpc_connectivity_state state);
  void Tell(Watched* watched, grpc_connectivity_state state);
  void OnStagger(bool ok);
  // With mutex_ held.
  bool AllDown() const;
  void ConnectNext();
  void WakeAll(bool those_that_wait_for_ready);

  const bool in_turn_;
  const std::shared_ptr<Observer> observer_;
  std::string names_;
  const std::shared_ptr<Poller> poller_;
  ClientTls tls_;
  // In the order of the addresses.
  std::vector<std::unique_ptr<Watched>> endpoints_;
  // Where calls go as long as it can be reached; with in_turn_, the next in turn.
  std::atomic<std::size_t> current_{0};

  std::mutex mutex_;
  std::unordered_set<Waiter*> waiters_;
  // So many endpoints, from the current one on, were told to connect since one is waited for.
  std::size_t connecting_ = 0;
  MemberTag<Connections, &Connections::OnStagger> stagger_tag_{this};
  grpc::Alarm stagger_;
  bool staggering_ = false;

  bool stopping_ = false;
  int operations_ = 0;  // That the poller's queue carries.
  std::condition_variable no_operations_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CONNECTIONS_H_
