// From a query to the kind of result that answers it.
//
// PayloadAt in Pairing.h tells the parameters of a query type, and the field of a result type. All
// functions are thread-safe.

#ifndef CMNSYS_UTIL_QUERY_TYPES_H_
#define CMNSYS_UTIL_QUERY_TYPES_H_

#include <optional>
#include <vector>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Query.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"

namespace CmnSys::Util {

// The result types that may answer a query type: mostly one; two for QUERY_TYPE_DETECTION_BOXES,
// which asks for single boxes or for a summary; none for QUERY_TYPE_UNKNOWN and for the three
// queries for the configuration of text transactions (QUERY_TYPE_TRANSACT_...), for which the
// schema has no result.
CMNSYSUTIL_EXPORT std::vector<Pb::CmnSys::QueriesResult::QueryResultType> PossibleResultTypes(
    Pb::CmnSys::Queries::QueryType type);

// The result type that answers this query, or nothing when there is none. Reads the query's type
// and, where the type leaves a choice, its parameters.
CMNSYSUTIL_EXPORT std::optional<Pb::CmnSys::QueriesResult::QueryResultType> ResultTypeFor(
    const Pb::CmnSys::Queries::Query& query);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_QUERY_TYPES_H_
