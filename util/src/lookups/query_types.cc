#include "CmnSys/Util/QueryTypes.h"

namespace CmnSys::Util {

using Pb::CmnSys::Queries::Query;
using Pb::CmnSys::Queries::QueryType;
using Pb::CmnSys::QueriesResult::QueryResultType;

namespace {

// The query types from `first` to `last` are answered by `result`.
struct Answer {
  QueryType first;
  QueryType last;
  QueryResultType result;
};

constexpr Answer kAnswers[] = {
    {Pb::CmnSys::Queries::QUERY_TYPE_BOOKMARKS_ALL,
     Pb::CmnSys::Queries::QUERY_TYPE_BOOKMARKS_TIME_RANGE,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_BOOKMARKS},
    {Pb::CmnSys::Queries::QUERY_TYPE_FEATURE_VECTOR_JOIN,
     Pb::CmnSys::Queries::QUERY_TYPE_FEATURE_VECTOR_JOIN,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_FEATURE_VECTOR_JOIN},
    {Pb::CmnSys::Queries::QUERY_TYPE_FEATURE_VECTOR_WHOLE,
     Pb::CmnSys::Queries::QUERY_TYPE_FEATURE_VECTOR_WHOLE,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_FEATURE_VECTOR_WHOLE},
    {Pb::CmnSys::Queries::QUERY_TYPE_RECORDINGS_ALL,
     Pb::CmnSys::Queries::QUERY_TYPE_RECORDINGS_ADJACENT_EVENTS,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_RECORDINGS},
    {Pb::CmnSys::Queries::QUERY_TYPE_RECORDINGS_EVENT_DESCS,
     Pb::CmnSys::Queries::QUERY_TYPE_RECORDINGS_EVENT_DESCS,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_RECORDINGS_EVENT_DESCS},
    {Pb::CmnSys::Queries::QUERY_TYPE_RULES_ALL, Pb::CmnSys::Queries::QUERY_TYPE_RULES_IDS,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_RULES},
    {Pb::CmnSys::Queries::QUERY_TYPE_SYSTEM_EVENTS_ACTIVE,
     Pb::CmnSys::Queries::QUERY_TYPE_SYSTEM_EVENTS_ALARMS,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_SYSTEM_EVENTS},
    {Pb::CmnSys::Queries::QUERY_TYPE_TRANSACTION_POS_TIME_RANGE,
     Pb::CmnSys::Queries::QUERY_TYPE_TRANSACTION_POS_LINES,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_TRANSACTION_POS},
    {Pb::CmnSys::Queries::QUERY_TYPE_RECORDING_EVENTS,
     Pb::CmnSys::Queries::QUERY_TYPE_RECORDING_EVENTS,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_RECORDING_EVENTS},
    // Without and with bsummarize.
    {Pb::CmnSys::Queries::QUERY_TYPE_DETECTION_BOXES,
     Pb::CmnSys::Queries::QUERY_TYPE_DETECTION_BOXES,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_DETECTION_BOXES},
    {Pb::CmnSys::Queries::QUERY_TYPE_DETECTION_BOXES,
     Pb::CmnSys::Queries::QUERY_TYPE_DETECTION_BOXES,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_DETECTION_BOX_SUMMARY},
    {Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_INFO,
     Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_INFO,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_APPEARANCE_INFO},
    {Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_SEARCH,
     Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_SEARCH,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_APPEARANCE_SEARCH},
    {Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_INFOS_RANGE,
     Pb::CmnSys::Queries::QUERY_TYPE_APPEARANCE_INFOS_RANGE,
     Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_APPEARANCE_INFOS_RANGE},
};

}  // namespace

std::vector<QueryResultType> PossibleResultTypes(QueryType type) {
  std::vector<QueryResultType> results;
  for (const Answer& answer : kAnswers) {
    if (answer.first <= type && type <= answer.last) results.push_back(answer.result);
  }
  return results;
}

std::optional<QueryResultType> ResultTypeFor(const Query& query) {
  const std::vector<QueryResultType> results = PossibleResultTypes(query.type());
  if (results.empty()) return std::nullopt;
  if (results.size() > 1 && query.query_detection_boxes().bsummarize()) return results[1];
  return results[0];
}

}  // namespace CmnSys::Util
