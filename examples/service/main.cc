// A service, a client of it, and between them a channel that stays inside the process.

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/service.h>

#include <iostream>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.SvcConsole.pb.h"
#include "ProtoBuf/Net/Net.Rpc.pb.h"

namespace {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using Pb::Rpc::SvcConsole::CommandReq;
using Pb::Rpc::SvcConsole::CommandRsp;
using Pb::Rpc::SvcConsole::Console;
using Pb::Rpc::SvcConsole::Console_Stub;

class ConsoleServer : public Console {
 public:
  void Execute(RpcController* controller, const CommandReq* request, CommandRsp* response,
               Closure* done) override {
    if (request->command() == "version") {
      response->set_response("1.0");
    } else {
      controller->SetFailed("unknown command \"" + request->command() + "\"; known is version");
    }
    done->Run();
  }
};

// What one call has to tell besides its response.
class CallController : public RpcController {
 public:
  ~CallController() override {
    if (at_end_ != nullptr) at_end_->Run();
  }
  void Reset() override { error_.clear(); }
  bool Failed() const override { return !error_.empty(); }
  std::string ErrorText() const override { return error_; }
  void SetFailed(const std::string& reason) override { error_ = reason; }
  // Calls end before they return here, so there is nothing to cancel.
  void StartCancel() override {}
  bool IsCanceled() const override { return false; }
  void NotifyOnCancel(Closure* callback) override { at_end_ = callback; }

 private:
  std::string error_;
  Closure* at_end_ = nullptr;
};

// Hands every call to a service in the same process.
class InProcessChannel : public google::protobuf::RpcChannel {
 public:
  explicit InProcessChannel(google::protobuf::Service* service) : service_(service) {}

  void CallMethod(const MethodDescriptor* method, RpcController* controller, const Message* request,
                  Message* response, Closure* done) override {
    if (method->service() != service_->GetDescriptor()) {
      controller->SetFailed("no service " + method->service()->full_name());
      done->Run();
      return;
    }
    service_->CallMethod(method, controller, request, response, done);
  }

 private:
  google::protobuf::Service* service_;
};

bool RunCommand(Console* console, const std::string& command) {
  CallController controller;
  CommandReq request;
  CommandRsp response;
  request.set_command(command);
  console->Execute(&controller, &request, &response,
                   google::protobuf::NewCallback(&google::protobuf::DoNothing));
  if (controller.Failed()) {
    std::cout << command << " failed: " << controller.ErrorText() << '\n';
    return false;
  }
  std::cout << command << ": " << response.response() << '\n';
  return true;
}

}  // namespace

int main() {
  ConsoleServer server;
  const google::protobuf::ServiceOptions& options = server.GetDescriptor()->options();
  std::cout << server.GetDescriptor()->full_name() << " of version "
            << options.GetExtension(Pb::Net::Rpc::interface_version) << '\n';

  InProcessChannel channel(&server);
  Console_Stub console(&channel);
  const bool known = RunCommand(&console, "version");
  const bool unknown = RunCommand(&console, "reboot");
  return known && !unknown ? 0 : 1;
}
