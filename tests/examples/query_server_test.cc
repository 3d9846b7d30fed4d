// The query conversation: how it begins, goes on and ends.

#include "query_server.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "in_process_channel.h"
#include "support/calls.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Queries = Pb::CmnSys::Queries;
namespace QueriesResult = Pb::CmnSys::QueriesResult;
namespace SvcQuery = Pb::Rpc::SvcQuery;
using QueryExample::QueryServer;

// Events of two servers in turn, one a second from second 1 on, numbered from 1.
Events::EventList TestEvents(int count) {
  Events::EventList events;
  for (int i = 1; i <= count; ++i) {
    Events::Event* event = events.add_events();
    event->set_this_id(i);
    event->set_timestamp(std::int64_t{1000} * i);
    event->set_event_type(Events::EVENT_DEVICE_MOTION_START);
    event->mutable_originating_server_gid()->set_id(i % 2 == 0 ? "even" : "odd");
    event->set_originating_event_id(i);
    event->MutableExtension(Events::event_device_motion_start)
        ->set_device_id("camera-" + std::to_string(i));
  }
  return events;
}

Queries::Query QueryFromText(const std::string& text) {
  Queries::Query query;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &query)) << text;
  return query;
}

Queries::Query AllEvents(const std::string& gid) {
  return QueryFromText("type: QUERY_TYPE_SYSTEM_EVENTS_TYPE gid { id: '" + gid +
                       "' } query_system_events_type { event_types: EVENT_ALL }");
}

struct Answer {
  QueriesResult::QueryResult result;
  bool more = false;
  std::string error;  // empty when the call succeeded

  std::vector<std::int64_t> Ids() const {
    std::vector<std::int64_t> ids;
    for (const auto& pair : result.query_result_system_events().results()) {
      ids.push_back(pair.event().this_id());
    }
    return ids;
  }

  // Per server.
  std::map<std::string, std::int64_t> State() const {
    std::map<std::string, std::int64_t> state;
    const auto& batch = result.query_result_system_events();
    for (const auto& entry : batch.continuable_state().server_max_event_ids()) {
      EXPECT_EQ(state.count(entry.server_gid().id()), 0U) << "two entries of one server";
      state[entry.server_gid().id()] = entry.max_event_id();
    }
    return state;
  }
};

// A client on a channel of its own.
class Client {
 public:
  explicit Client(QueryServer* server) : channel_(server) {}

  Answer Initiate(const Queries::Query& query) {
    SvcQuery::InitiateReq request;
    *request.mutable_query() = query;
    return Batch<SvcQuery::InitiateRsp>(&SvcQuery::Query_Stub::Initiate, request);
  }

  Answer Continue(const Pb::CmnSys::Gid& gid) {
    SvcQuery::ContinueReq request;
    *request.mutable_query_gid() = gid;
    return Batch<SvcQuery::ContinueRsp>(&SvcQuery::Query_Stub::Continue, request);
  }

  // Returns the error text.
  std::string Abort(const Pb::CmnSys::Gid& gid) {
    SvcQuery::AbortReq request;
    *request.mutable_query_gid() = gid;
    SvcQuery::AbortRsp response;
    Call(&SvcQuery::Query_Stub::Abort, request, &response);
    return controller_.ErrorText();
  }

 private:
  template <typename Method, typename Request, typename Response>
  void Call(Method method, const Request& request, Response* response) {
    controller_.Reset();
    CountingClosure done;
    (stub_.*method)(&controller_, &request, response, &done);
    EXPECT_EQ(done.runs, 1);
    EXPECT_EQ(controller_.Failed(), !controller_.ErrorText().empty());
  }

  template <typename Response, typename Method, typename Request>
  Answer Batch(Method method, const Request& request) {
    Response response;
    Call(method, request, &response);
    if (controller_.Failed()) {
      EXPECT_EQ(response.ByteSizeLong(), 0U);
    }
    return {response.query_result(), response.b_continue(), controller_.ErrorText()};
  }

  QueryExample::InProcessChannel channel_;
  SvcQuery::Query_Stub stub_{&channel_};
  QueryExample::InProcessController controller_;
};

const char kNotRunning[] = "is running: it is unknown, finished, aborted or was dropped";

testing::AssertionResult IsNotRunning(const std::string& error) {
  if (error.find(kNotRunning) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "error is \"" << error << "\"";
}

// Batches of 3 for so many events: how many events each batch has.
TEST(QueryConversation, EndsWithTheBatchThatTakesTheLastResults) {
  const std::map<int, std::vector<std::size_t>> cases = {{0, {0}},    {1, {1}},    {3, {3}},
                                                         {4, {3, 1}}, {6, {3, 3}}, {7, {3, 3, 1}}};
  for (const auto& [count, sizes] : cases) {
    SCOPED_TRACE(count);
    QueryServer server(TestEvents(count), 3);
    Client client(&server);
    Answer answer = client.Initiate(AllEvents("q"));
    std::vector<std::int64_t> ids;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      if (i > 0) answer = client.Continue(answer.result.gid());
      ASSERT_EQ(answer.error, "");
      EXPECT_EQ(answer.result.gid().id(), "q");
      EXPECT_EQ(answer.result.type(), QueriesResult::QUERY_RESULT_TYPE_SYSTEM_EVENTS);
      EXPECT_EQ(answer.result.max_results_per_return(), 3U);
      EXPECT_TRUE(answer.result.has_query_result_system_events());
      EXPECT_EQ(answer.Ids().size(), sizes[i]);
      EXPECT_EQ(answer.more, i + 1 < sizes.size());
      for (const std::int64_t id : answer.Ids()) ids.push_back(id);
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_TRUE(IsNotRunning(client.Continue(answer.result.gid()).error));
    EXPECT_TRUE(IsNotRunning(client.Abort(answer.result.gid())));
  }
}

TEST(QueryConversation, EndsWithAbortAndLeavesOthersRunning) {
  QueryServer server(TestEvents(7), 3);
  Client client(&server);
  Client other(&server);
  const auto aborted = client.Initiate(AllEvents("a")).result.gid();
  const auto running = other.Initiate(AllEvents("b")).result.gid();

  EXPECT_EQ(client.Abort(aborted), "");
  EXPECT_TRUE(IsNotRunning(client.Continue(aborted).error));
  EXPECT_TRUE(IsNotRunning(client.Abort(aborted)));
  EXPECT_EQ(other.Continue(running).Ids(), (std::vector<std::int64_t>{4, 5, 6}));

  // The gid is free again.
  EXPECT_EQ(client.Initiate(AllEvents("a")).Ids(), (std::vector<std::int64_t>{1, 2, 3}));
}

TEST(QueryConversation, IsKnownByItsWholeGid) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  auto gid = client.Initiate(AllEvents("q")).result.gid();
  gid.set_server_id("another");
  EXPECT_TRUE(IsNotRunning(client.Continue(gid).error));
  EXPECT_TRUE(IsNotRunning(client.Continue(Pb::CmnSys::Gid()).error));
}

TEST(QueryConversation, IsNotDisturbedByASecondOneUnderItsGid) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  const auto gid = client.Initiate(AllEvents("q")).result.gid();
  EXPECT_NE(client.Initiate(AllEvents("q")).error.find("is running; abort it"), std::string::npos);
  EXPECT_EQ(client.Continue(gid).Ids(), std::vector<std::int64_t>{4});
}

TEST(QueryConversation, GetsAGidOfItsOwnWhenTheClientNamesNone) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  Queries::Query query = AllEvents("");
  query.clear_gid();
  const auto first = client.Initiate(query).result.gid();
  const auto second = client.Initiate(query).result.gid();
  EXPECT_EQ(first.type(), Pb::CmnSys::GID_TYPE_QUERY);
  EXPECT_NE(first.id(), second.id());
  EXPECT_EQ(client.Continue(second).Ids(), std::vector<std::int64_t>{4});
  EXPECT_EQ(client.Continue(first).Ids(), std::vector<std::int64_t>{4});
}

TEST(QueryConversation, IsDroppedWhenIdleLongestAndTooManyAreOpen) {
  QueryServer server(TestEvents(9), 3, 2);
  Client client(&server);
  const auto a = client.Initiate(AllEvents("a")).result.gid();
  const auto b = client.Initiate(AllEvents("b")).result.gid();
  EXPECT_EQ(client.Continue(a).error, "");
  const auto c = client.Initiate(AllEvents("c")).result.gid();
  EXPECT_TRUE(IsNotRunning(client.Continue(b).error));
  EXPECT_EQ(client.Continue(a).error, "");
  EXPECT_EQ(client.Continue(c).error, "");
}

TEST(QueryConversation, GoesOnInParallel) {
  QueryServer server(TestEvents(50), 3);
  std::vector<std::size_t> received(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < received.size(); ++i) {
    threads.emplace_back([&server, &received, i] {
      Client client(&server);
      Answer answer = client.Initiate(AllEvents("client-" + std::to_string(i)));
      received[i] = answer.Ids().size();
      while (answer.more) {
        answer = client.Continue(answer.result.gid());
        received[i] += answer.Ids().size();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(received, std::vector<std::size_t>(4, 50));
}

struct Refusal {
  const char* query;
  const char* error;
};

TEST(QueryServer, RefusesWhatItCannotAnswerAndSaysWhy) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  for (const Refusal& refusal : {
           Refusal{"", "does not answer queries of type QUERY_TYPE_UNKNOWN"},
           Refusal{"type: QUERY_TYPE_RULES_ALL query_rules_all {}", "QUERY_TYPE_RULES_ALL"},
           Refusal{"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_rules_all {}",
                   "needs its parameters in query_system_events_type"},
           Refusal{"type: QUERY_TYPE_SYSTEM_EVENTS_GREATER_THAN_ID",
                   "needs its parameters in query_system_events_greater_than_id"},
           Refusal{"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {}",
                   "event_types is empty"},
           Refusal{"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {"
                   "  time_begin: 5 time_end: 4 event_types: EVENT_ALL }",
                   "time_begin 5 is after time_end 4"},
       }) {
    SCOPED_TRACE(refusal.query);
    const std::string error = client.Initiate(QueryFromText(refusal.query)).error;
    EXPECT_NE(error.find(refusal.error), std::string::npos) << error;
  }
  EXPECT_THROW(QueryServer(TestEvents(1), 0), std::invalid_argument);
  EXPECT_THROW(QueryServer(TestEvents(1), 1, 0), std::invalid_argument);
}

struct Window {
  const char* parameters;
  std::vector<std::int64_t> ids;
};

TEST(EventSearch, FindsTheListedTypesThatStartInTheWindow) {
  Events::EventList events = TestEvents(5);
  events.mutable_events(2)->set_event_type(Events::EVENT_USER_LOGIN);
  events.mutable_events(3)->set_timestamp(-1);
  events.mutable_events(4)->set_timestamp(std::numeric_limits<std::int64_t>::min());
  QueryServer server(events);
  Client client(&server);
  for (const Window& window : {
           Window{"time_begin: 1000 time_end: 2000 event_types: EVENT_ALL", {1, 2}},
           Window{"time_begin: 1001 time_end: 2999 event_types: EVENT_ALL", {2}},
           Window{"time_begin: 3000 event_types: EVENT_ALL", {3}},
           Window{"time_end: 1000 event_types: EVENT_ALL", {5, 4, 1}},
           // As unsigned numbers, the negative times would lie in this window.
           Window{"time_begin: 2001 time_end: 18446744073709551615 event_types: EVENT_ALL", {3}},
           Window{"event_types: [EVENT_USER_LOGIN, EVENT_USER_LOGOUT]", {3}},
           Window{"event_types: EVENT_UNKNOWN", {}},
       }) {
    SCOPED_TRACE(window.parameters);
    const Answer answer = client.Initiate(
        QueryFromText("type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type { " +
                      std::string(window.parameters) + " }"));
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.Ids(), window.ids);
  }
}

TEST(EventSearch, ReturnsLinkedEventsAndPayloads) {
  Events::EventList events = TestEvents(3);
  events.mutable_events(1)->set_linked_event_id(1);
  events.mutable_events(2)->set_linked_event_id(99);  // no such event
  QueryServer server(events);
  Client client(&server);
  Queries::Query query = AllEvents("q");
  query.mutable_query_system_events_type()->set_b_include_linked_events(true);
  const Answer answer = client.Initiate(query);
  const auto& results = answer.result.query_result_system_events().results();
  ASSERT_EQ(results.size(), 3);
  EXPECT_FALSE(results[0].has_linked_event());
  EXPECT_EQ(results[1].linked_event().this_id(), 1);
  EXPECT_FALSE(results[2].has_linked_event());
  EXPECT_EQ(results[2].event().GetExtension(Events::event_device_motion_start).device_id(),
            "camera-3");
}

TEST(ContinuableState, GrowsWithTheBatchesAndIsWhereALaterQueryGoesOn) {
  using State = std::map<std::string, std::int64_t>;
  QueryServer server(TestEvents(5), 3);
  Client client(&server);
  Answer answer = client.Initiate(AllEvents("q"));
  EXPECT_EQ(answer.State(), (State{{"odd", 3}, {"even", 2}}));
  const auto state_of_first =
      answer.result.query_result_system_events().continuable_state().ShortDebugString();
  answer = client.Continue(answer.result.gid());
  EXPECT_EQ(answer.State(), (State{{"odd", 5}, {"even", 4}}));

  const auto newer_than = [&client](const std::string& state) {
    return client.Initiate(
        QueryFromText("type: QUERY_TYPE_SYSTEM_EVENTS_GREATER_THAN_ID "
                      "query_system_events_greater_than_id { continuable_state { " +
                      state + " } }"));
  };
  answer = newer_than(state_of_first);
  EXPECT_EQ(answer.Ids(), (std::vector<std::int64_t>{4, 5}));
  EXPECT_EQ(answer.State(), (State{{"odd", 5}, {"even", 4}}));

  // A server that the state does not name is read from its beginning, one without news keeps its
  // entry.
  answer = newer_than("server_max_event_ids { server_gid { id: 'odd' } max_event_id: 7 }");
  EXPECT_EQ(answer.Ids(), (std::vector<std::int64_t>{2, 4}));
  EXPECT_EQ(answer.State(), (State{{"odd", 7}, {"even", 4}}));
}

TEST(InProcessChannel, FailsACallOfAServiceThatIsNotOffered) {
  QueryServer server(TestEvents(1));
  QueryExample::InProcessChannel channel(&server);
  QueryExample::InProcessController controller;
  CountingClosure done;
  const auto* foreign = google::protobuf::DescriptorPool::generated_pool()->FindServiceByName(
      "Pb.CmnSys.SvcRecorder.Recorder");
  ASSERT_NE(foreign, nullptr);
  const SvcQuery::AbortReq request;
  SvcQuery::AbortRsp response;
  channel.CallMethod(foreign->method(0), &controller, &request, &response, &done);
  EXPECT_EQ(controller.ErrorText(),
            "the service Pb.CmnSys.SvcRecorder.Recorder is not offered here, only "
            "Pb.Rpc.SvcQuery.Query");
  EXPECT_EQ(done.runs, 1);
}

TEST(InProcessController, RunsTheCancelCallbackExactlyOnce) {
  CountingClosure at_cancel;
  CountingClosure when_already_cancelled;
  CountingClosure at_end;
  {
    QueryExample::InProcessController controller;
    controller.NotifyOnCancel(&at_cancel);
    EXPECT_EQ(at_cancel.runs, 0);
    controller.StartCancel();
    controller.StartCancel();
    controller.NotifyOnCancel(&when_already_cancelled);
    EXPECT_TRUE(controller.IsCanceled());
    controller.Reset();
    EXPECT_FALSE(controller.IsCanceled());
    controller.NotifyOnCancel(&at_end);
    EXPECT_EQ(at_end.runs, 0);
  }
  EXPECT_EQ(at_cancel.runs, 1);
  EXPECT_EQ(when_already_cancelled.runs, 1);
  EXPECT_EQ(at_end.runs, 1);
}

}  // namespace
}  // namespace CmnSys::Test
