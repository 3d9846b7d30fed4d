// Which events a query asks for.

#ifndef QUERY_EXAMPLE_EVENT_SEARCH_H_
#define QUERY_EXAMPLE_EVENT_SEARCH_H_

#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Query.pb.h"

namespace QueryExample {

struct EventSearch {
  // The matching events in the order of the input, of which they are elements.
  std::vector<const Pb::CmnSys::Events::Event*> matches;
  // Whether each is to be returned with the event that it is linked to.
  bool include_linked_events = false;
  // How far the client had read each server's events when it asked.
  Pb::CmnSys::Queries::QueryContinuableState state;
};

// Searches `events`, which must outlive the result. Answers queries of the types
// QUERY_TYPE_SYSTEM_EVENTS_TYPE, where EVENT_ALL stands for every type, and
// QUERY_TYPE_SYSTEM_EVENTS_GREATER_THAN_ID; link_mode_flags have no meaning here. Throws
// std::invalid_argument for other types, and for a query that lacks the parameters of its type.
EventSearch SearchEvents(const Pb::CmnSys::Queries::Query& query,
                         const Pb::CmnSys::Events::EventList& events);

// Notes in `state` that `event` was delivered: raises the entry of the server where it arose to the
// identifier that it had there.
void AdvanceState(const Pb::CmnSys::Events::Event& event,
                  Pb::CmnSys::Queries::QueryContinuableState* state);

}  // namespace QueryExample

#endif  // QUERY_EXAMPLE_EVENT_SEARCH_H_
