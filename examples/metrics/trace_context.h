// The trace that a call belongs to, by W3C Trace Context: https://www.w3.org/TR/trace-context/

#ifndef EXAMPLES_METRICS_TRACE_CONTEXT_H_
#define EXAMPLES_METRICS_TRACE_CONTEXT_H_

#include <optional>
#include <string>

#include "CmnSys/Rpc/CallInfo.h"
#include "CmnSys/Rpc/ClientController.h"

namespace MetricsExample {

struct TraceContext {
  std::string trace_id;   // 32 lower-case hexadecimal digits, the same for the whole trace.
  std::string parent_id;  // 16 of them, for the caller's step in it.
  bool sampled = false;   // Whether the caller records the trace.
  std::string state;      // What tracing systems add; opaque.
};

// A trace that begins here.
TraceContext NewTrace();

// The same trace, one step further: what a call that is made on behalf of another one carries.
TraceContext ChildOf(const TraceContext& parent);

// What came with a call; nothing when there was none or it is not well-formed.
std::optional<TraceContext> TraceOf(const CmnSys::Rpc::CallInfo& call);

// Sends it along with a call.
void SetTrace(const TraceContext& trace, CmnSys::Rpc::ClientController* controller);

}  // namespace MetricsExample

#endif  // EXAMPLES_METRICS_TRACE_CONTEXT_H_
