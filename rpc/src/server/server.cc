#include "CmnSys/Rpc/Server.h"

#include <google/protobuf/descriptor.h>
#include <grpc/grpc.h>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/impl/server_builder_option.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "common/tls.h"
#include "server/acceptor.h"
#include "server/health.h"
#include "server/publisher_impl.h"
#include "server/server_call.h"
#include "server/server_core.h"
#include "server/unknown_call.h"

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using google::protobuf::Service;
using google::protobuf::ServiceDescriptor;

namespace {

constexpr int kCompletionThreads = 2;
constexpr std::size_t kMostErrorTextBytes = 2500;
constexpr std::chrono::seconds kKeepaliveTimeout{10};

// Linking the reflection library adds it to every server of the process; this takes it out again.
class WithoutReflection final : public grpc::ServerBuilderOption {
 public:
  void UpdateArguments(grpc::ChannelArguments* /*arguments*/) override {}
  void UpdatePlugins(std::vector<std::unique_ptr<grpc::ServerBuilderPlugin>>* plugins) override {
    const auto is_reflection = [](const auto& plugin) {
      return plugin->name() == "proto_server_reflection";
    };
    plugins->erase(std::remove_if(plugins->begin(), plugins->end(), is_reflection), plugins->end());
  }
};

void CheckOptions(const ServerOptions& options) {
  const auto check = [](bool good, const char* what) {
    if (!good) throw std::invalid_argument(std::string("ServerOptions::") + what);
  };
  check(!options.addresses.empty(), "addresses is empty");
  check(options.workers >= 1, "workers must be at least 1");
  check(options.max_workers >= options.workers, "max_workers must not be less than workers");
  check(options.max_calls >= 1, "max_calls must be at least 1");
  check(options.max_message_bytes >= 1 && options.max_message_bytes <= INT_MAX,
        "max_message_bytes must be from 1 to 2,147,483,647");
  check(options.max_error_text_bytes <= kMostErrorTextBytes,
        "max_error_text_bytes must be at most 2,500");
  check(options.handshake_timeout.count() >= 1, "handshake_timeout must be at least 1 ms");
  check(options.keepalive >= std::chrono::seconds(10), "keepalive must be at least 10 s");
}

}  // namespace

ServerController::~ServerController() = default;

class Server::Impl {
 public:
  explicit Impl(ServerOptions options) : core_(std::make_shared<ServerCore>(std::move(options))) {}

  void Register(Service* service, Ownership ownership);
  Publisher* AddPublisher(PublisherOptions options);
  void Start();
  void SetServing(const std::string& service, bool serving);
  void Shutdown(std::chrono::milliseconds grace);

  std::vector<std::string> addresses;

 private:
  void CheckNotStarted() const;
  // Throws std::invalid_argument when the name is taken.
  RawService* AddRawService(const std::string& name);
  void AddMethod(UnaryMethod method, RawService* raw_service);
  PublisherImpl* AddPublisher(PublisherOptions options, RawService* raw_service);
  void AddHealth();
  void Build();
  void Listen();

  const std::shared_ptr<ServerCore> core_;
  std::vector<std::unique_ptr<Service>> owned_services_;
  std::map<std::string, std::unique_ptr<RawService>> raw_services_;
  Health health_;
  std::deque<std::unique_ptr<PublisherImpl>> publishers_;
  grpc::AsyncGenericService unknown_methods_;

  std::mutex lifecycle_;
  bool started_ = false;
  bool stopped_ = false;
  std::unique_ptr<Acceptor> acceptor_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> connections_;
  std::vector<std::unique_ptr<grpc::ServerCompletionQueue>> queues_;
  std::unique_ptr<grpc::Server> server_;
  std::vector<std::thread> completion_threads_;
};

void Server::Impl::CheckNotStarted() const {
  if (started_) throw std::logic_error("the server was started already");
}

RawService* Server::Impl::AddRawService(const std::string& name) {
  if (name == Health::kService || raw_services_.count(name) != 0) {
    throw std::invalid_argument("the server has a service " + name + " already");
  }
  return (raw_services_[name] = std::make_unique<RawService>()).get();
}

void Server::Impl::AddMethod(UnaryMethod method, RawService* raw_service) {
  method.raw_service = raw_service;
  method.index = raw_service->AddUnary("/" + method.service + "/" + method.name);
  core_->methods.push_back(std::move(method));
}

void Server::Impl::Register(Service* service, Ownership ownership) {
  std::unique_ptr<Service> owned(ownership == kServerOwns ? service : nullptr);
  CheckNotStarted();
  const ServiceDescriptor* descriptor = service->GetDescriptor();
  RawService* raw_service = AddRawService(descriptor->full_name());
  for (int i = 0; i < descriptor->method_count(); ++i) {
    const MethodDescriptor* method = descriptor->method(i);
    UnaryMethod unary;
    unary.service = descriptor->full_name();
    unary.name = method->name();
    unary.request = &service->GetRequestPrototype(method);
    unary.response = &service->GetResponsePrototype(method);
    unary.run = [service, method](RpcController* controller, const Message* request,
                                  Message* response, Closure* done) {
      service->CallMethod(method, controller, request, response, done);
    };
    AddMethod(std::move(unary), raw_service);
  }
  health_.Add(descriptor->full_name());
  if (owned != nullptr) owned_services_.push_back(std::move(owned));
}

PublisherImpl* Server::Impl::AddPublisher(PublisherOptions options, RawService* raw_service) {
  auto publisher = std::make_unique<PublisherImpl>(core_, std::move(options));
  publisher->raw_service = raw_service;
  publisher->index = raw_service->AddServerStreaming("/" + publisher->options.service + "/" +
                                                     publisher->options.method);
  publishers_.push_back(std::move(publisher));
  return publishers_.back().get();
}

Publisher* Server::Impl::AddPublisher(PublisherOptions options) {
  CheckNotStarted();
  if (options.service.empty() || options.method.empty() || options.request_prototype == nullptr) {
    throw std::invalid_argument(
        "PublisherOptions needs the name of a service, of a method, and a request_prototype");
  }
  RawService* raw_service = AddRawService(options.service);
  health_.Add(options.service);
  return AddPublisher(std::move(options), raw_service);
}

void Server::Impl::AddHealth() {
  RawService* raw_service =
      (raw_services_[Health::kService] = std::make_unique<RawService>()).get();
  AddMethod(health_.Check(), raw_service);
  PublisherImpl* publisher = AddPublisher(health_.Watch(), raw_service);
  publisher->authorize = false;
  health_.SetPublisher(publisher);
}

void Server::Impl::Start() {
  const std::lock_guard lock(lifecycle_);
  CheckNotStarted();
  const ServerOptions& options = core_->options;
  CheckOptions(options);
  std::vector<Address> to_listen;
  for (const std::string& text : options.addresses) {
    to_listen.push_back(ParseAddress(text));
    if (!options.tls) CheckPlaintextAllowed(to_listen.back(), options.plaintext);
  }
  acceptor_ = std::make_unique<Acceptor>(to_listen);
  if (raw_services_.count(Health::kService) == 0) AddHealth();
  Build();
  started_ = true;
  addresses = acceptor_->Names();
  Listen();
}

void Server::Impl::Build() {
  const ServerOptions& options = core_->options;
  const int keepalive_ms = static_cast<int>(options.keepalive.count());
  grpc::ServerBuilder builder;
  builder.SetMaxReceiveMessageSize(static_cast<int>(options.max_message_bytes));
  builder.SetMaxSendMessageSize(-1);  // Checked when a response is serialized.
  // A compressed message is inflated before its size is checked, so none is accepted.
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_DEFLATE, false);
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_GZIP, false);
  builder.AddChannelArgument(GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS,
                             static_cast<int>(options.handshake_timeout.count()));
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, keepalive_ms);
  builder.AddChannelArgument(
      GRPC_ARG_KEEPALIVE_TIMEOUT_MS,
      static_cast<int>(std::chrono::milliseconds(kKeepaliveTimeout).count()));
  // Clients may ask for signs of life as often as their options allow.
  builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, 5'000);
  if (options.reflection) {
    // Done when the reflection library is loaded; the call makes the linker keep that library.
    grpc::reflection::InitProtoReflectionServerBuilderPlugin();
  } else {
    builder.SetOption(std::make_unique<WithoutReflection>());
  }
  for (const auto& [name, service] : raw_services_) builder.RegisterService(service.get());
  builder.RegisterAsyncGenericService(&unknown_methods_);
  connections_ = builder.experimental().AddExternalConnectionAcceptor(
      grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD,
      options.tls ? MutualTlsServerCredentials(*options.tls) : grpc::InsecureServerCredentials());
  for (int i = 0; i < kCompletionThreads; ++i) queues_.push_back(builder.AddCompletionQueue());
  server_ = builder.BuildAndStart();
  if (server_ == nullptr) throw std::runtime_error("gRPC cannot start a server");
}

void Server::Impl::Listen() {
  for (const auto& queue : queues_) {
    for (const UnaryMethod& method : core_->methods) ServerCall::Listen(core_, method, queue.get());
    for (const auto& publisher : publishers_) SubscriberCall::Listen(publisher.get(), queue.get());
    UnknownCall::Listen(core_, &unknown_methods_, queue.get());
    completion_threads_.emplace_back([&queue] { Drain(queue.get()); });
  }
  acceptor_->Start([this](int listener, int connection) {
    grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters parameters;
    parameters.listener_fd = listener;
    parameters.fd = connection;
    connections_->HandleNewConnection(&parameters);
  });
}

void Server::Impl::SetServing(const std::string& service, bool serving) {
  if (!health_.Has(service)) {
    throw std::invalid_argument("the server has no service " + service);
  }
  health_.Set(service, serving);
}

void Server::Impl::Shutdown(std::chrono::milliseconds grace) {
  if (core_->workers.OnWorker() || core_->notifiers.OnWorker()) {
    throw std::logic_error("a server cannot be shut down by one of its own service methods");
  }
  const std::lock_guard lock(lifecycle_);
  if (stopped_) return;
  stopped_ = true;
  if (!started_) {
    started_ = true;
    return;
  }
  const auto deadline = std::chrono::system_clock::now() + std::max(grace, {});
  acceptor_->Stop();
  health_.SetAll(false);
  for (const auto& publisher : publishers_) {
    publisher->EndAll({StatusCode::kUnavailable, "the server is shutting down"});
  }
  server_->Shutdown(deadline);
  core_->gate.Close();
  for (const auto& queue : queues_) queue->Shutdown();
  for (std::thread& thread : completion_threads_) thread.join();
  core_->workers.Stop();
  core_->notifiers.Stop();
}

Server::Server(ServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

Server::~Server() {
  try {
    impl_->Shutdown(std::chrono::milliseconds(0));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "CmnSys::Rpc::Server cannot be deleted: %s\n", error.what());
    std::abort();
  }
}

void Server::Register(Service* service, Ownership ownership) {
  impl_->Register(service, ownership);
}

Publisher* Server::AddPublisher(PublisherOptions options) {
  return impl_->AddPublisher(std::move(options));
}

void Server::Start() { impl_->Start(); }

const std::vector<std::string>& Server::Addresses() const { return impl_->addresses; }

void Server::SetServing(const std::string& service, bool serving) {
  impl_->SetServing(service, serving);
}

void Server::Shutdown(std::chrono::milliseconds grace) { impl_->Shutdown(grace); }

}  // namespace CmnSys::Rpc
