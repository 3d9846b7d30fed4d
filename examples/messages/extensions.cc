// An event and its payload, which is an extension.

#include <iostream>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"

namespace {

using Pb::CmnSys::Events::Event;

Event MotionStart(const std::string& device_id) {
  Event event;
  event.set_event_type(Pb::CmnSys::Events::EVENT_DEVICE_MOTION_START);
  Pb::CmnSys::Events::EventDeviceMotionStart* motion =
      event.MutableExtension(Pb::CmnSys::Events::event_device_motion_start);
  motion->set_device_id(device_id);
  return event;
}

void Handle(const Event& event) {
  switch (event.event_type()) {
    case Pb::CmnSys::Events::EVENT_DEVICE_MOTION_START:
      // The type does not promise the payload: check before reading it.
      if (!event.HasExtension(Pb::CmnSys::Events::event_device_motion_start)) break;
      std::cout << "motion on "
                << event.GetExtension(Pb::CmnSys::Events::event_device_motion_start).device_id()
                << '\n';
      return;
    default:
      break;
  }
  std::cout << "an event without a payload that we know: "
            << Pb::CmnSys::Events::EventType_Name(event.event_type()) << '\n';
}

}  // namespace

int main() {
  Event received;
  if (!received.ParseFromString(MotionStart("camera-12").SerializeAsString())) return 1;
  Handle(received);
  Handle(Event());
  return 0;
}
