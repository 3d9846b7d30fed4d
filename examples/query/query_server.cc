#include "query_server.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace QueryExample {

namespace Events = Pb::CmnSys::Events;
namespace QueriesResult = Pb::CmnSys::QueriesResult;
namespace SvcQuery = Pb::Rpc::SvcQuery;
using google::protobuf::Closure;
using google::protobuf::RpcController;

namespace {

// Does the work of one call: what it throws fails the call, and `done` runs in any case.
template <typename Work>
void Answer(RpcController* controller, Closure* done, Work work) {
  try {
    work();
  } catch (const std::exception& error) {
    controller->SetFailed(error.what());
  }
  done->Run();
}

}  // namespace

QueryServer::QueryServer(Events::EventList events, std::uint32_t results_per_batch,
                         std::size_t max_open_queries)
    : events_(std::move(events)),
      results_per_batch_(results_per_batch),
      max_open_queries_(max_open_queries) {
  if (results_per_batch == 0 || max_open_queries == 0) {
    throw std::invalid_argument("results_per_batch and max_open_queries must be at least 1");
  }
  // On one server identifiers grow with time, so in this order the continuable state of any batch
  // tells that all events up to it were delivered.
  std::stable_sort(
      events_.mutable_events()->begin(), events_.mutable_events()->end(),
      [](const Events::Event& a, const Events::Event& b) { return a.timestamp() < b.timestamp(); });
  for (const Events::Event& event : events_.events()) events_by_id_[event.this_id()] = &event;
}

void QueryServer::Initiate(RpcController* controller, const SvcQuery::InitiateReq* request,
                           SvcQuery::InitiateRsp* response, Closure* done) {
  Answer(controller, done, [&] {
    const std::lock_guard lock(mutex_);
    Start(request->query(), response);
  });
}

void QueryServer::Continue(RpcController* controller, const SvcQuery::ContinueReq* request,
                           SvcQuery::ContinueRsp* response, Closure* done) {
  Answer(controller, done, [&] {
    const std::lock_guard lock(mutex_);
    const auto query = FindOpen(request->query_gid());
    query->second.last_call = ++calls_;
    const bool more = NextBatch(&query->second, response->mutable_query_result());
    response->set_b_continue(more);
    if (!more) open_.erase(query);
  });
}

void QueryServer::Abort(RpcController* controller, const SvcQuery::AbortReq* request,
                        SvcQuery::AbortRsp* /*response*/, Closure* done) {
  Answer(controller, done, [&] {
    const std::lock_guard lock(mutex_);
    open_.erase(FindOpen(request->query_gid()));
  });
}

void QueryServer::Start(const Pb::CmnSys::Queries::Query& request,
                        SvcQuery::InitiateRsp* response) {
  OpenQuery query;
  query.gid = request.has_gid() ? request.gid() : UnusedGid();
  std::string key = query.gid.SerializeAsString();
  if (open_.count(key) != 0) {
    throw std::invalid_argument("a query with the gid { " + query.gid.ShortDebugString() +
                                " } is running; abort it, or choose another gid");
  }
  query.search = SearchEvents(request, events_);
  query.last_call = ++calls_;

  const bool more = NextBatch(&query, response->mutable_query_result());
  response->set_b_continue(more);
  if (!more) return;
  if (open_.size() == max_open_queries_) DropLongestIdle();
  open_.emplace(std::move(key), std::move(query));
}

Pb::CmnSys::Gid QueryServer::UnusedGid() {
  Pb::CmnSys::Gid gid;
  gid.set_type(Pb::CmnSys::GID_TYPE_QUERY);
  do {
    gid.set_id("query-" + std::to_string(++assigned_gids_));
  } while (open_.count(gid.SerializeAsString()) != 0);
  return gid;
}

QueryServer::OpenQueries::iterator QueryServer::FindOpen(const Pb::CmnSys::Gid& gid) {
  const auto query = open_.find(gid.SerializeAsString());
  if (query == open_.end()) {
    throw std::invalid_argument("no query with the gid { " + gid.ShortDebugString() +
                                " } is running: it is unknown, finished, aborted or was dropped "
                                "while idle; start it with Initiate");
  }
  return query;
}

void QueryServer::DropLongestIdle() {
  open_.erase(std::min_element(open_.begin(), open_.end(), [](const auto& a, const auto& b) {
    return a.second.last_call < b.second.last_call;
  }));
}

bool QueryServer::NextBatch(OpenQuery* query, QueriesResult::QueryResult* result) const {
  EventSearch& search = query->search;
  result->set_max_results_per_return(results_per_batch_);
  result->set_type(QueriesResult::QUERY_RESULT_TYPE_SYSTEM_EVENTS);
  *result->mutable_gid() = query->gid;
  QueriesResult::QueryResultSystemEvents* batch = result->mutable_query_result_system_events();

  const std::size_t end =
      query->delivered +
      std::min<std::size_t>(results_per_batch_, search.matches.size() - query->delivered);
  for (; query->delivered < end; ++query->delivered) {
    const Events::Event& event = *search.matches[query->delivered];
    Events::EventPair* pair = batch->add_results();
    *pair->mutable_event() = event;
    if (search.include_linked_events && event.has_linked_event_id()) {
      const auto linked = events_by_id_.find(event.linked_event_id());
      if (linked != events_by_id_.end()) *pair->mutable_linked_event() = *linked->second;
    }
    AdvanceState(event, &search.state);
  }
  *batch->mutable_continuable_state() = search.state;
  return query->delivered < search.matches.size();
}

}  // namespace QueryExample
