// XML by gSOAP's data binding: classes and their readers and writers generated from events.gsoap.

#include <istream>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "ev.nsmap"
#include "gsoapH.h"
#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

ev__Gid* Build(const GidValues& values, struct soap* soap) {
  ev__Gid* const gid = soap_new_ev__Gid(soap);
  gid->id = values.id;
  gid->dataStoreId = values.data_store_id;
  gid->serverId = values.server_id;
  gid->clusterId = values.cluster_id;
  gid->type = values.type;
  return gid;
}

ev__Motion* Build(const MotionValues& values, struct soap* soap) {
  ev__Motion* const motion = soap_new_ev__Motion(soap);
  motion->deviceId = values.device_id;
  motion->deviceGid = Build(values.device_gid, soap);
  return motion;
}

ev__Event* Build(const EventValues& values, struct soap* soap) {
  ev__Event* const event = soap_new_ev__Event(soap);
  event->thisId = values.this_id;
  event->linkedEventId = values.linked_event_id;
  event->timestamp = values.timestamp;
  event->eventType = static_cast<int>(values.kind);
  event->originatingEventId = values.originating_event_id;
  event->originatingServerName = values.originating_server_name;
  event->originatingServerGid = Build(values.originating_server_gid, soap);
  event->recordTriggerParams = soap_new_ev__RecordTriggerParams(soap);
  event->recordTriggerParams->prePostRecordTime = values.pre_post_record_time;
  event->recordTriggerParams->isPrePost = values.is_pre_post;
  event->recordTriggerParams->triggerJiffy = values.trigger_jiffy;
  event->recordTriggerParams->isTriggerJiffy = values.is_trigger_jiffy;
  switch (values.kind) {
    case EventKind::kMotionStart:
      event->motionStart = Build(values.motion, soap);
      break;
    case EventKind::kMotionStop:
      event->motionStop = Build(values.motion, soap);
      break;
    case EventKind::kPlateFound:
      event->plateFound = soap_new_ev__PlateFound(soap);
      event->plateFound->deviceId = values.plate.device_id;
      event->plateFound->deviceGid = Build(values.plate.device_gid, soap);
      event->plateFound->licensePlate = values.plate.license_plate;
      event->plateFound->confidence = values.plate.confidence;
      break;
    case EventKind::kAnalyticsStart:
      event->analyticsStart = soap_new_ev__AnalyticsStart(soap);
      event->analyticsStart->deviceGid = Build(values.analytics.device_gid, soap);
      event->analyticsStart->analyticEventName = values.analytics.analytic_event_name;
      event->analyticsStart->sensorName = values.analytics.sensor_name;
      event->analyticsStart->activity = values.analytics.activity;
      event->analyticsStart->targetId = values.analytics.target_ids;
      break;
  }
  return event;
}

void Add(const ev__Gid& gid, Sum* sum) {
  sum->Text(gid.id);
  sum->Text(gid.dataStoreId);
  sum->Text(gid.serverId);
  sum->Text(gid.clusterId);
  sum->Number(gid.type);
}

void Add(const ev__Event& event, Sum* sum) {
  sum->Number(event.thisId);
  sum->Number(event.linkedEventId);
  sum->Number(event.timestamp);
  sum->Number(event.eventType);
  sum->Number(event.recordTriggerParams->prePostRecordTime);
  sum->Number(event.recordTriggerParams->isPrePost ? 1 : 0);
  sum->Number(event.recordTriggerParams->triggerJiffy);
  sum->Number(event.recordTriggerParams->isTriggerJiffy ? 1 : 0);
  Add(*event.originatingServerGid, sum);
  sum->Number(event.originatingEventId);
  sum->Text(event.originatingServerName);
  for (const ev__Motion* motion : {event.motionStart, event.motionStop}) {
    if (motion == nullptr) continue;
    sum->Text(motion->deviceId);
    Add(*motion->deviceGid, sum);
  }
  if (event.plateFound != nullptr) {
    sum->Text(event.plateFound->deviceId);
    Add(*event.plateFound->deviceGid, sum);
    sum->Text(event.plateFound->licensePlate);
    sum->Real(event.plateFound->confidence);
  }
  if (event.analyticsStart != nullptr) {
    Add(*event.analyticsStart->deviceGid, sum);
    sum->Text(event.analyticsStart->analyticEventName);
    sum->Text(event.analyticsStart->sensorName);
    sum->Number(event.analyticsStart->activity);
    for (const unsigned int id : event.analyticsStart->targetId) sum->Number(id);
  }
}

// Appends to a string.
class StringSink : public std::streambuf {
 public:
  std::string text;

 protected:
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    text.append(data, static_cast<std::size_t>(size));
    return size;
  }

  int_type overflow(int_type c) override {
    text.push_back(traits_type::to_char_type(c));
    return c;
  }
};

// Reads the bytes where they are.
class ViewSource : public std::streambuf {
 public:
  explicit ViewSource(std::string_view bytes) {
    char* const begin = const_cast<char*>(bytes.data());
    setg(begin, begin, begin + bytes.size());
  }
};

class Gsoap : public Codec {
 public:
  Gsoap() : soap_(soap_new1(SOAP_XML_TREE | SOAP_C_UTFSTRING)) {}

  ~Gsoap() override {
    Drop();
    soap_free(soap_);
  }

  std::string_view Encode(const QueryResultValues& values) override {
    ev__QueryResult* const result = soap_new_ev__QueryResult(soap_);
    result->gid = Build(values.gid, soap_);
    for (const PairValues& pair_values : values.pairs) {
      ev__Pair* const pair = soap_new_ev__Pair(soap_);
      pair->event = Build(pair_values.event, soap_);
      if (pair_values.linked_event) pair->linkedEvent = Build(*pair_values.linked_event, soap_);
      result->pair.push_back(pair);
    }
    sink_.text.clear();
    std::ostream output(&sink_);
    soap_->os = &output;
    const int error = soap_write_ev__QueryResult(soap_, result);
    soap_->os = nullptr;
    Drop();
    if (error != SOAP_OK) throw std::runtime_error("gSOAP: not written");
    return sink_.text;
  }

  std::uint64_t Decode(std::string_view xml) override {
    ViewSource source(xml);
    std::istream input(&source);
    ev__QueryResult* const result = soap_new_ev__QueryResult(soap_);
    soap_->is = &input;
    const int error = soap_read_ev__QueryResult(soap_, result);
    soap_->is = nullptr;
    if (error != SOAP_OK) throw std::runtime_error("gSOAP: not read");
    Sum sum;
    Add(*result->gid, &sum);
    for (const ev__Pair* pair : result->pair) {
      Add(*pair->event, &sum);
      if (pair->linkedEvent != nullptr) Add(*pair->linkedEvent, &sum);
    }
    Drop();
    return sum.value();
  }

 private:
  void Drop() {
    soap_destroy(soap_);
    soap_end(soap_);
  }

  struct soap* soap_;
  StringSink sink_;
};

}  // namespace

std::unique_ptr<Codec> MakeGsoap() { return std::make_unique<Gsoap>(); }

}  // namespace CmnSys::Bench
