// The library as programs use it: one message used again and again, a message on an arena, a new
// message each time; and the JSON of CmnSysUtil.

#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Json.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using google::protobuf::Arena;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::QueriesResult::QueryResult;
namespace Events = Pb::CmnSys::Events;

void Set(const GidValues& values, Gid* gid) {
  gid->set_id(values.id);
  gid->set_data_store_id(values.data_store_id);
  gid->set_server_id(values.server_id);
  gid->set_cluster_id(values.cluster_id);
  gid->set_type(static_cast<Pb::CmnSys::GidType>(values.type));
}

template <typename Motion>
void SetMotion(const MotionValues& values, Motion* motion) {
  motion->set_device_id(values.device_id);
  Set(values.device_gid, motion->mutable_device_gid());
}

void Set(const EventValues& values, Event* event) {
  event->set_this_id(values.this_id);
  event->set_linked_event_id(values.linked_event_id);
  event->set_timestamp(values.timestamp);
  event->set_event_type(static_cast<Events::EventType>(values.kind));
  auto* const trigger = event->mutable_record_trigger_params();
  trigger->set_pre_post_record_time(values.pre_post_record_time);
  trigger->set_is_pre_post(values.is_pre_post);
  trigger->set_trigger_jiffy(values.trigger_jiffy);
  trigger->set_is_trigger_jiffy(values.is_trigger_jiffy);
  Set(values.originating_server_gid, event->mutable_originating_server_gid());
  event->set_originating_event_id(values.originating_event_id);
  event->set_originating_server_name(values.originating_server_name);
  switch (values.kind) {
    case EventKind::kMotionStart:
      SetMotion(values.motion, event->MutableExtension(Events::event_device_motion_start));
      break;
    case EventKind::kMotionStop:
      SetMotion(values.motion, event->MutableExtension(Events::event_device_motion_stop));
      break;
    case EventKind::kPlateFound: {
      auto* const plate = event->MutableExtension(Events::event_device_lpr_plate_found);
      plate->set_device_id(values.plate.device_id);
      Set(values.plate.device_gid, plate->mutable_device_gid());
      plate->set_license_plate(values.plate.license_plate);
      plate->set_confidence(values.plate.confidence);
      break;
    }
    case EventKind::kAnalyticsStart: {
      auto* const analytics = event->MutableExtension(Events::event_device_analytics_start);
      Set(values.analytics.device_gid, analytics->mutable_device_gid());
      analytics->set_analytic_event_name(values.analytics.analytic_event_name);
      analytics->set_sensor_name(values.analytics.sensor_name);
      analytics->set_activity(
          static_cast<Pb::CmnSys::Analytics::ActivityType>(values.analytics.activity));
      for (const std::uint32_t id : values.analytics.target_ids) analytics->add_target_ids(id);
      break;
    }
  }
}

void Set(const QueryResultValues& values, QueryResult* result) {
  result->set_type(Pb::CmnSys::QueriesResult::QUERY_RESULT_TYPE_SYSTEM_EVENTS);
  Set(values.gid, result->mutable_gid());
  auto* const pairs = result->mutable_query_result_system_events()->mutable_results();
  pairs->Reserve(static_cast<int>(values.pairs.size()));
  for (const PairValues& pair_values : values.pairs) {
    auto* const pair = pairs->Add();
    Set(pair_values.event, pair->mutable_event());
    if (pair_values.linked_event) Set(*pair_values.linked_event, pair->mutable_linked_event());
  }
}

void Add(const Gid& gid, Sum* sum) {
  sum->Text(gid.id());
  sum->Text(gid.data_store_id());
  sum->Text(gid.server_id());
  sum->Text(gid.cluster_id());
  sum->Number(gid.type());
}

template <typename Motion>
void AddMotion(const Motion& motion, Sum* sum) {
  sum->Text(motion.device_id());
  Add(motion.device_gid(), sum);
}

void Add(const Event& event, Sum* sum) {
  sum->Number(event.this_id());
  sum->Number(event.linked_event_id());
  sum->Number(event.timestamp());
  sum->Number(event.event_type());
  const auto& trigger = event.record_trigger_params();
  sum->Number(trigger.pre_post_record_time());
  sum->Number(trigger.is_pre_post() ? 1 : 0);
  sum->Number(trigger.trigger_jiffy());
  sum->Number(trigger.is_trigger_jiffy() ? 1 : 0);
  Add(event.originating_server_gid(), sum);
  sum->Number(event.originating_event_id());
  sum->Text(event.originating_server_name());
  switch (event.event_type()) {
    case Events::EVENT_DEVICE_MOTION_START:
      AddMotion(event.GetExtension(Events::event_device_motion_start), sum);
      break;
    case Events::EVENT_DEVICE_MOTION_STOP:
      AddMotion(event.GetExtension(Events::event_device_motion_stop), sum);
      break;
    case Events::EVENT_DEVICE_LPR_PLATE_FOUND: {
      const auto& plate = event.GetExtension(Events::event_device_lpr_plate_found);
      sum->Text(plate.device_id());
      Add(plate.device_gid(), sum);
      sum->Text(plate.license_plate());
      sum->Real(plate.confidence());
      break;
    }
    case Events::EVENT_DEVICE_ANALYTICS_START: {
      const auto& analytics = event.GetExtension(Events::event_device_analytics_start);
      Add(analytics.device_gid(), sum);
      sum->Text(analytics.analytic_event_name());
      sum->Text(analytics.sensor_name());
      sum->Number(analytics.activity());
      for (const std::uint32_t id : analytics.target_ids()) sum->Number(id);
      break;
    }
    default:
      break;
  }
}

std::uint64_t SumOf(const QueryResult& result) {
  Sum sum;
  Add(result.gid(), &sum);
  for (const Events::EventPair& pair : result.query_result_system_events().results()) {
    Add(pair.event(), &sum);
    if (pair.has_linked_event()) Add(pair.linked_event(), &sum);
  }
  return sum.value();
}

void Require(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

void Parse(std::string_view bytes, QueryResult* result) {
  Require(result->ParseFromArray(bytes.data(), static_cast<int>(bytes.size())),
          "ours: bytes do not parse");
}

class Reused : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    written_.Clear();
    Set(values, &written_);
    written_.SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    Parse(bytes, &read_);
    return SumOf(read_);
  }

 private:
  QueryResult written_;
  QueryResult read_;
  std::string bytes_;
};

// The library's part of it: writes a message that is built already, reads bytes and no field.
class BytesAlone : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    if (built_of_ != &values) {
      written_.Clear();
      Set(values, &written_);
      built_of_ = &values;
    }
    written_.SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    Parse(bytes, &read_);
    if (sum_ == 0) sum_ = SumOf(read_);
    return sum_;
  }

 private:
  const QueryResultValues* built_of_ = nullptr;
  std::uint64_t sum_ = 0;
  QueryResult written_;
  QueryResult read_;
  std::string bytes_;
};

// Does something with a message that has been parsed already, instead of reading it.
class Parsed : public BytesAlone {
 public:
  std::uint64_t Decode(std::string_view bytes) override {
    if (sum_ == 0) {
      Parse(bytes, &parsed_);
      sum_ = SumOf(parsed_);
    }
    Use(parsed_);
    return sum_;
  }

 private:
  virtual void Use(const QueryResult& result) = 0;

  std::uint64_t sum_ = 0;
  QueryResult parsed_;
};

class CheckAlone : public Parsed {
  void Use(const QueryResult& result) override {
    Require(Util::Check(result).empty(), "ours: the checker refuses the message");
  }
};

// Asks reflection for every field and its value: what everything that works by it takes at least.
class WalkAlone : public Parsed {
  void Use(const QueryResult& result) override { benchmark::DoNotOptimize(Walk(result, 0)); }

  std::size_t Walk(const Message& message, std::size_t depth) {
    const Reflection& reflection = *message.GetReflection();
    if (lists_.size() <= depth) lists_.emplace_back();
    reflection.ListFields(message, &lists_[depth]);
    std::size_t sum = 0;
    for (std::size_t i = 0; i < lists_[depth].size(); ++i) {
      const FieldDescriptor* const field = lists_[depth][i];
      if (!field->is_repeated()) {
        sum += Value(message, reflection, field, depth);
        continue;
      }
      const int size = reflection.FieldSize(message, field);
      for (int j = 0; j < size; ++j) {
        sum += field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE
                   ? Walk(reflection.GetRepeatedMessage(message, field, j), depth + 1)
                   : reflection.GetRepeatedUInt32(message, field, j);
      }
    }
    return sum;
  }

  std::size_t Value(const Message& message, const Reflection& reflection,
                    const FieldDescriptor* field, std::size_t depth) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return Walk(reflection.GetMessage(message, field), depth + 1);
      case FieldDescriptor::CPPTYPE_STRING:
        return reflection.GetStringReference(message, field, &scratch_).size();
      case FieldDescriptor::CPPTYPE_ENUM:
        return static_cast<std::size_t>(reflection.GetEnumValue(message, field));
      case FieldDescriptor::CPPTYPE_INT64:
        return static_cast<std::size_t>(reflection.GetInt64(message, field));
      case FieldDescriptor::CPPTYPE_UINT32:
        return reflection.GetUInt32(message, field);
      case FieldDescriptor::CPPTYPE_BOOL:
        return reflection.GetBool(message, field) ? 1 : 0;
      case FieldDescriptor::CPPTYPE_FLOAT:
        return static_cast<std::size_t>(reflection.GetFloat(message, field));
      default:
        throw std::runtime_error("the values have no such field");
    }
  }

  std::vector<std::vector<const FieldDescriptor*>> lists_;
  std::string scratch_;
};

class Heap : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    QueryResult result;
    Set(values, &result);
    result.SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    QueryResult result;
    Parse(bytes, &result);
    return SumOf(result);
  }

 private:
  std::string bytes_;
};

class OnArena : public Codec {
 public:
  // An arena asks for memory when the block is used up.
  explicit OnArena(std::size_t block) : block_(block), arena_(block_.data(), block_.size()) {}

  std::string_view Encode(const QueryResultValues& values) override {
    auto* const result = Arena::CreateMessage<QueryResult>(&arena_);
    Set(values, result);
    result->SerializeToString(&bytes_);
    arena_.Reset();
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    auto* const result = Arena::CreateMessage<QueryResult>(&arena_);
    Parse(bytes, result);
    const std::uint64_t sum = SumOf(*result);
    arena_.Reset();
    return sum;
  }

 private:
  std::vector<char> block_;
  Arena arena_;
  std::string bytes_;
};

class Json : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    written_.Clear();
    Set(values, &written_);
    Util::JsonWriteOptions options;
    options.indent = 0;
    Require(!Util::WriteJson(written_, options, &json_), "our JSON: not written");
    return json_;
  }

  std::uint64_t Decode(std::string_view json) override {
    Require(!Util::ReadJson(json, {}, &read_), "our JSON: not read");
    return SumOf(read_);
  }

 private:
  QueryResult written_;
  QueryResult read_;
  std::string json_;
};

// The utilities' part of it: writes a message that is built already, reads no field of what it
// read.
class JsonAlone : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    if (built_of_ != &values) {
      written_.Clear();
      Set(values, &written_);
      built_of_ = &values;
    }
    Util::JsonWriteOptions options;
    options.indent = 0;
    Require(!Util::WriteJson(written_, options, &json_), "our JSON: not written");
    return json_;
  }

  std::uint64_t Decode(std::string_view json) override {
    Require(!Util::ReadJson(json, {}, &read_), "our JSON: not read");
    if (sum_ == 0) sum_ = SumOf(read_);
    return sum_;
  }

 private:
  const QueryResultValues* built_of_ = nullptr;
  std::uint64_t sum_ = 0;
  QueryResult written_;
  QueryResult read_;
  std::string json_;
};

}  // namespace

std::unique_ptr<Codec> MakeOursReused() { return std::make_unique<Reused>(); }
std::unique_ptr<Codec> MakeOursBytesAlone() { return std::make_unique<BytesAlone>(); }
std::unique_ptr<Codec> MakeOursHeap() { return std::make_unique<Heap>(); }
std::unique_ptr<Codec> MakeOursArena() { return std::make_unique<OnArena>(std::size_t{4} << 20); }
std::unique_ptr<Codec> MakeOursArenaGrowing() { return std::make_unique<OnArena>(0); }
std::unique_ptr<Codec> MakeOursCheckAlone() { return std::make_unique<CheckAlone>(); }
std::unique_ptr<Codec> MakeOursWalkAlone() { return std::make_unique<WalkAlone>(); }
std::unique_ptr<Codec> MakeOursJson() { return std::make_unique<Json>(); }
std::unique_ptr<Codec> MakeOursJsonAlone() { return std::make_unique<JsonAlone>(); }

}  // namespace CmnSys::Bench
