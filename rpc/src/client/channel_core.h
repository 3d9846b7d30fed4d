#ifndef CMNSYS_RPC_SRC_CHANNEL_CORE_H_
#define CMNSYS_RPC_SRC_CHANNEL_CORE_H_

#include <grpc/support/time.h>
#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "client/connections.h"
#include "client/metadata.h"

namespace CmnSys::Rpc {

class ClientCall;

// What a channel, its calls, its subscriptions and its completion threads share.
class ChannelCore : public std::enable_shared_from_this<ChannelCore> {
 public:
  ChannelCore(const std::vector<std::string>& addresses, ChannelOptions channel_options);

  Connections& connections() { return connections_; }

  void SetSessionToken(const std::string& token);
  // Fails with kUnauthenticated when there is a token but the connection is plaintext.
  Status CheckToken();
  // Sets metadata, token and deadline. A token is left out on a plaintext connection.
  void PrepareContext(const Metadata& metadata, bool wait_for_ready, gpr_timespec deadline,
                      grpc::ClientContext* context);

  // A call with a closure, from before its first operation until its closure has returned. Returns
  // where its operations complete; the first call starts the threads.
  grpc::CompletionQueue* Add(ClientCall* call);
  void Remove(ClientCall* call);
  bool Closing() const { return closing_; }
  // Cancels all calls with closures, and waits for their closures unless it is called by one.
  void Close();

  const ChannelOptions options;

  // See ChannelCounters.
  struct {
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::uint64_t> failed_calls{0};
    std::atomic<std::int64_t> calls_in_progress{0};
    std::atomic<std::int64_t> subscriptions{0};
    std::atomic<std::uint64_t> messages{0};
    std::atomic<std::uint64_t> sent_bytes{0};
    std::atomic<std::uint64_t> received_bytes{0};
  } counters;

 private:
  void ShutdownQueues();

  Connections connections_;

  std::mutex token_mutex_;
  std::shared_ptr<grpc::CallCredentials> token_;

  // gRPC ends the process when an operation is started on a queue that was shut down; that is done
  // when no call is left.
  std::mutex calls_mutex_;
  std::atomic<bool> closing_{false};
  std::unordered_set<ClientCall*> calls_;
  std::vector<std::unique_ptr<grpc::CompletionQueue>> queues_;
  std::size_t turn_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CHANNEL_CORE_H_
