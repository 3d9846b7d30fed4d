// Reading in place: views of the library's own wire format.

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "CmnSys/View/Validate.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.view.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.view.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"
#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using Pb::CmnSys::GidView;
using Pb::CmnSys::Events::EventPairView;
using Pb::CmnSys::Events::EventView;
using Pb::CmnSys::QueriesResult::QueryResultView;
namespace Events = Pb::CmnSys::Events;

void Add(const GidView& gid, Sum* sum) {
  sum->Text(gid.id());
  sum->Text(gid.data_store_id());
  sum->Text(gid.server_id());
  sum->Text(gid.cluster_id());
  sum->Number(gid.type());
}

template <typename MotionView>
void AddMotion(const MotionView& motion, Sum* sum) {
  sum->Text(motion.device_id());
  Add(motion.device_gid(), sum);
}

void Add(const EventView& event, Sum* sum) {
  sum->Number(event.this_id());
  sum->Number(event.linked_event_id());
  sum->Number(event.timestamp());
  sum->Number(event.event_type());
  const auto trigger = event.record_trigger_params();
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
      const auto plate = event.GetExtension(Events::event_device_lpr_plate_found);
      sum->Text(plate.device_id());
      Add(plate.device_gid(), sum);
      sum->Text(plate.license_plate());
      sum->Real(plate.confidence());
      break;
    }
    case Events::EVENT_DEVICE_ANALYTICS_START: {
      const auto analytics = event.GetExtension(Events::event_device_analytics_start);
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

std::uint64_t SumOf(const QueryResultView& result) {
  Sum sum;
  Add(result.gid(), &sum);
  for (const EventPairView pair : result.query_result_system_events().results()) {
    Add(pair.event(), &sum);
    if (pair.has_linked_event()) Add(pair.linked_event(), &sum);
  }
  return sum.value();
}

// Views only read; the bytes are those of the library.
class Views : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    if (!ours_) ours_ = MakeOursReused();
    return ours_->Encode(values);
  }

  std::uint64_t Decode(std::string_view bytes) override { return SumOf(QueryResultView(bytes)); }

 private:
  std::unique_ptr<Codec> ours_;
};

class ValidatedViews : public Views {
 public:
  std::uint64_t Decode(std::string_view bytes) override {
    if (!View::Validate<QueryResultView>(bytes)) throw std::runtime_error("views: bytes not valid");
    return Views::Decode(bytes);
  }
};

}  // namespace

std::unique_ptr<Codec> MakeViews() { return std::make_unique<Views>(); }
std::unique_ptr<Codec> MakeValidatedViews() { return std::make_unique<ValidatedViews>(); }

}  // namespace CmnSys::Bench
