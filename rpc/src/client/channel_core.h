#ifndef CMNSYS_RPC_SRC_CHANNEL_CORE_H_
#define CMNSYS_RPC_SRC_CHANNEL_CORE_H_

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "client/channel_target.h"
#include "client/client_controller_impl.h"
#include "common/completion.h"

namespace CmnSys::Rpc {

class ClientCall;

// What a channel, its calls and its completion threads share.
class ChannelCore : public std::enable_shared_from_this<ChannelCore> {
 public:
  ChannelCore(const std::vector<std::string>& addresses, ChannelOptions channel_options);

  void SetSessionToken(const std::string& token);
  // The addresses in the order in which a call should try them: the next in turn first, and those
  // that cannot be reached at the moment last.
  std::vector<ChannelTarget*> TargetsInTurn();
  std::shared_ptr<ChannelTarget> NextTarget();

  // Fails with kUnauthenticated when there is a token but the connection is plaintext.
  Status CheckToken();
  // Sets metadata, token and deadline. A token is left out on a plaintext connection.
  void PrepareContext(const Metadata* metadata, bool wait_for_ready,
                      std::chrono::system_clock::time_point deadline, grpc::ClientContext* context);

  // Starts the completion threads with the first asynchronous call.
  grpc::CompletionQueue* Queue();
  OperationGate& gate() { return gate_; }
  void Add(ClientCall* call);
  void Remove(ClientCall* call);
  // Cancels all asynchronous calls, and waits for their closures unless it is called by one.
  void Close();

  const ChannelOptions options;

 private:
  void StartThreads();

  std::vector<std::shared_ptr<ChannelTarget>> targets_;
  std::atomic<std::size_t> turn_{0};

  std::mutex token_mutex_;
  std::shared_ptr<grpc::CallCredentials> token_;

  OperationGate gate_;
  std::once_flag threads_started_;
  std::vector<std::unique_ptr<grpc::CompletionQueue>> queues_;
  std::vector<std::thread> threads_;
  std::atomic<std::size_t> queue_turn_{0};

  std::mutex calls_mutex_;
  std::unordered_set<ClientCall*> calls_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_CHANNEL_CORE_H_
