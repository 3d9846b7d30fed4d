// A server of the query service over a fixed list of events.

#ifndef QUERY_EXAMPLE_QUERY_SERVER_H_
#define QUERY_EXAMPLE_QUERY_SERVER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "event_search.h"

namespace QueryExample {

// Answers the searches of SearchEvents in batches, the oldest events first.
//
// Each method runs `done` exactly once before it returns. A failure is reported on the controller
// and leaves the response empty. Safe to call from several threads at once.
class QueryServer : public Pb::Rpc::SvcQuery::Query {
 public:
  // A batch holds at most `results_per_batch` events. When more than `max_open_queries` wait for
  // their client to continue, the one that has waited longest is dropped. Throws
  // std::invalid_argument when one of the two is 0.
  explicit QueryServer(Pb::CmnSys::Events::EventList events, std::uint32_t results_per_batch = 100,
                       std::size_t max_open_queries = 64);

  // Starts a query and returns its first batch. Assigns a gid when the query has none; the result
  // carries it. Fails for a query that SearchEvents refuses, and for a gid that is in use.
  void Initiate(google::protobuf::RpcController* controller,
                const Pb::Rpc::SvcQuery::InitiateReq* request,
                Pb::Rpc::SvcQuery::InitiateRsp* response, google::protobuf::Closure* done) override;

  // Returns the next batch. Fails for a gid that no open query has.
  void Continue(google::protobuf::RpcController* controller,
                const Pb::Rpc::SvcQuery::ContinueReq* request,
                Pb::Rpc::SvcQuery::ContinueRsp* response, google::protobuf::Closure* done) override;

  // Releases the query. Fails for a gid that no open query has.
  void Abort(google::protobuf::RpcController* controller,
             const Pb::Rpc::SvcQuery::AbortReq* request, Pb::Rpc::SvcQuery::AbortRsp* response,
             google::protobuf::Closure* done) override;

 private:
  struct OpenQuery {
    Pb::CmnSys::Gid gid;
    EventSearch search;
    std::size_t delivered = 0;
    std::uint64_t last_call = 0;
  };
  // By the serialized gid.
  using OpenQueries = std::map<std::string, OpenQuery>;

  void Start(const Pb::CmnSys::Queries::Query& request, Pb::Rpc::SvcQuery::InitiateRsp* response);
  Pb::CmnSys::Gid UnusedGid();
  OpenQueries::iterator FindOpen(const Pb::CmnSys::Gid& gid);
  void DropLongestIdle();
  // Fills the next batch and returns whether further results wait.
  bool NextBatch(OpenQuery* query, Pb::CmnSys::QueriesResult::QueryResult* result) const;

  Pb::CmnSys::Events::EventList events_;
  std::map<std::int64_t, const Pb::CmnSys::Events::Event*> events_by_id_;
  const std::uint32_t results_per_batch_;
  const std::size_t max_open_queries_;

  std::mutex mutex_;  // guards everything below
  OpenQueries open_;
  std::uint64_t calls_ = 0;
  std::uint64_t assigned_gids_ = 0;
};

}  // namespace QueryExample

#endif  // QUERY_EXAMPLE_QUERY_SERVER_H_
