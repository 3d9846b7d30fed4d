// Completion queues of calls that have ended before gRPC has done with them.

#ifndef CMNSYS_RPC_SRC_LEFTOVER_QUEUES_H_
#define CMNSYS_RPC_SRC_LEFTOVER_QUEUES_H_

#include <grpcpp/completion_queue.h>

#include <memory>

namespace CmnSys::Rpc {

// Completes what a queue that was shut down still carries, on a thread that all such queues of the
// process share and that ends with the last of them. False when the system has no thread left.
// Thread-safe.
bool DrainLater(std::shared_ptr<grpc::CompletionQueue> queue);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_LEFTOVER_QUEUES_H_
