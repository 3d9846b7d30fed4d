#include "values/event_values.h"

#include <algorithm>
#include <random>

namespace CmnSys::Bench {

namespace {

// The distributions of the standard library differ from one implementation to the next.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  std::uint64_t Below(std::uint64_t end) { return engine_() % end; }

  std::string Digits(std::size_t length) {
    std::string text(length, '0');
    for (char& digit : text) digit = "0123456789abcdef"[Below(16)];
    return text;
  }

 private:
  std::mt19937_64 engine_;
};

GidValues MakeGid(Random& random, int type) {
  return {random.Digits(16), random.Digits(16), random.Digits(16), random.Digits(16), type};
}

EventKind MakeKind(Random& random) {
  const std::uint64_t percent = random.Below(100);
  if (percent < 70) return EventKind::kMotionStart;
  return percent < 85 ? EventKind::kPlateFound : EventKind::kAnalyticsStart;
}

EventValues MakeEvent(Random& random, EventKind kind) {
  // Numbers of GidType.
  constexpr int kServer = 2;
  constexpr int kDevice = 10;
  EventValues event;
  event.this_id = static_cast<std::int64_t>(random.Below(std::uint64_t{1} << 33));
  event.linked_event_id = static_cast<std::int64_t>(random.Below(std::uint64_t{1} << 33));
  event.timestamp = 1'600'000'000'000'000 + static_cast<std::int64_t>(random.Below(1'000'000'000));
  event.kind = kind;
  event.pre_post_record_time = static_cast<std::int64_t>(random.Below(60'000));
  event.is_pre_post = random.Below(2) == 1;
  event.trigger_jiffy = static_cast<std::uint32_t>(random.Below(std::uint64_t{1} << 32));
  event.is_trigger_jiffy = random.Below(2) == 1;
  event.originating_server_gid = MakeGid(random, kServer);
  event.originating_event_id = static_cast<std::int64_t>(random.Below(std::uint64_t{1} << 33));
  event.originating_server_name = "recorder-" + random.Digits(4);
  switch (kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      event.motion = {random.Digits(16), MakeGid(random, kDevice)};
      break;
    case EventKind::kPlateFound:
      // A fraction that every format holds exactly.
      event.plate = {random.Digits(16), MakeGid(random, kDevice), random.Digits(7),
                     static_cast<float>(random.Below(1024)) / 1024};
      break;
    case EventKind::kAnalyticsStart:
      event.analytics = {MakeGid(random, kDevice),
                         "Loitering " + random.Digits(4),
                         "sensor-" + random.Digits(4),
                         static_cast<int>(1 + random.Below(3)),
                         {}};
      for (std::uint64_t i = 1 + random.Below(4); i > 0; --i) {
        event.analytics.target_ids.push_back(static_cast<std::uint32_t>(random.Below(100'000)));
      }
      break;
  }
  return event;
}

}  // namespace

std::size_t QueryResultValues::Events() const {
  return pairs.size() +
         static_cast<std::size_t>(std::count_if(pairs.begin(), pairs.end(), [](const auto& pair) {
           return pair.linked_event.has_value();
         }));
}

QueryResultValues MakeQueryResult(std::uint64_t seed, std::size_t pairs) {
  Random random(seed);
  constexpr int kQuery = 18;
  QueryResultValues result;
  result.gid = MakeGid(random, kQuery);
  for (std::size_t i = 0; i < pairs; ++i) {
    PairValues pair;
    pair.event = MakeEvent(random, MakeKind(random));
    if (i % 2 == 1) pair.linked_event = MakeEvent(random, EventKind::kMotionStop);
    result.pairs.push_back(std::move(pair));
  }
  return result;
}

}  // namespace CmnSys::Bench
