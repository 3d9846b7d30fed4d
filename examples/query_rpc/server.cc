// Serves the query service over mutual TLS, with events read from a file, and tells subscribers of
// those events one after the other as if they were just happening. Logs the type of events that are
// sent to it. Runs until it is interrupted.

#include "CmnSys/Rpc/Server.h"

#include <fcntl.h>
#include <google/protobuf/stubs/common.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "CmnSys/Rpc/ViewMethod.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.view.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"
#include "event_file.h"
#include "names.h"
#include "query_server.h"

namespace QueryRpcExample {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Notifications = Pb::CmnSys::Notifications;
namespace Rpc = CmnSys::Rpc;
namespace SvcEvents = Pb::Rpc::SvcEvents;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

constexpr std::uint32_t kResultsPerBatch = 10;
constexpr timespec kPause = {0, 200'000'000};

using Push = Rpc::TypedPublisher<EventNotificationSubscribeReq, Notifications::Notification>;

void Tell(const Push& push, const Events::Event& event) {
  Notifications::Notification notification;
  notification.set_notification_type(Notifications::NOTIFICATION_EVENT);
  notification.set_timestamp_ms(static_cast<std::uint64_t>(event.timestamp()));
  *notification.mutable_notification_event()->mutable_event() = event;
  push.Publish(notification, [&event](const EventNotificationSubscribeReq& request) {
    const auto& filter = request.event_filter();
    return filter.empty() || std::any_of(filter.begin(), filter.end(), [&event](int type) {
             return type == Events::EVENT_ALL || type == event.event_type();
           });
  });
}

// Lets those in whose certificate names a client of this system. Called by several threads; a line
// that cannot be logged, for example on a full disk, is lost and no later one.
Rpc::Status Authorize(const Rpc::CallInfo& call) {
  const std::string line =
      call.identity.common_name + " calls " + call.service + "/" + call.method + "\n";
  std::fputs(line.c_str(), stderr);
  if (call.identity.common_name == "client") return {};
  return {Rpc::StatusCode::kPermissionDenied, call.identity.common_name + " is no client"};
}

// Its method EventSend is served in place; it has no others.
class EventIntake : public SvcEvents::EventsRpc {};

void TakeEvents(Rpc::Server& server, EventIntake& intake) {
  server.Register(&intake);
  Rpc::AddViewMethod<SvcEvents::EventSendReq, SvcEvents::EventSendRsp>(
      &server, "Pb.Rpc.SvcEvents.EventsRpc", "EventSend",
      [](Rpc::ServerController*, const SvcEvents::EventSendReqView& request,
         SvcEvents::EventSendRsp*, google::protobuf::Closure* done) {
        const auto type = request.event().event_type();
        std::fputs(("was sent an " + Events::EventType_Name(type) + "\n").c_str(), stderr);
        done->Run();
      });
}

void Serve(const std::string& address, const std::string& folder, const Events::EventList& events,
           const sigset_t& end_signals) {
  Rpc::ServerOptions options;
  options.addresses = {address};
  options.tls = Rpc::TlsFiles{folder + "/ca.pem", folder + "/server.pem", folder + "/server.key"};
  options.reflection = true;
  options.authorize = Authorize;

  EventIntake intake;
  QueryExample::QueryServer query(events, kResultsPerBatch);
  Rpc::Server server(options);
  server.Register(&query);
  TakeEvents(server, intake);
  const Push push = server.AddPublisher<EventNotificationSubscribeReq, Notifications::Notification>(
      kPushService, kPushMethod);
  server.Start();
  std::cout << server.Addresses().front() << std::endl;
  if (!std::cout) throw std::runtime_error("cannot write standard output");

  for (int i = 0; sigtimedwait(&end_signals, nullptr, &kPause) < 0;) {
    if (events.events_size() == 0) continue;
    Tell(push, events.events(i));
    i = (i + 1) % events.events_size();
  }
  server.Shutdown(std::chrono::seconds(5));
}

// What is logged must neither end the server, because nobody reads it any more, nor go into a
// connection that got the number of a standard descriptor which was closed.
void MakeLoggingSafe() {
  signal(SIGPIPE, SIG_IGN);
  int descriptor = 0;
  do descriptor = open("/dev/null", O_RDWR);
  while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  close(descriptor);
}

}  // namespace
}  // namespace QueryRpcExample

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr
        << "usage: query_rpc_server ADDRESS:PORT CERTIFICATE_FOLDER EVENTS_FILE\n"
           "Prints the address that it listens on; port 0 stands for any free one. The folder\n"
           "holds ca.pem, server.pem and server.key; EVENTS_FILE holds a\n"
           "Pb.CmnSys.Events.EventList in text format.\n";
    return 2;
  }
  QueryRpcExample::MakeLoggingSafe();
  // Blocked before any thread exists, so that all threads block them and the main loop takes them.
  sigset_t end_signals;
  sigemptyset(&end_signals);
  sigaddset(&end_signals, SIGINT);
  sigaddset(&end_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &end_signals, nullptr);
  try {
    QueryRpcExample::Serve(argv[1], argv[2], QueryExample::ReadEventFile(argv[3]), end_signals);
  } catch (const std::exception& error) {
    std::cerr << "query_rpc_server: " << error.what() << "\n";
    return 1;
  }
  google::protobuf::ShutdownProtobufLibrary();
  return 0;
}
