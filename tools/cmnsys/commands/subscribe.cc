#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "CmnSys/Rpc/Channel.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/remote.h"
#include "io/failure.h"
#include "schema/message_type.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

struct SubscribeCommandOptions {
  std::string method;
  RemoteOptions remote;
  std::string type = "Notification";
  std::string request_type = "EventNotificationSubscribeReq";
  ExchangeOptions exchange;
  std::uint64_t count = 0;
  bool resubscribe = false;
};

// Blocks the signals that end the program by hand, for threads that are made from now on too, so
// that Wait() takes them.
//
// A message that is being written is waited for, and its reader may take nothing: another signal,
// or some seconds, then end the program at once.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    // What ends the subscription by itself; nobody else sends it here.
    sigaddset(&signals_, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }
  void Wait() const {
    int signal = 0;
    sigwait(&signals_, &signal);
    if (signal == SIGUSR1) return;
    taken = signal;
    struct sigaction action = {};
    action.sa_handler = [](int) { raise(taken); };
    sigaction(SIGALRM, &action, nullptr);
    sigset_t again = signals_;
    sigdelset(&again, SIGUSR1);
    pthread_sigmask(SIG_UNBLOCK, &again, nullptr);
    alarm(kPatienceSeconds);
  }
  // What a signal asked for is done.
  static void Ended() { alarm(0); }
  void Raise() const { pthread_kill(thread_, SIGUSR1); }

 private:
  static constexpr unsigned kPatienceSeconds = 5;
  static inline volatile std::sig_atomic_t taken = 0;

  sigset_t signals_{};
  const pthread_t thread_ = pthread_self();
};

void Subscribe(SubscribeCommandOptions& options) {
  if (options.method.find('/') == std::string::npos) {
    throw Failure("\"" + options.method +
                  "\" is no method: write SERVICE/METHOD, for example Example.Push/Subscribe");
  }
  const std::unique_ptr<Message> prototype = NewMessage(options.type);
  const std::unique_ptr<Message> request = NewMessage(options.request_type);
  if (!options.exchange.request.path.empty()) ReadRequest(options.exchange, request.get());
  const EndSignals signals;
  const auto channel = OpenChannel(options.remote, options.exchange.request.max_bytes);
  options.exchange.output.live = true;
  const auto sink = OpenResponseSink(&options.exchange);

  std::uint64_t received = 0;
  std::exception_ptr failure;
  Rpc::Status outcome;
  bool enough = false;
  Rpc::SubscriptionHandler handler;
  handler.on_message = [&](const Message& message) {
    if (enough) return;
    try {
      sink->Write(message);
      enough = ++received == options.count;
    } catch (const std::exception&) {
      failure = std::current_exception();
      enough = true;
    }
    if (enough) signals.Raise();
  };
  handler.on_interrupted = [](const Rpc::Status& status) {
    PrintError("warning: interrupted, trying again: " + status.text);
  };
  handler.on_end = [&](const Rpc::Status& status) {
    outcome = status;
    signals.Raise();
  };
  Rpc::SubscribeOptions subscribe;
  subscribe.timeout = options.remote.Timeout();
  subscribe.metadata = options.remote.Metadata();
  subscribe.resubscribe = options.resubscribe;
  auto subscription =
      channel->Subscribe(options.method, *request, *prototype, std::move(handler), subscribe);
  signals.Wait();
  subscription.reset();  // When it has returned, the handlers have too.
  EndSignals::Ended();
  if (failure) std::rethrow_exception(failure);
  if (!enough && outcome.code != Rpc::StatusCode::kCancelled) {
    // What has come is kept, also when the server ends with a failure.
    sink->Finish();
    ThrowUnlessOk(options.method, outcome);
    return;
  }
  sink->Finish();
}

}  // namespace

void AddSubscribeCommand(Command program) {
  auto options = std::make_shared<SubscribeCommandOptions>();
  options->exchange.request.path.clear();
  Command command =
      program.AddCommand("subscribe", "Show the messages that a server publishes, as they come");
  command
      .Add("METHOD", &options->method,
           "Service and method of the publisher, for example Example.Push/Subscribe")
      .Required();
  AddRemote(command, &options->remote);
  command.Add("--type", &options->type, "Type of the messages").ValueName("TYPE").ShowDefault();
  command.Add("--request-type", &options->request_type, "Type of the subscription request")
      .ValueName("TYPE")
      .ShowDefault();
  command
      .Add("--request", &options->exchange.request.path,
           "File with the subscription request, - is standard input; without it, a request "
           "without fields")
      .ValueName("FILE");
  AddLimits(command, &options->exchange.request);
  command.Add("-n,--count", &options->count, "End after so many messages; 0 is no limit")
      .ValueName("NUMBER")
      .ShowDefault();
  command.AddFlag("--resubscribe", &options->resubscribe,
                  "Go on when the connection is lost or the server restarts");
  AddExchange(command, &options->exchange, "messages");
  command.Footer(
      std::string(kFormatHelp) +
      "\n"
      "\n"
      "Ends with an interrupt (Ctrl-C), after --count messages, or when the server ends the "
      "subscription. --timeout limits the wait for the server to accept it.\n"
      "\n"
      "Examples:\n"
      "  cmnsys subscribe Example.NotificationPush/Subscribe --target server:4711 --ca ca.pem "
      "--cert me.pem --key me.key\n"
      "  cmnsys subscribe Example.NotificationPush/Subscribe --target 127.0.0.1:4711 --plaintext "
      "--to jsonl -n 10");
  command.Action([options] { Subscribe(*options); });
}

}  // namespace CmnSys::Tool
