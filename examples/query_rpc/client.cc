// Asks a query server for events over mutual TLS: all batches of one query, another query that is
// aborted, and the first few notifications of a subscription.

#include <google/protobuf/stubs/callback.h>
#include <google/protobuf/stubs/common.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "event_table.h"
#include "names.h"

namespace QueryRpcExample {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Queries = Pb::CmnSys::Queries;
namespace Rpc = CmnSys::Rpc;
namespace SvcQuery = Pb::Rpc::SvcQuery;
using Pb::CmnSys::Notifications::Notification;

constexpr int kNotifications = 5;

SvcQuery::InitiateReq EventsOfType(const std::string& id, Events::EventType type) {
  SvcQuery::InitiateReq request;
  Queries::Query* query = request.mutable_query();
  query->set_type(Queries::QUERY_TYPE_SYSTEM_EVENTS_TYPE);
  query->mutable_gid()->set_id(id);
  query->mutable_gid()->set_type(Pb::CmnSys::GID_TYPE_QUERY);
  Queries::QuerySystemEventsType* parameters = query->mutable_query_system_events_type();
  parameters->set_time_begin(0);
  parameters->set_time_end(std::numeric_limits<std::int64_t>::max());
  parameters->add_event_types(type);
  return request;
}

void ThrowIfFailed(const char* call, const Rpc::ClientController& controller) {
  if (!controller.Failed()) return;
  throw std::runtime_error(std::string(call) + " failed with " +
                           Rpc::StatusCodeName(controller.Code()) + ": " + controller.ErrorText());
}

void Print(const Pb::CmnSys::QueriesResult::QueryResult& batch) {
  QueryExample::PrintEvents(batch.query_result_system_events(), std::cout);
}

SvcQuery::InitiateRsp Initiate(SvcQuery::Query_Stub* stub, const SvcQuery::InitiateReq& request) {
  Rpc::ClientController controller;
  SvcQuery::InitiateRsp response;
  stub->Initiate(&controller, &request, &response, nullptr);
  ThrowIfFailed("Initiate", controller);
  Print(response.query_result());
  return response;
}

void RunQuery(SvcQuery::Query_Stub* stub) {
  const SvcQuery::InitiateRsp first = Initiate(stub, EventsOfType("rpc/all", Events::EVENT_ALL));
  SvcQuery::ContinueReq next;
  *next.mutable_query_gid() = first.query_result().gid();
  for (bool more = first.b_continue(); more;) {
    Rpc::ClientController controller;
    SvcQuery::ContinueRsp batch;
    stub->Continue(&controller, &next, &batch, nullptr);
    ThrowIfFailed("Continue", controller);
    Print(batch.query_result());
    more = batch.b_continue();
  }
}

// A call that does not block. All of this must stay until the closure runs.
struct PendingAbort {
  SvcQuery::AbortReq request;
  SvcQuery::AbortRsp response;
  Rpc::ClientController controller;
  std::promise<void> ended;
};

// Runs on one of the channel's threads.
void OnAborted(PendingAbort* abort) { abort->ended.set_value(); }

void AbortQuery(SvcQuery::Query_Stub* stub) {
  const SvcQuery::InitiateRsp first =
      Initiate(stub, EventsOfType("rpc/aborted", Events::EVENT_ALL));
  PendingAbort abort;
  *abort.request.mutable_query_gid() = first.query_result().gid();
  abort.controller.SetTimeout(std::chrono::seconds(5));
  abort.controller.AddMetadata("x-reason", "enough seen");
  stub->Abort(&abort.controller, &abort.request, &abort.response,
              google::protobuf::NewCallback(&OnAborted, &abort));
  abort.ended.get_future().wait();  // A real client would do something else meanwhile.
  ThrowIfFailed("Abort", abort.controller);

  Rpc::ClientController controller;
  SvcQuery::ContinueReq next;
  *next.mutable_query_gid() = first.query_result().gid();
  SvcQuery::ContinueRsp batch;
  stub->Continue(&controller, &next, &batch, nullptr);
  std::cout << "Continue after Abort: " << Rpc::StatusCodeName(controller.Code()) << ": "
            << controller.ErrorText() << "\n";
}

void Listen(Rpc::Channel* channel) {
  Pb::CmnSys::QueriesResult::QueryResultSystemEvents received;
  std::promise<void> enough;
  std::promise<Rpc::Status> ended;
  Rpc::SubscriptionHandlerOf<Notification> handler;
  handler.on_message = [&](const Notification& notification) {
    if (received.results_size() == kNotifications) return;
    *received.add_results()->mutable_event() = notification.notification_event().event();
    if (received.results_size() == kNotifications) enough.set_value();
  };
  handler.on_end = [&](const Rpc::Status& status) {
    if (received.results_size() < kNotifications) enough.set_value();
    ended.set_value(status);
  };
  Rpc::SubscribeOptions options;
  options.resubscribe = true;  // After a lost connection, until it is cancelled.
  const std::unique_ptr<Rpc::Subscription> subscription = channel->Subscribe<Notification>(
      std::string(kPushService) + "/" + kPushMethod,
      Pb::Rpc::SvcEvents::EventNotificationSubscribeReq(), handler, options);
  enough.get_future().wait();
  subscription->Cancel();
  const Rpc::Status outcome = ended.get_future().get();
  if (outcome.code != Rpc::StatusCode::kCancelled) {
    throw std::runtime_error(std::string("the subscription ended with ") +
                             Rpc::StatusCodeName(outcome.code) + ": " + outcome.text);
  }
  QueryExample::PrintEvents(received, std::cout);
}

void Demonstrate(const std::vector<std::string>& addresses, const std::string& folder) {
  Rpc::ChannelOptions options;
  options.tls = Rpc::TlsFiles{folder + "/ca.pem", folder + "/client.pem", folder + "/client.key"};
  Rpc::Channel channel(addresses, options);
  SvcQuery::Query_Stub stub(&channel);

  std::cout << "== All events, over mutual TLS from " << addresses.front() << "\n\n";
  RunQuery(&stub);
  std::cout << "\n== A query that is aborted after its first batch\n\n";
  AbortQuery(&stub);
  std::cout << "\n== The next " << kNotifications << " notifications\n\n";
  Listen(&channel);
}

}  // namespace
}  // namespace QueryRpcExample

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: query_rpc_client HOST:PORT CERTIFICATE_FOLDER [HOST:PORT]...\n"
                 "The folder holds ca.pem, client.pem and client.key. Further addresses are those\n"
                 "of servers that can take the place of the first.\n";
    return 2;
  }
  try {
    std::vector<std::string> addresses = {argv[1]};
    addresses.insert(addresses.end(), argv + 3, argv + argc);
    QueryRpcExample::Demonstrate(addresses, argv[2]);
    if (!std::cout.flush()) throw std::runtime_error("cannot write standard output");
  } catch (const std::exception& error) {
    std::cerr << "query_rpc_client: " << error.what() << "\n";
    return 1;
  }
  google::protobuf::ShutdownProtobufLibrary();
  return 0;
}
