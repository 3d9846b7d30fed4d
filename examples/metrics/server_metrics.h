// What a server does, as metrics for Prometheus.

#ifndef EXAMPLES_METRICS_SERVER_METRICS_H_
#define EXAMPLES_METRICS_SERVER_METRICS_H_

#include <prometheus/collectable.h>
#include <prometheus/counter.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <functional>
#include <vector>

#include "CmnSys/Rpc/Observer.h"
#include "CmnSys/Rpc/Server.h"

namespace MetricsExample {

// Set it as ServerOptions::observer. Counts calls by method and outcome with their duration, and
// everything else that happens by its kind.
class CallMetrics final : public CmnSys::Rpc::Observer {
 public:
  explicit CallMetrics(prometheus::Registry* registry);

  void OnCallEnd(const CmnSys::Rpc::CallEnd& end) override;
  void OnEvent(const CmnSys::Rpc::Event& event) override;

 private:
  prometheus::Family<prometheus::Counter>& calls_;
  prometheus::Family<prometheus::Counter>& bytes_;
  prometheus::Family<prometheus::Histogram>& seconds_;
  prometheus::Family<prometheus::Counter>& events_;
};

// The server's own counters, read whenever Prometheus asks.
class ServerGauges final : public prometheus::Collectable {
 public:
  explicit ServerGauges(std::function<CmnSys::Rpc::ServerCounters()> read)
      : read_(std::move(read)) {}

  std::vector<prometheus::MetricFamily> Collect() const override;

 private:
  std::function<CmnSys::Rpc::ServerCounters()> read_;
};

}  // namespace MetricsExample

#endif  // EXAMPLES_METRICS_SERVER_METRICS_H_
