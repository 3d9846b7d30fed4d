// One unary call on the server, from waiting for it until its end.

#ifndef CMNSYS_RPC_SRC_SERVER_CALL_H_
#define CMNSYS_RPC_SRC_SERVER_CALL_H_

#include <google/protobuf/arena.h>
#include <grpcpp/server_context.h>
#include <grpcpp/support/slice.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/cancel_notifier.h"
#include "common/completion.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

// Owns itself. It is kept by whoever still needs it: gRPC, until the call is over on the wire, and
// the service method, until its closure is run. What belongs to gRPC is freed as soon as the call
// is over on the wire, because a server cannot shut down before that, however long a method takes.
class ServerCall final : private ServerController, private google::protobuf::Closure {
 public:
  // Waits for the next call of the method; the call object then arranges for the one after it. Does
  // nothing when the server is shutting down.
  static void Listen(const std::shared_ptr<ServerCore>& core, const UnaryMethod& method,
                     grpc::ServerCompletionQueue* queue);

  // Ends a call whose client is too slow. Thread-safe, while the call is in one of the core's time
  // limits.
  void EndSlow(const char* what, std::chrono::milliseconds limit);

 private:
  struct Transport {
    grpc::ServerContext context;
    RawStream stream{&context};
    grpc::ByteBuffer request;
  };
  using Place = TimeLimit<ServerCall>::Place;

  ServerCall(std::shared_ptr<ServerCore> core, const UnaryMethod& method,
             grpc::ServerCompletionQueue* queue);
  ~ServerCall() override;

  // Completions.
  void OnArrived(bool ok);
  void OnRequest(bool ok);
  void OnOver(bool ok);  // Finished or cancelled.
  void OnResponseSent(bool ok);

  void Admit();
  void ReceiveRequest();
  void Serve();
  Status ReadRequest();
  void RunMethod();
  Status TooMuchBuffered() const;
  void Notify(google::protobuf::Closure* closure);
  // Adds the call to the numbers, and tells the observer.
  void TellEnd();

  // ServerController
  const CallInfo& Info() const override;
  void SetFailed(StatusCode code, const std::string& text) override;
  void SetFailed(const std::string& text) override;
  bool IsCanceled() const override { return cancelled_; }
  void NotifyOnCancel(google::protobuf::Closure* callback) override;
  // For clients only; nothing here.
  void Reset() override {}
  bool Failed() const override;
  std::string ErrorText() const override;
  void StartCancel() override {}

  // Closure
  void Run() override;

  // Sends the outcome, once.
  void Respond(Status status, grpc::ByteBuffer* response);
  void RespondOnce(Status status, grpc::ByteBuffer* response = nullptr);
  // With mutex_ held.
  const CallInfo& InfoLocked() const;
  void FreeTransportWhenOver();

  void Ref() { references_.fetch_add(1, std::memory_order_relaxed); }
  void Unref();

  const std::shared_ptr<ServerCore> core_;
  const UnaryMethod& method_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<ServerCall, &ServerCall::OnArrived> arrived_{this};
  MemberTag<ServerCall, &ServerCall::OnRequest> request_received_{this};
  MemberTag<ServerCall, &ServerCall::OnOver> over_{this};
  MemberTag<ServerCall, &ServerCall::OnResponseSent> response_sent_{this};

  std::atomic<int> references_{2};  // Of OnOver and the service method.
  std::atomic<bool> responded_{false};
  std::atomic<bool> cancelled_{false};
  std::atomic<const char*> too_slow_{nullptr};  // What took the client too long.
  std::chrono::steady_clock::time_point begin_;
  CancelNotifier notifier_;
  google::protobuf::Arena arena_;
  google::protobuf::Message* request_ = nullptr;
  grpc::Slice request_in_place_;  // Instead of the message.
  google::protobuf::Message* response_ = nullptr;
  std::size_t request_bytes_ = 0;
  std::size_t kept_request_bytes_ = 0;  // In the core's buffered bytes.
  std::size_t response_bytes_ = 0;

  mutable std::mutex mutex_;
  std::unique_ptr<Transport> transport_;
  mutable std::optional<CallInfo> info_;
  std::optional<Place> receiving_;
  std::optional<Place> sending_;
  bool arrived_once_ = false;
  bool over_on_wire_ = false;
  bool failed_ = false;
  Status failure_;
  Status outcome_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_SERVER_CALL_H_
