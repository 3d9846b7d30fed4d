// MessagePack with arrays instead of maps: a field is told by its position.

#include <msgpack.hpp>

#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

using Packer = msgpack::packer<msgpack::sbuffer>;
using Array = msgpack::object_array;

void PackBytes(const std::string& text, Packer* to) {
  to->pack_bin(static_cast<std::uint32_t>(text.size()));
  to->pack_bin_body(text.data(), static_cast<std::uint32_t>(text.size()));
}

void Pack(const GidValues& values, Packer* to) {
  to->pack_array(5);
  PackBytes(values.id, to);
  PackBytes(values.data_store_id, to);
  PackBytes(values.server_id, to);
  PackBytes(values.cluster_id, to);
  to->pack(values.type);
}

void PackPayload(const EventValues& values, Packer* to) {
  switch (values.kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      to->pack_array(2);
      to->pack(values.motion.device_id);
      Pack(values.motion.device_gid, to);
      break;
    case EventKind::kPlateFound:
      to->pack_array(4);
      to->pack(values.plate.device_id);
      Pack(values.plate.device_gid, to);
      to->pack(values.plate.license_plate);
      to->pack(values.plate.confidence);
      break;
    case EventKind::kAnalyticsStart:
      to->pack_array(5);
      Pack(values.analytics.device_gid, to);
      to->pack(values.analytics.analytic_event_name);
      to->pack(values.analytics.sensor_name);
      to->pack(values.analytics.activity);
      to->pack(values.analytics.target_ids);
      break;
  }
}

void Pack(const EventValues& values, Packer* to) {
  to->pack_array(9);
  to->pack(values.this_id);
  to->pack(values.linked_event_id);
  to->pack(values.timestamp);
  to->pack(static_cast<int>(values.kind));
  to->pack_array(4);
  to->pack(values.pre_post_record_time);
  to->pack(values.is_pre_post);
  to->pack(values.trigger_jiffy);
  to->pack(values.is_trigger_jiffy);
  Pack(values.originating_server_gid, to);
  to->pack(values.originating_event_id);
  to->pack(values.originating_server_name);
  PackPayload(values, to);
}

// The elements of an array, which must have at least so many.
const msgpack::object* Elements(const msgpack::object& object, std::uint32_t at_least) {
  if (object.type != msgpack::type::ARRAY || object.via.array.size < at_least) {
    throw msgpack::type_error();
  }
  return object.via.array.ptr;
}

void AddText(const msgpack::object& object, Sum* sum) {
  if (object.type != msgpack::type::STR) throw msgpack::type_error();
  sum->Text({object.via.str.ptr, object.via.str.size});
}

void AddBytes(const msgpack::object& object, Sum* sum) {
  if (object.type != msgpack::type::BIN) throw msgpack::type_error();
  sum->Text({object.via.bin.ptr, object.via.bin.size});
}

void AddNumber(const msgpack::object& object, Sum* sum) { sum->Number(object.as<std::int64_t>()); }

void AddGid(const msgpack::object& object, Sum* sum) {
  const msgpack::object* const gid = Elements(object, 5);
  for (int i = 0; i < 4; ++i) AddBytes(gid[i], sum);
  AddNumber(gid[4], sum);
}

void AddPayload(EventKind kind, const msgpack::object& object, Sum* sum) {
  switch (kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop: {
      const msgpack::object* const motion = Elements(object, 2);
      AddText(motion[0], sum);
      AddGid(motion[1], sum);
      break;
    }
    case EventKind::kPlateFound: {
      const msgpack::object* const plate = Elements(object, 4);
      AddText(plate[0], sum);
      AddGid(plate[1], sum);
      AddText(plate[2], sum);
      sum->Real(plate[3].as<float>());
      break;
    }
    case EventKind::kAnalyticsStart: {
      const msgpack::object* const analytics = Elements(object, 5);
      AddGid(analytics[0], sum);
      AddText(analytics[1], sum);
      AddText(analytics[2], sum);
      AddNumber(analytics[3], sum);
      const msgpack::object* const ids = Elements(analytics[4], 0);
      for (std::uint32_t i = 0; i < analytics[4].via.array.size; ++i) AddNumber(ids[i], sum);
      break;
    }
  }
}

void AddEvent(const msgpack::object& object, Sum* sum) {
  const msgpack::object* const event = Elements(object, 9);
  for (int i = 0; i < 4; ++i) AddNumber(event[i], sum);
  const msgpack::object* const trigger = Elements(event[4], 4);
  AddNumber(trigger[0], sum);
  sum->Number(trigger[1].as<bool>() ? 1 : 0);
  AddNumber(trigger[2], sum);
  sum->Number(trigger[3].as<bool>() ? 1 : 0);
  AddGid(event[5], sum);
  AddNumber(event[6], sum);
  AddText(event[7], sum);
  AddPayload(static_cast<EventKind>(event[3].as<int>()), event[8], sum);
}

// Lets texts stay where they are in the bytes.
bool Refer(msgpack::type::object_type, std::size_t, void*) { return true; }

class MessagePack : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    buffer_.clear();
    Packer packer(buffer_);
    packer.pack_array(2);
    Pack(values.gid, &packer);
    packer.pack_array(static_cast<std::uint32_t>(values.pairs.size()));
    for (const PairValues& pair : values.pairs) {
      packer.pack_array(2);
      Pack(pair.event, &packer);
      if (pair.linked_event) {
        Pack(*pair.linked_event, &packer);
      } else {
        packer.pack_nil();
      }
    }
    return {buffer_.data(), buffer_.size()};
  }

  std::uint64_t Decode(std::string_view bytes) override {
    zone_.clear();
    const msgpack::object root = msgpack::unpack(zone_, bytes.data(), bytes.size(), Refer);
    const msgpack::object* const result = Elements(root, 2);
    Sum sum;
    AddGid(result[0], &sum);
    const msgpack::object* const pairs = Elements(result[1], 0);
    for (std::uint32_t i = 0; i < result[1].via.array.size; ++i) {
      const msgpack::object* const pair = Elements(pairs[i], 2);
      AddEvent(pair[0], &sum);
      if (!pair[1].is_nil()) AddEvent(pair[1], &sum);
    }
    return sum.value();
  }

 private:
  msgpack::sbuffer buffer_;
  msgpack::zone zone_{std::size_t{4} << 20};
};

}  // namespace

std::unique_ptr<Codec> MakeMessagePack() { return std::make_unique<MessagePack>(); }

}  // namespace CmnSys::Bench
