#include <capnp/message.h>
#include <capnp/serialize.h>
#include <kj/io.h>

#include <vector>

#include "events.capnp.h"
#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

capnp::Data::Reader DataOf(const std::string& text) {
  return {reinterpret_cast<const kj::byte*>(text.data()), text.size()};
}

std::string_view TextOf(capnp::Data::Reader data) {
  return {reinterpret_cast<const char*>(data.begin()), data.size()};
}

std::string_view TextOf(capnp::Text::Reader text) { return {text.begin(), text.size()}; }

void Set(const GidValues& values, Capnp::Gid::Builder gid) {
  gid.setId(DataOf(values.id));
  gid.setDataStoreId(DataOf(values.data_store_id));
  gid.setServerId(DataOf(values.server_id));
  gid.setClusterId(DataOf(values.cluster_id));
  gid.setType(values.type);
}

void SetMotion(const MotionValues& values, Capnp::Motion::Builder motion) {
  motion.setDeviceId(values.device_id);
  Set(values.device_gid, motion.initDeviceGid());
}

void Set(const EventValues& values, Capnp::Event::Builder event) {
  event.setThisId(values.this_id);
  event.setLinkedEventId(values.linked_event_id);
  event.setTimestamp(values.timestamp);
  event.setEventType(static_cast<int>(values.kind));
  auto trigger = event.initRecordTriggerParams();
  trigger.setPrePostRecordTime(values.pre_post_record_time);
  trigger.setIsPrePost(values.is_pre_post);
  trigger.setTriggerJiffy(values.trigger_jiffy);
  trigger.setIsTriggerJiffy(values.is_trigger_jiffy);
  Set(values.originating_server_gid, event.initOriginatingServerGid());
  event.setOriginatingEventId(values.originating_event_id);
  event.setOriginatingServerName(values.originating_server_name);
  auto payload = event.initPayload();
  switch (values.kind) {
    case EventKind::kMotionStart:
      SetMotion(values.motion, payload.initMotionStart());
      break;
    case EventKind::kMotionStop:
      SetMotion(values.motion, payload.initMotionStop());
      break;
    case EventKind::kPlateFound: {
      auto plate = payload.initPlateFound();
      plate.setDeviceId(values.plate.device_id);
      Set(values.plate.device_gid, plate.initDeviceGid());
      plate.setLicensePlate(values.plate.license_plate);
      plate.setConfidence(values.plate.confidence);
      break;
    }
    case EventKind::kAnalyticsStart: {
      auto analytics = payload.initAnalyticsStart();
      Set(values.analytics.device_gid, analytics.initDeviceGid());
      analytics.setAnalyticEventName(values.analytics.analytic_event_name);
      analytics.setSensorName(values.analytics.sensor_name);
      analytics.setActivity(values.analytics.activity);
      const auto& ids = values.analytics.target_ids;
      analytics.setTargetIds({ids.data(), ids.size()});
      break;
    }
  }
}

void Add(Capnp::Gid::Reader gid, Sum* sum) {
  sum->Text(TextOf(gid.getId()));
  sum->Text(TextOf(gid.getDataStoreId()));
  sum->Text(TextOf(gid.getServerId()));
  sum->Text(TextOf(gid.getClusterId()));
  sum->Number(gid.getType());
}

void AddMotion(Capnp::Motion::Reader motion, Sum* sum) {
  sum->Text(TextOf(motion.getDeviceId()));
  Add(motion.getDeviceGid(), sum);
}

void Add(Capnp::Event::Reader event, Sum* sum) {
  sum->Number(event.getThisId());
  sum->Number(event.getLinkedEventId());
  sum->Number(event.getTimestamp());
  sum->Number(event.getEventType());
  const auto trigger = event.getRecordTriggerParams();
  sum->Number(trigger.getPrePostRecordTime());
  sum->Number(trigger.getIsPrePost() ? 1 : 0);
  sum->Number(trigger.getTriggerJiffy());
  sum->Number(trigger.getIsTriggerJiffy() ? 1 : 0);
  Add(event.getOriginatingServerGid(), sum);
  sum->Number(event.getOriginatingEventId());
  sum->Text(TextOf(event.getOriginatingServerName()));
  const auto payload = event.getPayload();
  switch (payload.which()) {
    case Capnp::Event::Payload::MOTION_START:
      AddMotion(payload.getMotionStart(), sum);
      break;
    case Capnp::Event::Payload::MOTION_STOP:
      AddMotion(payload.getMotionStop(), sum);
      break;
    case Capnp::Event::Payload::PLATE_FOUND: {
      const auto plate = payload.getPlateFound();
      sum->Text(TextOf(plate.getDeviceId()));
      Add(plate.getDeviceGid(), sum);
      sum->Text(TextOf(plate.getLicensePlate()));
      sum->Real(plate.getConfidence());
      break;
    }
    case Capnp::Event::Payload::ANALYTICS_START: {
      const auto analytics = payload.getAnalyticsStart();
      Add(analytics.getDeviceGid(), sum);
      sum->Text(TextOf(analytics.getAnalyticEventName()));
      sum->Text(TextOf(analytics.getSensorName()));
      sum->Number(analytics.getActivity());
      for (const std::uint32_t id : analytics.getTargetIds()) sum->Number(id);
      break;
    }
  }
}

class CapnProto : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    // A builder may begin in memory of the caller, which it wants cleared.
    std::memset(scratch_.data(), 0, used_ * sizeof(capnp::word));
    capnp::MallocMessageBuilder message({scratch_.data(), scratch_.size()});
    auto result = message.initRoot<Capnp::QueryResult>();
    Set(values.gid, result.initGid());
    auto pairs = result.initResults(static_cast<unsigned>(values.pairs.size()));
    for (std::size_t i = 0; i < values.pairs.size(); ++i) {
      const PairValues& pair_values = values.pairs[i];
      auto pair = pairs[static_cast<unsigned>(i)];
      Set(pair_values.event, pair.initEvent());
      if (pair_values.linked_event) Set(*pair_values.linked_event, pair.initLinkedEvent());
    }
    const std::size_t words = capnp::computeSerializedSizeInWords(message);
    bytes_.resize(words);
    kj::ArrayOutputStream output(
        {reinterpret_cast<kj::byte*>(bytes_.data()), words * sizeof(capnp::word)});
    capnp::writeMessage(output, message);
    used_ = std::min(words, scratch_.size());
    return {reinterpret_cast<const char*>(bytes_.data()), words * sizeof(capnp::word)};
  }

  std::uint64_t Decode(std::string_view bytes) override {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = std::uint64_t{1} << 40;
    capnp::FlatArrayMessageReader message(
        {reinterpret_cast<const capnp::word*>(bytes.data()), bytes.size() / sizeof(capnp::word)},
        options);
    const auto result = message.getRoot<Capnp::QueryResult>();
    Sum sum;
    Add(result.getGid(), &sum);
    for (const auto pair : result.getResults()) {
      Add(pair.getEvent(), &sum);
      if (pair.hasLinkedEvent()) Add(pair.getLinkedEvent(), &sum);
    }
    return sum.value();
  }

 private:
  // As large as the message of 1,000 pairs; a larger one gets segments of its own.
  std::vector<capnp::word> scratch_ = std::vector<capnp::word>(std::size_t{1} << 17);
  std::size_t used_ = 0;
  std::vector<capnp::word> bytes_;
};

}  // namespace

std::unique_ptr<Codec> MakeCapnProto() { return std::make_unique<CapnProto>(); }

}  // namespace CmnSys::Bench
