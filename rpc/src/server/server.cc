#include "CmnSys/Rpc/Server.h"

#include <google/protobuf/descriptor.h>
#include <grpc/grpc.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/impl/server_builder_option.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <algorithm>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include "common/clock_steps.h"
#include "common/grpc_log.h"
#include "common/reserves.h"
#include "common/time.h"
#include "common/tls.h"
#include "server/acceptor.h"
#include "server/health.h"
#include "server/publisher.h"
#include "server/reflection.h"
#include "server/server_call.h"
#include "server/server_core.h"
#include "server/server_options.h"
#include "server/subscriber_call.h"
#include "server/unknown_call.h"

namespace CmnSys::Rpc {

using google::protobuf::Closure;
using google::protobuf::Message;
using google::protobuf::MethodDescriptor;
using google::protobuf::RpcController;
using google::protobuf::Service;
using google::protobuf::ServiceDescriptor;

namespace {

// So many streams for each call that may be in progress: calls in progress, and as many refusals.
constexpr int kStreamsPerCall = 2;
constexpr int kMostSubscribers = 1'000'000;
// How often time limits and TLS files are looked at.
constexpr std::chrono::milliseconds kCarePeriod{250};
// Longer graces are cut to it.
constexpr std::chrono::hours kLongestGrace{24 * 365};
// How long subscribers may take for the end of their subscription when nothing else is left.
constexpr std::chrono::seconds kSubscribersGrace{1};
// How long a connection may take for what is being written to it when its calls were cancelled.
constexpr std::chrono::seconds kWriteGrace{1};
// How long calls on a connection that has reached its maximum age may still take.
constexpr std::chrono::seconds kAgeGrace{10};

// A program that links gRPC's reflection library has it in every server of the process; this takes
// it out again, because a server of this library has its own or shall have none.
class WithoutGrpcsReflection final : public grpc::ServerBuilderOption {
 public:
  void UpdateArguments(grpc::ChannelArguments* /*arguments*/) override {}
  void UpdatePlugins(std::vector<std::unique_ptr<grpc::ServerBuilderPlugin>>* plugins) override {
    const auto is_reflection = [](const auto& plugin) {
      return plugin->name() == "proto_server_reflection";
    };
    plugins->erase(std::remove_if(plugins->begin(), plugins->end(), is_reflection), plugins->end());
  }
};

}  // namespace

ServerController::~ServerController() = default;

class Server::Impl {
 public:
  explicit Impl(ServerOptions options) : core_(std::make_shared<ServerCore>(std::move(options))) {}

  void Register(Service* service, Ownership ownership);
  void AddBytesMethod(BytesMethod method);
  Publisher* AddPublisher(PublisherOptions options);
  void Start();
  void SetServing(const std::string& service, bool serving);
  ServerCounters Counters() const;
  void Shutdown(std::chrono::milliseconds grace);

  std::vector<std::string> addresses;

 private:
  enum class State { kNew, kStarted, kStopping, kStopped };

  void CheckNotStarted() const;
  void AddMethod(UnaryMethod method, RawService* raw_service);
  PublisherImpl* AddPublisher(PublisherOptions options, RawService* raw_service);
  void AddHealth();
  void AddReflection();
  void Build();
  void Listen();
  void Stop();
  void TakeCare();
  void CancelAfterGrace();

  const std::shared_ptr<ServerCore> core_;
  std::vector<std::unique_ptr<Service>> owned_services_;
  std::map<std::string, std::unique_ptr<RawService>> raw_services_;
  std::set<std::string> registered_;  // Names of services.
  std::set<std::string> published_;   // Paths of publishers.
  Health health_;
  std::shared_ptr<Reflection> reflection_;
  std::vector<std::pair<RawService*, int>> reflection_methods_;  // One for each of its versions.
  std::deque<std::unique_ptr<PublisherImpl>> publishers_;
  grpc::AsyncGenericService unknown_methods_;

  mutable std::mutex lifecycle_;
  std::condition_variable changed_;
  State state_ = State::kNew;
  std::chrono::steady_clock::time_point grace_end_;
  bool grpc_stopped_ = false;
  std::unique_ptr<Acceptor> acceptor_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> connections_;
  std::unique_ptr<grpc::ServerCompletionQueue> queue_;
  std::unique_ptr<grpc::Server> server_;
  std::thread care_;
};

void Server::Impl::CheckNotStarted() const {
  const std::lock_guard lock(lifecycle_);
  if (state_ != State::kNew) throw std::logic_error("the server was started or shut down already");
}

void Server::Impl::AddMethod(UnaryMethod method, RawService* raw_service) {
  method.raw_service = raw_service;
  method.index = raw_service->Add("/" + method.service + "/" + method.name);
  core_->methods.push_back(std::move(method));
}

void Server::Impl::Register(Service* service, Ownership ownership) {
  std::unique_ptr<Service> owned(ownership == kServerOwns ? service : nullptr);
  CheckNotStarted();
  if (service == nullptr) throw std::invalid_argument("Server::Register got no service");
  const ServiceDescriptor* descriptor = service->GetDescriptor();
  const std::string& name = descriptor->full_name();
  if (name == Health::kService || raw_services_.count(name) != 0) {
    throw std::invalid_argument("the server has a service " + name + " already");
  }
  registered_.insert(name);
  RawService* raw_service = (raw_services_[name] = std::make_unique<RawService>()).get();
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

void Server::Impl::AddBytesMethod(BytesMethod method) {
  CheckNotStarted();
  const std::string path = method.service + "/" + method.method;
  if (!method.is_valid || !method.run) {
    throw std::invalid_argument("BytesMethod " + path + " lacks is_valid or run");
  }
  const auto found = std::find_if(
      core_->methods.begin(), core_->methods.end(), [&method](const UnaryMethod& offered) {
        return offered.service == method.service && offered.name == method.method;
      });
  if (found == core_->methods.end()) {
    throw std::invalid_argument("the server has no registered service with a method " + path);
  }
  if (found->request->GetDescriptor() != method.request ||
      found->response->GetDescriptor() != method.response) {
    throw std::invalid_argument("the method " + path + " takes " + found->request->GetTypeName() +
                                " and returns " + found->response->GetTypeName());
  }
  found->in_place = std::move(method);
}

PublisherImpl* Server::Impl::AddPublisher(PublisherOptions options, RawService* raw_service) {
  auto publisher = std::make_unique<PublisherImpl>(core_, std::move(options));
  publisher->raw_service = raw_service;
  publisher->index = raw_service->Add("/" + publisher->MethodName());
  publishers_.push_back(std::move(publisher));
  return publishers_.back().get();
}

Publisher* Server::Impl::AddPublisher(PublisherOptions options) {
  CheckNotStarted();
  if (options.service.empty() || options.method.empty() || options.request_prototype == nullptr) {
    throw std::invalid_argument(
        "PublisherOptions needs the name of a service, of a method, and a request_prototype");
  }
  if (options.max_subscribers < 1 || options.stall_timeout.count() < 1) {
    throw std::invalid_argument(
        "PublisherOptions: max_subscribers must be at least 1 and stall_timeout 1 ms");
  }
  const std::string path = options.service + "/" + options.method;
  if (options.service == Health::kService || registered_.count(options.service) != 0 ||
      !published_.insert(path).second) {
    throw std::invalid_argument("the server has a service or publisher " + path + " already");
  }
  auto& raw_service = raw_services_[options.service];
  if (raw_service == nullptr) raw_service = std::make_unique<RawService>();
  health_.Add(options.service);
  return AddPublisher(std::move(options), raw_service.get());
}

void Server::Impl::AddHealth() {
  RawService* raw_service =
      (raw_services_[Health::kService] = std::make_unique<RawService>()).get();
  AddMethod(health_.Check(), raw_service);
  PublisherImpl* publisher = AddPublisher(health_.Watch(), raw_service);
  publisher->internal = true;
  health_.SetPublisher(publisher);
}

void Server::Impl::AddReflection() {
  std::vector<std::string> services;
  for (const char* name : Reflection::kServices) {
    auto& raw_service = raw_services_[name];
    if (raw_service != nullptr) continue;  // Since a Start() that failed, or the application's own.
    raw_service = std::make_unique<RawService>();
    const int index = raw_service->Add(std::string("/") + name + "/" + Reflection::kMethod);
    reflection_methods_.emplace_back(raw_service.get(), index);
  }
  for (const auto& [name, raw_service] : raw_services_) services.push_back(name);
  reflection_ = std::make_shared<Reflection>(std::move(services));
}

void Server::Impl::Start() {
  CheckNotStarted();
  const ServerOptions& options = core_->options;
  CheckOptions(options);
  ExpectReserves();
  SendGrpcLogTo(options.observer);
  std::vector<Address> to_listen;
  for (const std::string& text : options.addresses) {
    to_listen.push_back(ParseAddress(text));
    if (!options.tls) CheckPlaintextAllowed(to_listen.back(), options.plaintext);
  }
  if (options.tls) {
    core_->tls = std::make_shared<TlsFileSet>(
        *options.tls, true, [core = core_.get()](Event::Kind kind, const std::string& text) {
          core->Tell(kind, "", text);
        });
  }
  auto acceptor = std::make_unique<Acceptor>(core_.get(), to_listen);
  if (raw_services_.count(Health::kService) == 0) AddHealth();
  if (options.reflection) AddReflection();
  const std::lock_guard lock(lifecycle_);
  Build();
  state_ = State::kStarted;
  acceptor_ = std::move(acceptor);
  addresses = acceptor_->Names();
  Listen();
}

void Server::Impl::Build() {
  const ServerOptions& options = core_->options;
  grpc::ServerBuilder builder;
  builder.SetMaxReceiveMessageSize(static_cast<int>(options.max_message_bytes));
  builder.SetMaxSendMessageSize(-1);  // Checked when a response is serialized.
  // A compressed message is inflated before its size is checked, so none is accepted.
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_DEFLATE, false);
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_GZIP, false);
  // What is being received, of all connections together.
  builder.SetResourceQuota(
      grpc::ResourceQuota("CmnSys::Rpc::Server").Resize(options.max_buffered_bytes));
  const std::pair<const char*, int> arguments[] = {
      {GRPC_ARG_MAX_CONCURRENT_STREAMS, options.max_streams_per_connection},
      {GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS, ToArgument(options.handshake_timeout)},
      {GRPC_ARG_KEEPALIVE_TIME_MS, ToArgument(options.keepalive)},
      {GRPC_ARG_KEEPALIVE_TIMEOUT_MS, ToArgument(options.keepalive_timeout)},
      {GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1},
      {GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0},
      {GRPC_ARG_MAX_CONNECTION_IDLE_MS, ToArgument(options.max_connection_idle)},
      {GRPC_ARG_MAX_CONNECTION_AGE_MS, ToArgument(options.max_connection_age)},
      {GRPC_ARG_MAX_CONNECTION_AGE_GRACE_MS, ToArgument(kAgeGrace)},
      // Clients may ask for signs of life as often as their options allow.
      {GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, 5'000}};
  for (const auto& [name, value] : arguments) builder.AddChannelArgument(name, value);
  builder.SetOption(std::make_unique<WithoutGrpcsReflection>());
  for (const auto& [name, service] : raw_services_) builder.RegisterService(service.get());
  builder.RegisterAsyncGenericService(&unknown_methods_);
  connections_ = builder.experimental().AddExternalConnectionAcceptor(
      grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD,
      options.tls ? MutualTlsServerCredentials(core_->tls) : grpc::InsecureServerCredentials());
  queue_ = builder.AddCompletionQueue();
  server_ = builder.BuildAndStart();
  if (server_ != nullptr) return;
  queue_->Shutdown();
  Drain(queue_.get());
  queue_.reset();
  throw std::runtime_error("gRPC cannot start a server");
}

void Server::Impl::Listen() {
  core_->close_connection = [this](const std::string& peer) { acceptor_->Close(peer); };
  core_->most_streams = kStreamsPerCall * std::min(core_->options.max_calls, INT_MAX / 4);
  for (const auto& publisher : publishers_) {
    core_->most_streams += std::min(publisher->options.max_subscribers, kMostSubscribers);
  }
  grpc::ServerCompletionQueue* queue = queue_.get();
  for (const UnaryMethod& method : core_->methods) ServerCall::Listen(core_, method, queue);
  for (const auto& publisher : publishers_) SubscriberCall::Listen(publisher.get(), queue);
  for (const auto& [raw_service, index] : reflection_methods_) {
    Reflection::Listen(core_, reflection_, raw_service, index, queue);
  }
  ListenForUnknownCalls(core_, &unknown_methods_, queue);
  core_->pollers.Start(queue);
  care_ = std::thread([this] { TakeCare(); });
  acceptor_->Start([this](int listener, int connection) {
    grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters parameters;
    parameters.listener_fd = listener;
    parameters.fd = connection;
    connections_->HandleNewConnection(&parameters);
  });
}

void Server::Impl::TakeCare() {
  const ServerOptions& options = core_->options;
  ClockSteps clock;
  std::unique_lock lock(lifecycle_);
  while (!changed_.wait_for(lock, kCarePeriod, [this] { return grpc_stopped_; })) {
    lock.unlock();
    clock.Check();
    core_->requests.Check(options.request_timeout, [&](ServerCall* call) {
      call->EndSlow("the request did not arrive within ", options.request_timeout);
    });
    core_->responses.Check(options.response_timeout, [&](ServerCall* call) {
      call->EndSlow("the response was not received within ", options.response_timeout);
    });
    if (reflection_ != nullptr) reflection_->EndSlow(options);
    for (const auto& publisher : publishers_) publisher->DropStalled();
    if (core_->tls != nullptr && core_->tls->Refresh()) {
      for (const auto& publisher : publishers_) {
        if (!publisher->internal) publisher->DropRevoked();
      }
    }
    lock.lock();
  }
}

ServerCounters Server::Impl::Counters() const {
  ServerCounters counters;
  counters.calls_ended = core_->calls_ended;
  counters.calls_failed = core_->calls_failed;
  counters.calls_refused = core_->calls_refused;
  counters.request_bytes = core_->request_bytes;
  counters.response_bytes = core_->response_bytes;
  counters.connections_accepted = core_->connections_accepted;
  counters.connections_refused = core_->connections_refused;
  counters.messages_published = core_->messages_published;
  counters.subscribers_dropped = core_->subscribers_dropped;
  counters.calls = core_->calls;
  counters.connections = core_->connections;
  for (const auto& publisher : publishers_) {
    if (!publisher->internal) {
      counters.subscribers += static_cast<int>(publisher->SubscriberCount());
    }
  }
  const WorkerPool::Numbers workers = core_->workers.Count();
  counters.workers = workers.threads;
  counters.busy_workers = workers.busy;
  counters.queued_calls = workers.queued;
  counters.buffered_bytes = core_->buffered_bytes;
  counters.published_bytes = core_->published_bytes;
  return counters;
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
  const auto end = std::chrono::steady_clock::now() +
                   std::clamp<std::chrono::milliseconds>(grace, {}, kLongestGrace);
  std::unique_lock lock(lifecycle_);
  if (state_ == State::kNew) state_ = State::kStopped;
  if (state_ == State::kStarted) {
    state_ = State::kStopping;
    grace_end_ = end;
    lock.unlock();
    Stop();
    lock.lock();
    state_ = State::kStopped;
    changed_.notify_all();
    return;
  }
  grace_end_ = std::min(grace_end_, end);
  changed_.notify_all();
  changed_.wait(lock, [this] { return state_ == State::kStopped; });
}

void Server::Impl::Stop() {
  acceptor_->Stop();
  health_.SetAll(false);
  for (const auto& publisher : publishers_) {
    publisher->Close({StatusCode::kUnavailable, "the server is shutting down"});
  }
  std::thread canceller([this] { CancelAfterGrace(); });
  server_->Shutdown(Never());
  {
    const std::lock_guard lock(lifecycle_);
    grpc_stopped_ = true;
    changed_.notify_all();
  }
  canceller.join();
  care_.join();
  core_->gate.Close();
  queue_->Shutdown();
  core_->pollers.Stop();
  acceptor_.reset();
  core_->workers.Stop();
  core_->notifiers.Stop();
}

void Server::Impl::CancelAfterGrace() {
  static constexpr std::chrono::milliseconds kLook{10};
  std::unique_lock lock(lifecycle_);
  while (!grpc_stopped_ && std::chrono::steady_clock::now() < grace_end_) {
    if (core_->calls == 0) {
      grace_end_ = std::min(grace_end_, std::chrono::steady_clock::now() + kSubscribersGrace);
    }
    changed_.wait_for(lock, kLook);
  }
  // Again and again: a call that arrives at this very moment is not among those cancelled.
  auto cut = std::chrono::steady_clock::now() + kWriteGrace;
  while (!grpc_stopped_) {
    grpc_server_cancel_all_calls(server_->c_server());
    if (std::chrono::steady_clock::now() > cut) {
      // gRPC waits for what is being written, for ever when the client is frozen or has vanished.
      acceptor_->CloseAll();
      cut = std::chrono::steady_clock::time_point::max();
    }
    changed_.wait_for(lock, kLook);
  }
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

void Server::AddBytesMethod(BytesMethod method) { impl_->AddBytesMethod(std::move(method)); }

Publisher* Server::AddPublisher(PublisherOptions options) {
  return impl_->AddPublisher(std::move(options));
}

void Server::Start() { impl_->Start(); }

const std::vector<std::string>& Server::Addresses() const { return impl_->addresses; }

void Server::SetServing(const std::string& service, bool serving) {
  impl_->SetServing(service, serving);
}

ServerCounters Server::Counters() const { return impl_->Counters(); }

void Server::Shutdown(std::chrono::milliseconds grace) { impl_->Shutdown(grace); }

}  // namespace CmnSys::Rpc
