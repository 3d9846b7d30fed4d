// Asks a query server for the last hour's motion events and shows the whole conversation: batches,
// Continue, the continuable state, Abort, and failures.

#include <google/protobuf/service.h>
#include <google/protobuf/stubs/callback.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <iostream>
#include <stdexcept>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "event_file.h"
#include "event_table.h"
#include "in_process_channel.h"
#include "query_server.h"

namespace QueryExample {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Queries = Pb::CmnSys::Queries;
namespace SvcQuery = Pb::Rpc::SvcQuery;

constexpr std::int64_t kHour = 3'600'000;  // in the time base of the example's data
constexpr std::uint32_t kResultsPerBatch = 3;

// The calls below are finished when the stub's method returns, so nothing waits for them.
google::protobuf::Closure* NoWaiting() {
  return google::protobuf::NewCallback(&google::protobuf::DoNothing);
}

Pb::CmnSys::Gid QueryGid(const std::string& id) {
  Pb::CmnSys::Gid gid;
  gid.set_id(id);
  gid.set_type(Pb::CmnSys::GID_TYPE_QUERY);
  return gid;
}

Queries::Query EventsOfTypes(const std::string& id, std::int64_t begin, std::int64_t end,
                             std::initializer_list<Events::EventType> types) {
  Queries::Query query;
  query.set_type(Queries::QUERY_TYPE_SYSTEM_EVENTS_TYPE);
  *query.mutable_gid() = QueryGid(id);
  Queries::QuerySystemEventsType* parameters = query.mutable_query_system_events_type();
  parameters->set_time_begin(begin);
  parameters->set_time_end(end);
  parameters->set_b_include_linked_events(true);
  for (const Events::EventType type : types) parameters->add_event_types(type);
  return query;
}

Queries::Query EventsAfter(const Queries::QueryContinuableState& state) {
  Queries::Query query;  // without a gid: the server assigns one
  query.set_type(Queries::QUERY_TYPE_SYSTEM_EVENTS_GREATER_THAN_ID);
  *query.mutable_query_system_events_greater_than_id()->mutable_continuable_state() = state;
  return query;
}

void PrintBatch(const Pb::CmnSys::QueriesResult::QueryResult& result, bool more) {
  PrintEvents(result.query_result_system_events(), std::cout);
  PrintState(result.query_result_system_events().continuable_state(), std::cout);
  std::cout << (more ? "b_continue is true: more results wait\n\n"
                     : "b_continue is false: this was the last batch\n\n");
}

// Fetches and prints all batches. Returns the state that came with the last one, from which a later
// query can go on. Throws std::runtime_error when a call fails.
Queries::QueryContinuableState RunQuery(SvcQuery::Query_Stub* stub, const Queries::Query& query) {
  InProcessController controller;
  SvcQuery::InitiateReq initiate;
  *initiate.mutable_query() = query;
  SvcQuery::InitiateRsp first;
  stub->Initiate(&controller, &initiate, &first, NoWaiting());
  if (controller.Failed()) throw std::runtime_error("Initiate: " + controller.ErrorText());
  PrintBatch(first.query_result(), first.b_continue());

  Queries::QueryContinuableState state =
      first.query_result().query_result_system_events().continuable_state();
  SvcQuery::ContinueReq next;
  *next.mutable_query_gid() = first.query_result().gid();
  for (bool more = first.b_continue(); more;) {
    controller.Reset();
    SvcQuery::ContinueRsp batch;
    stub->Continue(&controller, &next, &batch, NoWaiting());
    if (controller.Failed()) throw std::runtime_error("Continue: " + controller.ErrorText());
    more = batch.b_continue();
    PrintBatch(batch.query_result(), more);
    state = batch.query_result().query_result_system_events().continuable_state();
  }
  return state;
}

void PrintOutcome(const char* call, const InProcessController& controller) {
  std::cout << call << (controller.Failed() ? " failed: " + controller.ErrorText() : " succeeded")
            << "\n";
}

void StartAndAbort(SvcQuery::Query_Stub* stub, const Queries::Query& query) {
  InProcessController controller;
  SvcQuery::InitiateReq initiate;
  *initiate.mutable_query() = query;
  SvcQuery::InitiateRsp first;
  stub->Initiate(&controller, &initiate, &first, NoWaiting());
  if (controller.Failed()) throw std::runtime_error("Initiate: " + controller.ErrorText());
  PrintBatch(first.query_result(), first.b_continue());

  SvcQuery::AbortReq abort;
  *abort.mutable_query_gid() = query.gid();
  SvcQuery::AbortRsp aborted;
  stub->Abort(&controller, &abort, &aborted, NoWaiting());
  PrintOutcome("Abort", controller);

  controller.Reset();
  SvcQuery::ContinueReq next;
  *next.mutable_query_gid() = query.gid();
  SvcQuery::ContinueRsp batch;
  stub->Continue(&controller, &next, &batch, NoWaiting());
  PrintOutcome("Continue after it", controller);
}

// Implements no method, so that each call gets the answer of the generated base class.
class EmptyServer : public SvcQuery::Query {};

void CallEmptyServer() {
  EmptyServer server;
  InProcessChannel channel(&server);
  SvcQuery::Query_Stub stub(&channel);
  InProcessController controller;
  const SvcQuery::AbortReq request;
  SvcQuery::AbortRsp response;
  stub.Abort(&controller, &request, &response, NoWaiting());
  PrintOutcome("Abort", controller);
}

void Demonstrate(const Events::EventList& events) {
  QueryServer server(events, kResultsPerBatch);
  InProcessChannel channel(&server);
  SvcQuery::Query_Stub stub(&channel);

  // The file stands for a morning in the past, so its newest event tells what "now" is.
  std::int64_t now = 0;
  for (const Events::Event& event : events.events()) now = std::max(now, event.timestamp());

  std::cout << "== The last hour's motion events, " << kResultsPerBatch << " a batch\n\n";
  const Queries::QueryContinuableState state = RunQuery(
      &stub,
      EventsOfTypes("client-1/motion", now - kHour, now, {Events::EVENT_DEVICE_MOTION_START}));

  std::cout << "== Events of all types that are newer than this state\n\n";
  RunQuery(&stub, EventsAfter(state));

  std::cout << "== All events, aborted after the first batch\n\n";
  StartAndAbort(&stub, EventsOfTypes("client-1/all", 0, now, {Events::EVENT_ALL}));

  std::cout << "\n== A server that does not implement the method\n\n";
  CallEmptyServer();
}

}  // namespace
}  // namespace QueryExample

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: query_example EVENTS_FILE\n"
                 "EVENTS_FILE holds a Pb.CmnSys.Events.EventList in text format, for example\n"
                 "examples/data/events.txt of the source tree.\n";
    return 2;
  }
  try {
    QueryExample::Demonstrate(QueryExample::ReadEventFile(argv[1]));
  } catch (const std::exception& error) {
    std::cerr << "query_example: " << error.what() << "\n";
    return 1;
  }
  google::protobuf::ShutdownProtobufLibrary();
  return 0;
}
