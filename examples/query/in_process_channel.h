// The smallest RPC channel: it calls a service in the same process, through bytes.

#ifndef QUERY_EXAMPLE_IN_PROCESS_CHANNEL_H_
#define QUERY_EXAMPLE_IN_PROCESS_CHANNEL_H_

#include <google/protobuf/service.h>

#include <string>

namespace QueryExample {

// State of one call. Reset it before the next one. Use it from one thread.
class InProcessController : public google::protobuf::RpcController {
 public:
  ~InProcessController() override { RunOnCancel(); }

  void Reset() override;
  bool Failed() const override { return failed_; }
  std::string ErrorText() const override { return error_text_; }
  void StartCancel() override;

  void SetFailed(const std::string& reason) override;
  bool IsCanceled() const override { return canceled_; }
  // Runs `callback` once: when the call is cancelled, or at the latest at Reset or destruction.
  void NotifyOnCancel(google::protobuf::Closure* callback) override;

 private:
  void RunOnCancel();

  bool failed_ = false;
  bool canceled_ = false;
  std::string error_text_;
  google::protobuf::Closure* on_cancel_ = nullptr;
};

// Hands each call to `service`, which must outlive the channel and all calls, on the caller's
// thread. Request and response are serialized and parsed, as they would be on a network. A call
// that cannot be delivered fails on its controller and leaves the response empty; `done` runs once
// in any case. As thread-safe as the service.
class InProcessChannel : public google::protobuf::RpcChannel {
 public:
  explicit InProcessChannel(google::protobuf::Service* service) : service_(service) {}

  void CallMethod(const google::protobuf::MethodDescriptor* method,
                  google::protobuf::RpcController* controller,
                  const google::protobuf::Message* request, google::protobuf::Message* response,
                  google::protobuf::Closure* done) override;

 private:
  google::protobuf::Service* service_;
};

}  // namespace QueryExample

#endif  // QUERY_EXAMPLE_IN_PROCESS_CHANNEL_H_
