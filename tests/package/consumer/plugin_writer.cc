// A plug-in that makes messages.

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"

extern "C" __attribute__((visibility("default"))) google::protobuf::Message* NewEvent() {
  auto* event = new Pb::CmnSys::Events::Event;
  event->MutableExtension(Pb::CmnSys::Events::event_device_motion_start)->set_device_id("camera");
  return event;
}
