#include "server/health.h"

#include <google/protobuf/wrappers.pb.h>

#include <vector>

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Int32Value;
using google::protobuf::Message;
using google::protobuf::RpcController;
using google::protobuf::StringValue;

namespace {

// HealthCheckResponse.ServingStatus
enum ServingStatus { kServing = 1, kNotServing = 2, kServiceUnknown = 3 };

const std::string& NameIn(const Message& request) {
  return static_cast<const StringValue&>(request).value();
}

}  // namespace

UnaryMethod Health::Check() {
  UnaryMethod method;
  method.service = kService;
  method.name = "Check";
  method.request = &StringValue::default_instance();
  method.response = &Int32Value::default_instance();
  method.internal = true;
  method.run = [this](RpcController* controller, const Message* request, Message* response,
                      Closure* done) {
    const int status = StatusOf(NameIn(*request));
    if (status == kServiceUnknown) {
      static_cast<ServerController*>(controller)
          ->SetFailed(StatusCode::kNotFound, "this server has no service " + NameIn(*request));
    } else {
      static_cast<Int32Value*>(response)->set_value(status);
    }
    done->Run();
  };
  return method;
}

PublisherOptions Health::Watch() {
  PublisherOptions options;
  options.service = kService;
  options.method = "Watch";
  options.request_prototype = &StringValue::default_instance();
  options.on_subscribe = [this](Subscriber& subscriber) {
    Int32Value status;
    status.set_value(StatusOf(NameIn(subscriber.Request())));
    subscriber.Send(status);
    return Status{};
  };
  return options;
}

void Health::Set(const std::string& service, bool serving) {
  {
    const std::lock_guard lock(mutex_);
    if (serving_[service] == serving) return;
    serving_[service] = serving;
  }
  Tell(service);
}

void Health::SetAll(bool serving) {
  std::vector<std::string> services;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& entry : serving_) services.push_back(entry.first);
  }
  for (const std::string& service : services) Set(service, serving);
}

int Health::StatusOf(const std::string& service) const {
  const std::lock_guard lock(mutex_);
  const auto found = serving_.find(service);
  if (found == serving_.end()) return kServiceUnknown;
  return found->second ? kServing : kNotServing;
}

void Health::Tell(const std::string& service) {
  if (publisher_ == nullptr) return;  // The server has not started: nobody watches.
  Int32Value status;
  status.set_value(StatusOf(service));
  publisher_->Publish(status, [&service](const Subscriber& subscriber) {
    return NameIn(subscriber.Request()) == service;
  });
}

}  // namespace CmnSys::Rpc
