// A plug-in that reads the messages of another one, as objects and as bytes, and deletes them.

#include <memory>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"

extern "C" __attribute__((visibility("default"))) bool ReadAndDelete(
    google::protobuf::Message* message) {
  using Pb::CmnSys::Events::Event;
  using Pb::CmnSys::Events::event_device_motion_start;
  const std::unique_ptr<google::protobuf::Message> owner(message);
  const auto* event = dynamic_cast<const Event*>(message);
  Event parsed;
  return event != nullptr && event->GetDescriptor() == Event::descriptor() &&
         event->GetExtension(event_device_motion_start).device_id() == "camera" &&
         parsed.ParseFromString(message->SerializeAsString()) &&
         parsed.GetExtension(event_device_motion_start).device_id() == "camera";
}
