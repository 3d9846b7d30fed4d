// Events as text for people.

#ifndef QUERY_EXAMPLE_EVENT_TABLE_H_
#define QUERY_EXAMPLE_EVENT_TABLE_H_

#include <ostream>

#include "ProtoBuf/CmnSys/CmnSys.Query.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"

namespace QueryExample {

// Prints one line an event: identifier, time of day (timestamps are taken as milliseconds since
// 1970-01-01 UTC, the convention of the example's data), server, type, and the fields of every
// payload that the event carries. A linked event stands on the next line, marked with "+".
void PrintEvents(const Pb::CmnSys::QueriesResult::QueryResultSystemEvents& batch,
                 std::ostream& output);

// Prints, per server, the highest event identifier that was delivered, on one line.
void PrintState(const Pb::CmnSys::Queries::QueryContinuableState& state, std::ostream& output);

}  // namespace QueryExample

#endif  // QUERY_EXAMPLE_EVENT_TABLE_H_
