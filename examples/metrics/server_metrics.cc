#include "server_metrics.h"

#include <chrono>
#include <string>
#include <utility>

namespace MetricsExample {

namespace Rpc = CmnSys::Rpc;

namespace {

const prometheus::Histogram::BucketBoundaries kSeconds{0.001, 0.005, 0.025, 0.1, 0.5, 2.5, 10};

const char* NameOf(Rpc::Event::Kind kind) {
  switch (kind) {
    case Rpc::Event::Kind::kConnected:
      return "connected";
    case Rpc::Event::Kind::kDisconnected:
      return "disconnected";
    case Rpc::Event::Kind::kSubscribed:
      return "subscribed";
    case Rpc::Event::Kind::kUnsubscribed:
      return "unsubscribed";
    case Rpc::Event::Kind::kSubscriberDropped:
      return "subscriber_dropped";
    case Rpc::Event::Kind::kTlsFilesReloaded:
      return "tls_files_reloaded";
    case Rpc::Event::Kind::kTlsFilesNotUsable:
      return "tls_files_not_usable";
    case Rpc::Event::Kind::kCertificateExpires:
      return "certificate_expires";
    default:
      return "other";
  }
}

}  // namespace

CallMetrics::CallMetrics(prometheus::Registry* registry)
    : calls_(prometheus::BuildCounter()
                 .Name("rpc_server_calls_total")
                 .Help("Calls that have ended")
                 .Register(*registry)),
      bytes_(prometheus::BuildCounter()
                 .Name("rpc_server_bytes_total")
                 .Help("Serialized requests and responses")
                 .Register(*registry)),
      seconds_(prometheus::BuildHistogram()
                   .Name("rpc_server_call_seconds")
                   .Help("From a call's arrival to its end")
                   .Register(*registry)),
      events_(prometheus::BuildCounter()
                  .Name("rpc_server_events_total")
                  .Help("Connections, subscriptions and TLS files")
                  .Register(*registry)) {}

void CallMetrics::OnCallEnd(const Rpc::CallEnd& end) {
  const std::string method = end.info.service + "/" + end.info.method;
  calls_.Add({{"method", method}, {"code", Rpc::StatusCodeName(end.status.code)}}).Increment();
  bytes_.Add({{"direction", "request"}}).Increment(static_cast<double>(end.request_bytes));
  bytes_.Add({{"direction", "response"}}).Increment(static_cast<double>(end.response_bytes));
  const std::chrono::duration<double> seconds = end.duration;
  seconds_.Add({{"method", method}}, kSeconds).Observe(seconds.count());
}

void CallMetrics::OnEvent(const Rpc::Event& event) {
  events_.Add({{"kind", NameOf(event.kind)}}).Increment();
}

std::vector<prometheus::MetricFamily> ServerGauges::Collect() const {
  const Rpc::ServerCounters counters = read_();
  const std::pair<const char*, double> values[] = {
      {"calls", counters.calls},
      {"connections", counters.connections},
      {"subscribers", counters.subscribers},
      {"workers", counters.workers},
      {"busy_workers", counters.busy_workers},
      {"queued_calls", counters.queued_calls},
      {"buffered_bytes", static_cast<double>(counters.buffered_bytes)}};
  std::vector<prometheus::MetricFamily> families;
  for (const auto& [name, value] : values) {
    prometheus::MetricFamily family;
    family.name = std::string("rpc_server_") + name;
    family.type = prometheus::MetricType::Gauge;
    family.metric.emplace_back();
    family.metric.back().gauge.value = value;
    families.push_back(std::move(family));
  }
  return families;
}

}  // namespace MetricsExample
