// The query conversation: how it begins, goes on and ends.

#include "query_server.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "in_process_channel.h"
#include "support/calls.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Queries = Pb::CmnSys::Queries;
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

using Ids = std::vector<std::int64_t>;
using State = std::map<std::string, std::int64_t>;

struct Answer {
  Pb::CmnSys::QueriesResult::QueryResult result;
  bool more = false;
  std::string error;  // empty when the call succeeded

  Test::Ids Ids() const {
    Test::Ids ids;
    for (const auto& pair : result.query_result_system_events().results()) {
      ids.push_back(pair.event().this_id());
    }
    return ids;
  }

  // Per server.
  Test::State State() const {
    Test::State state;
    const auto& batch = result.query_result_system_events();
    for (const auto& entry : batch.continuable_state().server_max_event_ids()) {
      EXPECT_TRUE(state.emplace(entry.server_gid().id(), entry.max_event_id()).second);
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
    SvcQuery::InitiateRsp response;
    const std::string error = Call(&SvcQuery::Query_Stub::Initiate, request, &response);
    return {response.query_result(), response.b_continue(), error};
  }

  Answer Continue(const Pb::CmnSys::Gid& gid) {
    SvcQuery::ContinueReq request;
    *request.mutable_query_gid() = gid;
    SvcQuery::ContinueRsp response;
    const std::string error = Call(&SvcQuery::Query_Stub::Continue, request, &response);
    return {response.query_result(), response.b_continue(), error};
  }

  // Returns the error text.
  std::string Abort(const Pb::CmnSys::Gid& gid) {
    SvcQuery::AbortReq request;
    *request.mutable_query_gid() = gid;
    SvcQuery::AbortRsp response;
    return Call(&SvcQuery::Query_Stub::Abort, request, &response);
  }

 private:
  template <typename Method, typename Request, typename Response>
  std::string Call(Method method, const Request& request, Response* response) {
    QueryExample::InProcessController controller;
    CountingClosure done;
    (stub_.*method)(&controller, &request, response, &done);
    EXPECT_EQ(done.runs, 1);
    EXPECT_TRUE(!controller.Failed() || response->ByteSizeLong() == 0);
    return controller.ErrorText();
  }

  QueryExample::InProcessChannel channel_;
  SvcQuery::Query_Stub stub_{&channel_};
};

testing::AssertionResult Says(const std::string& error, const std::string& part) {
  if (error.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "error is \"" << error << "\"";
}

const char kNotRunning[] = "is running: it is unknown, finished, aborted or was dropped";

TEST(QueryConversation, EndsWithTheBatchThatTakesTheLastResults) {
  const std::map<int, std::vector<Ids>> cases = {
      {0, {Ids{}}}, {3, {{1, 2, 3}}}, {4, {{1, 2, 3}, {4}}}, {6, {{1, 2, 3}, {4, 5, 6}}}};
  for (const auto& [count, batches] : cases) {
    SCOPED_TRACE(count);
    QueryServer server(TestEvents(count), 3);
    Client client(&server);
    Answer answer = client.Initiate(AllEvents("q"));
    for (std::size_t i = 0; i < batches.size(); ++i) {
      if (i > 0) answer = client.Continue(answer.result.gid());
      ASSERT_EQ(answer.error, "");
      EXPECT_EQ(answer.result.gid().id(), "q");
      EXPECT_TRUE(answer.result.has_query_result_system_events());
      EXPECT_EQ(answer.Ids(), batches[i]);
      EXPECT_EQ(answer.more, i + 1 < batches.size());
    }
    EXPECT_TRUE(Says(client.Continue(answer.result.gid()).error, kNotRunning));
  }
}

TEST(QueryConversation, EndsWithAbortAndIsNotDisturbedByOthers) {
  QueryServer server(TestEvents(7), 3);
  Client client(&server);
  Client other(&server);
  const auto aborted = client.Initiate(AllEvents("a")).result.gid();
  const auto running = other.Initiate(AllEvents("b")).result.gid();
  EXPECT_EQ(client.Abort(aborted), "");
  EXPECT_TRUE(Says(client.Continue(aborted).error, kNotRunning));
  EXPECT_TRUE(Says(client.Abort(aborted), kNotRunning));

  EXPECT_TRUE(Says(client.Initiate(AllEvents("b")).error, "is running; abort it"));
  auto foreign = running;
  foreign.set_server_id("another");
  EXPECT_TRUE(Says(client.Continue(foreign).error, kNotRunning));
  EXPECT_EQ(other.Continue(running).Ids(), (Ids{4, 5, 6}));
  // The gid is free again.
  EXPECT_EQ(client.Initiate(AllEvents("a")).Ids(), (Ids{1, 2, 3}));
}

TEST(QueryConversation, GetsAGidOfItsOwnWhenTheClientNamesNone) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  Queries::Query query = AllEvents("q");
  query.clear_gid();
  const auto first = client.Initiate(query).result.gid();
  const auto second = client.Initiate(query).result.gid();
  EXPECT_EQ(first.type(), Pb::CmnSys::GID_TYPE_QUERY);
  EXPECT_EQ(client.Continue(second).Ids(), Ids{4});
  EXPECT_EQ(client.Continue(first).Ids(), Ids{4});
}

TEST(QueryConversation, IsDroppedWhenIdleLongestAndTooManyAreOpen) {
  QueryServer server(TestEvents(9), 3, 2);
  Client client(&server);
  const auto a = client.Initiate(AllEvents("a")).result.gid();
  const auto b = client.Initiate(AllEvents("b")).result.gid();
  EXPECT_EQ(client.Continue(a).error, "");
  EXPECT_EQ(client.Initiate(AllEvents("c")).error, "");
  EXPECT_TRUE(Says(client.Continue(b).error, kNotRunning));
  EXPECT_EQ(client.Continue(a).error, "");
}

TEST(QueryConversation, GoesOnInParallel) {
  QueryServer server(TestEvents(50), 3);
  std::vector<std::size_t> received(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < received.size(); ++i) {
    threads.emplace_back([&server, &sum = received[i], i] {
      Client client(&server);
      Answer answer = client.Initiate(AllEvents(std::to_string(i)));
      for (; answer.more; answer = client.Continue(answer.result.gid())) sum += answer.Ids().size();
      sum += answer.Ids().size();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(received, std::vector<std::size_t>(4, 50));
}

TEST(QueryServer, RefusesWhatItCannotAnswerAndSaysWhy) {
  QueryServer server(TestEvents(4), 3);
  Client client(&server);
  const std::map<std::string, std::string> refusals = {
      {"", "does not answer queries of type QUERY_TYPE_UNKNOWN"},
      {"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_rules_all {}",
       "needs its parameters in query_system_events_type"},
      {"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {}", "event_types is empty"},
      {"type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type {"
       "  time_begin: 5 time_end: 4 event_types: EVENT_ALL }",
       "time_begin 5 is after time_end 4"}};
  for (const auto& [query, error] : refusals) {
    EXPECT_TRUE(Says(client.Initiate(QueryFromText(query)).error, error)) << query;
  }
}

TEST(EventSearch, FindsTheListedTypesThatStartInTheWindow) {
  Events::EventList events = TestEvents(4);
  events.mutable_events(2)->set_event_type(Events::EVENT_USER_LOGIN);
  events.mutable_events(3)->set_timestamp(-1);
  events.mutable_events(3)->set_linked_event_id(1);
  QueryServer server(events);
  Client client(&server);
  const std::map<std::string, Ids> windows = {
      {"time_begin: 1000 time_end: 2000 event_types: EVENT_ALL", {1, 2}},
      {"time_begin: 1001 time_end: 2999 event_types: EVENT_ALL", {2}},
      {"time_end: 1000 event_types: EVENT_ALL", {4, 1}},
      // As unsigned numbers, the negative time would lie in this window.
      {"time_begin: 2001 time_end: 18446744073709551615 event_types: EVENT_ALL", {3}},
      {"event_types: [EVENT_USER_LOGIN, EVENT_USER_LOGOUT]", {3}}};
  const auto search = [&client](const std::string& parameters) {
    return client.Initiate(QueryFromText(
        "type: QUERY_TYPE_SYSTEM_EVENTS_TYPE query_system_events_type { " + parameters + " }"));
  };
  for (const auto& [parameters, ids] : windows) {
    EXPECT_EQ(search(parameters).Ids(), ids) << parameters;
  }

  const Answer linked = search("event_types: EVENT_ALL b_include_linked_events: true");
  const auto& results = linked.result.query_result_system_events().results();
  ASSERT_EQ(linked.Ids(), (Ids{4, 1, 2, 3}));
  EXPECT_EQ(results[0].linked_event().this_id(), 1);
  EXPECT_FALSE(results[1].has_linked_event());
}

TEST(ContinuableState, GrowsWithTheBatchesAndIsWhereALaterQueryGoesOn) {
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
  EXPECT_EQ(answer.Ids(), (Ids{4, 5}));
  EXPECT_EQ(answer.State(), (State{{"odd", 5}, {"even", 4}}));

  // A server that the state does not name is read from its beginning, one without news keeps its
  // entry.
  answer = newer_than("server_max_event_ids { server_gid { id: 'odd' } max_event_id: 7 }");
  EXPECT_EQ(answer.Ids(), (Ids{2, 4}));
  EXPECT_EQ(answer.State(), (State{{"odd", 7}, {"even", 4}}));
}

}  // namespace
}  // namespace CmnSys::Test
