#include "trace_context.h"

#include <random>
#include <regex>

namespace MetricsExample {

namespace {

std::string RandomHex(int digits) {
  std::random_device random;
  std::string text;
  while (static_cast<int>(text.size()) < digits) text += "0123456789abcdef"[random() % 16];
  // An id of zeros alone stands for none.
  if (text.find_first_not_of('0') == std::string::npos) text.back() = '1';
  return text;
}

}  // namespace

TraceContext NewTrace() { return {RandomHex(32), RandomHex(16), true, ""}; }

TraceContext ChildOf(const TraceContext& parent) {
  TraceContext child = parent;
  child.parent_id = RandomHex(16);
  return child;
}

std::optional<TraceContext> TraceOf(const CmnSys::Rpc::CallInfo& call) {
  // Later versions may add fields at the end; version ff does not exist.
  static const std::regex kForm(
      "(?!ff)[0-9a-f]{2}-(?!0{32})([0-9a-f]{32})-(?!0{16})([0-9a-f]{16})-[0-9a-f]([0-9a-f])(-.*)?");
  std::smatch parts;
  const auto parent = call.metadata.find("traceparent");
  if (parent == call.metadata.end() || !std::regex_match(parent->second, parts, kForm)) return {};
  TraceContext trace;
  trace.trace_id = parts[1];
  trace.parent_id = parts[2];
  trace.sampled = std::stoi(parts[3], nullptr, 16) % 2 == 1;
  const auto [begin, end] = call.metadata.equal_range("tracestate");
  for (auto i = begin; i != end; ++i) {
    trace.state += (trace.state.empty() ? "" : ",") + i->second;
  }
  return trace;
}

void SetTrace(const TraceContext& trace, CmnSys::Rpc::ClientController* controller) {
  controller->AddMetadata("traceparent", "00-" + trace.trace_id + "-" + trace.parent_id + "-" +
                                             (trace.sampled ? "01" : "00"));
  if (!trace.state.empty()) controller->AddMetadata("tracestate", trace.state);
}

}  // namespace MetricsExample
