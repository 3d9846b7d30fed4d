// FlatBuffers: read in place after a check of the whole, and turned into objects of its own.

#include <stdexcept>
#include <vector>

#include "events_generated.h"
#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

Offset<flatbuffers::Vector<std::uint8_t>> BytesOf(const std::string& text, FlatBufferBuilder& to) {
  return to.CreateVector(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

std::string_view TextOf(const flatbuffers::Vector<std::uint8_t>* bytes) {
  return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}

std::string_view TextOf(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view TextOf(const flatbuffers::String* text) { return {text->c_str(), text->size()}; }

Offset<Flat::Gid> Build(const GidValues& values, FlatBufferBuilder& to) {
  const auto id = BytesOf(values.id, to);
  const auto data_store_id = BytesOf(values.data_store_id, to);
  const auto server_id = BytesOf(values.server_id, to);
  const auto cluster_id = BytesOf(values.cluster_id, to);
  return Flat::CreateGid(to, id, data_store_id, server_id, cluster_id, values.type);
}

struct BuiltPayload {
  Flat::Payload type;
  Offset<void> payload;
};

BuiltPayload BuildPayload(const EventValues& values, FlatBufferBuilder& to) {
  switch (values.kind) {
    case EventKind::kMotionStart: {
      const auto device_id = to.CreateString(values.motion.device_id);
      const auto gid = Build(values.motion.device_gid, to);
      return {Flat::Payload_MotionStart, Flat::CreateMotionStart(to, device_id, gid).Union()};
    }
    case EventKind::kMotionStop: {
      const auto device_id = to.CreateString(values.motion.device_id);
      const auto gid = Build(values.motion.device_gid, to);
      return {Flat::Payload_MotionStop, Flat::CreateMotionStop(to, device_id, gid).Union()};
    }
    case EventKind::kPlateFound: {
      const auto device_id = to.CreateString(values.plate.device_id);
      const auto gid = Build(values.plate.device_gid, to);
      const auto plate = to.CreateString(values.plate.license_plate);
      return {Flat::Payload_PlateFound,
              Flat::CreatePlateFound(to, device_id, gid, plate, values.plate.confidence).Union()};
    }
    case EventKind::kAnalyticsStart:
      break;
  }
  const auto gid = Build(values.analytics.device_gid, to);
  const auto name = to.CreateString(values.analytics.analytic_event_name);
  const auto sensor = to.CreateString(values.analytics.sensor_name);
  const auto ids = to.CreateVector(values.analytics.target_ids);
  return {
      Flat::Payload_AnalyticsStart,
      Flat::CreateAnalyticsStart(to, gid, name, sensor, values.analytics.activity, ids).Union()};
}

Offset<Flat::Event> Build(const EventValues& values, FlatBufferBuilder& to) {
  const auto trigger =
      Flat::CreateRecordTriggerParams(to, values.pre_post_record_time, values.is_pre_post,
                                      values.trigger_jiffy, values.is_trigger_jiffy);
  const auto server_gid = Build(values.originating_server_gid, to);
  const auto server_name = to.CreateString(values.originating_server_name);
  const BuiltPayload built = BuildPayload(values, to);
  return Flat::CreateEvent(to, values.this_id, values.linked_event_id, values.timestamp,
                           static_cast<int>(values.kind), trigger, server_gid,
                           values.originating_event_id, server_name, built.type, built.payload);
}

void Add(const Flat::Gid& gid, Sum* sum) {
  sum->Text(TextOf(gid.id()));
  sum->Text(TextOf(gid.data_store_id()));
  sum->Text(TextOf(gid.server_id()));
  sum->Text(TextOf(gid.cluster_id()));
  sum->Number(gid.type());
}

template <typename Motion>
void AddMotion(const Motion& motion, Sum* sum) {
  sum->Text(TextOf(motion.device_id()));
  Add(*motion.device_gid(), sum);
}

void Add(const Flat::Event& event, Sum* sum) {
  sum->Number(event.this_id());
  sum->Number(event.linked_event_id());
  sum->Number(event.timestamp());
  sum->Number(event.event_type());
  const auto& trigger = *event.record_trigger_params();
  sum->Number(trigger.pre_post_record_time());
  sum->Number(trigger.is_pre_post() ? 1 : 0);
  sum->Number(trigger.trigger_jiffy());
  sum->Number(trigger.is_trigger_jiffy() ? 1 : 0);
  Add(*event.originating_server_gid(), sum);
  sum->Number(event.originating_event_id());
  sum->Text(TextOf(event.originating_server_name()));
  switch (event.payload_type()) {
    case Flat::Payload_MotionStart:
      AddMotion(*event.payload_as_MotionStart(), sum);
      break;
    case Flat::Payload_MotionStop:
      AddMotion(*event.payload_as_MotionStop(), sum);
      break;
    case Flat::Payload_PlateFound: {
      const auto& plate = *event.payload_as_PlateFound();
      sum->Text(TextOf(plate.device_id()));
      Add(*plate.device_gid(), sum);
      sum->Text(TextOf(plate.license_plate()));
      sum->Real(plate.confidence());
      break;
    }
    case Flat::Payload_AnalyticsStart: {
      const auto& analytics = *event.payload_as_AnalyticsStart();
      Add(*analytics.device_gid(), sum);
      sum->Text(TextOf(analytics.analytic_event_name()));
      sum->Text(TextOf(analytics.sensor_name()));
      sum->Number(analytics.activity());
      for (const std::uint32_t id : *analytics.target_ids()) sum->Number(id);
      break;
    }
    case Flat::Payload_NONE:
      break;
  }
}

void Add(const Flat::GidT& gid, Sum* sum) {
  sum->Text(TextOf(gid.id));
  sum->Text(TextOf(gid.data_store_id));
  sum->Text(TextOf(gid.server_id));
  sum->Text(TextOf(gid.cluster_id));
  sum->Number(gid.type);
}

template <typename Motion>
void AddOwnedMotion(const Motion& motion, Sum* sum) {
  sum->Text(motion.device_id);
  Add(*motion.device_gid, sum);
}

void Add(const Flat::EventT& event, Sum* sum) {
  sum->Number(event.this_id);
  sum->Number(event.linked_event_id);
  sum->Number(event.timestamp);
  sum->Number(event.event_type);
  const auto& trigger = *event.record_trigger_params;
  sum->Number(trigger.pre_post_record_time);
  sum->Number(trigger.is_pre_post ? 1 : 0);
  sum->Number(trigger.trigger_jiffy);
  sum->Number(trigger.is_trigger_jiffy ? 1 : 0);
  Add(*event.originating_server_gid, sum);
  sum->Number(event.originating_event_id);
  sum->Text(event.originating_server_name);
  switch (event.payload.type) {
    case Flat::Payload_MotionStart:
      AddOwnedMotion(*event.payload.AsMotionStart(), sum);
      break;
    case Flat::Payload_MotionStop:
      AddOwnedMotion(*event.payload.AsMotionStop(), sum);
      break;
    case Flat::Payload_PlateFound: {
      const auto& plate = *event.payload.AsPlateFound();
      sum->Text(plate.device_id);
      Add(*plate.device_gid, sum);
      sum->Text(plate.license_plate);
      sum->Real(plate.confidence);
      break;
    }
    case Flat::Payload_AnalyticsStart: {
      const auto& analytics = *event.payload.AsAnalyticsStart();
      Add(*analytics.device_gid, sum);
      sum->Text(analytics.analytic_event_name);
      sum->Text(analytics.sensor_name);
      sum->Number(analytics.activity);
      for (const std::uint32_t id : analytics.target_ids) sum->Number(id);
      break;
    }
    case Flat::Payload_NONE:
      break;
  }
}

class Verified : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    builder_.Clear();
    const auto gid = Build(values.gid, builder_);
    pairs_.clear();
    for (const PairValues& pair : values.pairs) {
      const auto event = Build(pair.event, builder_);
      const auto linked =
          pair.linked_event ? Build(*pair.linked_event, builder_) : Offset<Flat::Event>();
      pairs_.push_back(Flat::CreateEventPair(builder_, event, linked));
    }
    builder_.Finish(Flat::CreateQueryResult(builder_, gid, builder_.CreateVector(pairs_)));
    return {reinterpret_cast<const char*>(builder_.GetBufferPointer()), builder_.GetSize()};
  }

  std::uint64_t Decode(std::string_view bytes) override {
    const auto& result = Root(bytes);
    Sum sum;
    Add(*result.gid(), &sum);
    for (const Flat::EventPair* pair : *result.results()) {
      Add(*pair->event(), &sum);
      if (pair->linked_event() != nullptr) Add(*pair->linked_event(), &sum);
    }
    return sum.value();
  }

 protected:
  static const Flat::QueryResult& Root(std::string_view bytes) {
    constexpr flatbuffers::uoffset_t kDepth = 64;
    constexpr flatbuffers::uoffset_t kTables = 1'000'000'000;
    flatbuffers::Verifier verifier(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size(), kDepth, kTables);
    if (!Flat::VerifyQueryResultBuffer(verifier)) {
      throw std::runtime_error("FlatBuffers: bytes are damaged");
    }
    return *Flat::GetQueryResult(bytes.data());
  }

 private:
  FlatBufferBuilder builder_;
  std::vector<Offset<Flat::EventPair>> pairs_;
};

class Owned : public Verified {
 public:
  std::uint64_t Decode(std::string_view bytes) override {
    Flat::QueryResultT result;
    Root(bytes).UnPackTo(&result);
    Sum sum;
    Add(*result.gid, &sum);
    for (const auto& pair : result.results) {
      Add(*pair->event, &sum);
      if (pair->linked_event != nullptr) Add(*pair->linked_event, &sum);
    }
    return sum.value();
  }
};

}  // namespace

std::unique_ptr<Codec> MakeFlatBuffersVerified() { return std::make_unique<Verified>(); }
std::unique_ptr<Codec> MakeFlatBuffersOwned() { return std::make_unique<Owned>(); }

}  // namespace CmnSys::Bench
