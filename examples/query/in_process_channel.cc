#include "in_process_channel.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <utility>

namespace QueryExample {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::RpcController;

namespace {

// What the service runs when it has answered. Owns the service's side of the call, and itself.
class Answered : public Closure {
 public:
  Answered(RpcController* controller, std::unique_ptr<Message> service_request,
           std::unique_ptr<Message> service_response, Message* response, Closure* done)
      : controller_(controller),
        service_request_(std::move(service_request)),
        service_response_(std::move(service_response)),
        response_(response),
        done_(done) {}

  Message* service_response() const { return service_response_.get(); }

  void Run() override {
    if (!controller_->Failed() &&
        !response_->ParseFromString(service_response_->SerializeAsString())) {
      response_->Clear();
      controller_->SetFailed("the answer is not a " + response_->GetTypeName());
    }
    Closure* const done = done_;
    delete this;
    done->Run();
  }

 private:
  RpcController* controller_;
  std::unique_ptr<Message> service_request_;
  std::unique_ptr<Message> service_response_;
  Message* response_;
  Closure* done_;
};

}  // namespace

void InProcessController::Reset() {
  RunOnCancel();
  failed_ = false;
  canceled_ = false;
  error_text_.clear();
}

void InProcessController::StartCancel() {
  canceled_ = true;
  RunOnCancel();
}

void InProcessController::SetFailed(const std::string& reason) {
  failed_ = true;
  error_text_ = reason;
}

void InProcessController::NotifyOnCancel(Closure* callback) {
  on_cancel_ = callback;
  if (canceled_) RunOnCancel();
}

void InProcessController::RunOnCancel() {
  Closure* const callback = std::exchange(on_cancel_, nullptr);
  if (callback != nullptr) callback->Run();
}

void InProcessChannel::CallMethod(const google::protobuf::MethodDescriptor* method,
                                  RpcController* controller, const Message* request,
                                  Message* response, Closure* done) {
  response->Clear();
  if (method->service() != service_->GetDescriptor()) {
    controller->SetFailed("the service " + method->service()->full_name() +
                          " is not offered here, only " + service_->GetDescriptor()->full_name());
    done->Run();
    return;
  }

  std::unique_ptr<Message> service_request(service_->GetRequestPrototype(method).New());
  if (!service_request->ParseFromString(request->SerializeAsString())) {
    controller->SetFailed("the request is not a " + service_request->GetTypeName());
    done->Run();
    return;
  }
  const Message* const received = service_request.get();
  auto* const answered = new Answered(
      controller, std::move(service_request),
      std::unique_ptr<Message>(service_->GetResponsePrototype(method).New()), response, done);
  service_->CallMethod(method, controller, received, answered->service_response(), answered);
}

}  // namespace QueryExample
