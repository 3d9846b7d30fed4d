// From a query type to its parameters and to the kind of result that answers it.
//
// All functions are thread-safe. Descriptors live until google::protobuf::ShutdownProtobufLibrary.

#ifndef CMNSYS_UTIL_QUERY_TYPES_H_
#define CMNSYS_UTIL_QUERY_TYPES_H_

#include <google/protobuf/descriptor.h>

#include <optional>
#include <vector>

#include "CmnSys/Util/Export.h"
#include "ProtoBuf/CmnSys/CmnSys.Query.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"

namespace CmnSys::Util {

// The field of Pb.CmnSys.Queries.Query that carries the parameters of a query type, or nullptr for
// QUERY_TYPE_UNKNOWN and undefined numbers.
CMNSYSUTIL_EXPORT const google::protobuf::FieldDescriptor* ParameterFieldOf(
    Pb::CmnSys::Queries::QueryType type);

// The field of Pb.CmnSys.QueriesResult.QueryResult that carries the results of a result type, or
// nullptr for QUERY_RESULT_TYPE_UNKNOWN and undefined numbers.
CMNSYSUTIL_EXPORT const google::protobuf::FieldDescriptor* ResultFieldOf(
    Pb::CmnSys::QueriesResult::QueryResultType type);

// The result types that may answer a query type: mostly one; two for QUERY_TYPE_DETECTION_BOXES,
// which asks for single boxes or for a summary; none for QUERY_TYPE_UNKNOWN and for the three
// queries for the configuration of text transactions (QUERY_TYPE_TRANSACT_...), for which the
// schema has no result.
CMNSYSUTIL_EXPORT std::vector<Pb::CmnSys::QueriesResult::QueryResultType> ResultTypesOf(
    Pb::CmnSys::Queries::QueryType type);

// The result type that answers this query, or nothing when there is none. Reads the query's type
// and, where the type leaves a choice, its parameters.
CMNSYSUTIL_EXPORT std::optional<Pb::CmnSys::QueriesResult::QueryResultType> ResultTypeOf(
    const Pb::CmnSys::Queries::Query& query);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_QUERY_TYPES_H_
