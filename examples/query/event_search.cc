#include "event_search.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

namespace QueryExample {
namespace {

namespace Events = Pb::CmnSys::Events;
namespace Queries = Pb::CmnSys::Queries;

bool SameGid(const Pb::CmnSys::Gid& a, const Pb::CmnSys::Gid& b) {
  return a.SerializeAsString() == b.SerializeAsString();
}

void RequireParameters(bool set, const std::string& field, Queries::QueryType type) {
  if (!set) {
    throw std::invalid_argument("a query of type " + Queries::QueryType_Name(type) +
                                " needs its parameters in " + field);
  }
}

// A bound that is not set does not restrict. The window is unsigned and events carry signed times,
// so an event before time 0 is before every window.
bool StartsInWindow(const Events::Event& event, const Queries::QuerySystemEventsType& window) {
  if (event.timestamp() < 0) return !window.has_time_begin();
  const auto time = static_cast<std::uint64_t>(event.timestamp());
  return (!window.has_time_begin() || time >= window.time_begin()) &&
         (!window.has_time_end() || time <= window.time_end());
}

bool HasListedType(const Events::Event& event, const Queries::QuerySystemEventsType& parameters) {
  const auto& types = parameters.event_types();
  return std::any_of(types.begin(), types.end(), [&event](int type) {
    return type == Events::EVENT_ALL || type == event.event_type();
  });
}

EventSearch SearchByType(const Queries::QuerySystemEventsType& parameters,
                         const Events::EventList& events) {
  if (parameters.event_types().empty()) {
    throw std::invalid_argument(
        "query_system_events_type.event_types is empty; list the types, or EVENT_ALL for all");
  }
  if (parameters.has_time_end() && parameters.time_begin() > parameters.time_end()) {
    throw std::invalid_argument("query_system_events_type: time_begin " +
                                std::to_string(parameters.time_begin()) + " is after time_end " +
                                std::to_string(parameters.time_end()));
  }
  EventSearch search;
  search.include_linked_events = parameters.b_include_linked_events();
  for (const Events::Event& event : events.events()) {
    if (StartsInWindow(event, parameters) && HasListedType(event, parameters)) {
      search.matches.push_back(&event);
    }
  }
  return search;
}

// Highest identifier of the server's events that the client has; below all of them when the state
// does not name the server.
std::int64_t ReadUpTo(const Queries::QueryContinuableState& state, const Pb::CmnSys::Gid& server) {
  std::int64_t highest = std::numeric_limits<std::int64_t>::min();
  for (const Queries::QueryContinuableServerState& entry : state.server_max_event_ids()) {
    if (SameGid(entry.server_gid(), server)) highest = std::max(highest, entry.max_event_id());
  }
  return highest;
}

EventSearch SearchGreaterThanId(const Queries::QuerySystemEventsGreaterThanId& parameters,
                                const Events::EventList& events) {
  EventSearch search;
  search.include_linked_events = parameters.b_include_linked_events();
  search.state = parameters.continuable_state();
  for (const Events::Event& event : events.events()) {
    if (event.originating_event_id() > ReadUpTo(search.state, event.originating_server_gid())) {
      search.matches.push_back(&event);
    }
  }
  return search;
}

}  // namespace

EventSearch SearchEvents(const Queries::Query& query, const Events::EventList& events) {
  switch (query.type()) {
    case Queries::QUERY_TYPE_SYSTEM_EVENTS_TYPE:
      RequireParameters(query.has_query_system_events_type(), "query_system_events_type",
                        query.type());
      return SearchByType(query.query_system_events_type(), events);
    case Queries::QUERY_TYPE_SYSTEM_EVENTS_GREATER_THAN_ID:
      RequireParameters(query.has_query_system_events_greater_than_id(),
                        "query_system_events_greater_than_id", query.type());
      return SearchGreaterThanId(query.query_system_events_greater_than_id(), events);
    default:
      throw std::invalid_argument("this server does not answer queries of type " +
                                  Queries::QueryType_Name(query.type()));
  }
}

void AdvanceState(const Events::Event& event, Queries::QueryContinuableState* state) {
  for (Queries::QueryContinuableServerState& entry : *state->mutable_server_max_event_ids()) {
    if (SameGid(entry.server_gid(), event.originating_server_gid())) {
      entry.set_max_event_id(std::max(entry.max_event_id(), event.originating_event_id()));
      return;
    }
  }
  Queries::QueryContinuableServerState* entry = state->add_server_max_event_ids();
  *entry->mutable_server_gid() = event.originating_server_gid();
  entry->set_max_event_id(event.originating_event_id());
}

}  // namespace QueryExample
