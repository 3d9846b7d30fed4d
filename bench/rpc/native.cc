// As its own documentation has it: the synchronous service, one stub for all threads, a context for
// each call. A stream has a queue of its own, which the publisher fills and the method empties.

#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.grpc.pb.h"
#include "push.grpc.pb.h"
#include "rpc/peers.h"

namespace CmnSys::Bench {

namespace {

using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;
namespace Native = SvcQuery::native;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class QueryService final : public Native::Query::Service {
 public:
  explicit QueryService(QueryResult result) : result_(std::move(result)) {}

  grpc::Status Initiate(grpc::ServerContext* /*context*/, const SvcQuery::InitiateReq* request,
                        SvcQuery::InitiateRsp* response) override {
    *response->mutable_query_result()->mutable_gid() = request->query().gid();
    response->set_b_continue(true);
    return grpc::Status::OK;
  }

  grpc::Status Continue(grpc::ServerContext* /*context*/, const SvcQuery::ContinueReq* /*request*/,
                        SvcQuery::ContinueRsp* response) override {
    *response->mutable_query_result() = result_;
    return grpc::Status::OK;
  }

 private:
  const QueryResult result_;
};

// What waits for one subscriber.
class Queue {
 public:
  void Push(std::shared_ptr<const Notification> notification) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.size() < kMostWaiting || closed_; });
    waiting_.push_back(std::move(notification));
    changed_.notify_all();
  }

  // Null when the queue is closed and empty.
  std::shared_ptr<const Notification> Pop() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !waiting_.empty() || closed_; });
    if (waiting_.empty()) return nullptr;
    auto first = std::move(waiting_.front());
    waiting_.pop_front();
    // Only a publisher that found it full waits.
    if (waiting_.size() == kMostWaiting - 1) changed_.notify_all();
    return first;
  }

  void Close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<const Notification>> waiting_;
  bool closed_ = false;
};

class PushService final : public native::Push::Service {
 public:
  grpc::Status Subscribe(grpc::ServerContext* /*context*/,
                         const EventNotificationSubscribeReq* /*request*/,
                         grpc::ServerWriter<Notification>* writer) override {
    const auto queue = std::make_shared<Queue>();
    {
      const std::lock_guard lock(mutex_);
      queues_.push_back(queue);
    }
    writer->SendInitialMetadata();
    while (const auto notification = queue->Pop()) {
      if (!writer->Write(*notification)) break;
    }
    queue->Close();
    const std::lock_guard lock(mutex_);
    queues_.erase(std::remove(queues_.begin(), queues_.end(), queue), queues_.end());
    return grpc::Status::OK;
  }

  void Publish(const Notification& notification) {
    const auto shared = std::make_shared<const Notification>(notification);
    for (const auto& queue : Queues()) queue->Push(shared);
  }

  void EndAll() {
    for (const auto& queue : Queues()) queue->Close();
  }

 private:
  std::vector<std::shared_ptr<Queue>> Queues() {
    const std::lock_guard lock(mutex_);
    return queues_;
  }

  std::mutex mutex_;
  std::vector<std::shared_ptr<Queue>> queues_;
};

class NativeServer final : public BenchServer {
 public:
  NativeServer(const std::string& certificates, const QueryResult& result) : query_(result) {
    std::shared_ptr<grpc::ServerCredentials> credentials = grpc::InsecureServerCredentials();
    if (!certificates.empty()) {
      grpc::SslServerCredentialsOptions options(
          GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
      options.pem_root_certs = ReadFile(certificates + "/ca.pem");
      options.pem_key_cert_pairs = {
          {ReadFile(certificates + "/server.key"), ReadFile(certificates + "/server.pem")}};
      credentials = grpc::SslServerCredentials(options);
    }
    grpc::ServerBuilder builder;
    builder.AddListeningPort("127.0.0.1:0", credentials, &port_);
    builder.RegisterService(&query_);
    builder.RegisterService(&push_);
    server_ = builder.BuildAndStart();
    if (server_ == nullptr) throw std::runtime_error("the native server does not start");
  }

  ~NativeServer() override {
    push_.EndAll();
    server_->Shutdown(std::chrono::system_clock::now());
  }

  std::string Address() const override { return "127.0.0.1:" + std::to_string(port_); }
  void Publish(const Notification& notification) override { push_.Publish(notification); }
  void EndAll() override { push_.EndAll(); }

 private:
  QueryService query_;
  PushService push_;
  int port_ = 0;
  std::unique_ptr<grpc::Server> server_;
};

void Check(const grpc::Status& status) {
  if (!status.ok()) throw std::runtime_error(status.error_message());
}

class NativeClient final : public BenchClient {
 public:
  NativeClient(const std::string& address, const std::string& certificates)
      : channel_(grpc::CreateChannel(address, Credentials(certificates))) {}

  void Initiate(const SvcQuery::InitiateReq& request, SvcQuery::InitiateRsp* response) override {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + kCallTimeout);
    Check(query_->Initiate(&context, request, response));
  }

  void Continue(const SvcQuery::ContinueReq& request, SvcQuery::ContinueRsp* response) override {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + kCallTimeout);
    Check(query_->Continue(&context, request, response));
  }

  void Receive(const std::function<void()>& active,
               const std::function<void(const Notification&)>& received) override {
    grpc::ClientContext context;
    const auto reader = push_->Subscribe(&context, EventNotificationSubscribeReq());
    reader->WaitForInitialMetadata();
    active();
    Notification notification;
    while (reader->Read(&notification)) received(notification);
    Check(reader->Finish());
  }

 private:
  static std::shared_ptr<grpc::ChannelCredentials> Credentials(const std::string& certificates) {
    if (certificates.empty()) return grpc::InsecureChannelCredentials();
    return grpc::SslCredentials({ReadFile(certificates + "/ca.pem"),
                                 ReadFile(certificates + "/client.key"),
                                 ReadFile(certificates + "/client.pem")});
  }

  const std::shared_ptr<grpc::Channel> channel_;
  const std::unique_ptr<Native::Query::Stub> query_ = Native::Query::NewStub(channel_);
  const std::unique_ptr<native::Push::Stub> push_ = native::Push::NewStub(channel_);
};

}  // namespace

std::unique_ptr<BenchServer> StartNative(const std::string& certificates,
                                         const QueryResult& result) {
  return std::make_unique<NativeServer>(certificates, result);
}

std::unique_ptr<BenchClient> ConnectNative(const std::string& address,
                                           const std::string& certificates) {
  return std::make_unique<NativeClient>(address, certificates);
}

}  // namespace CmnSys::Bench
