#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/Vendor/User.pb.h"

int main() {
  Pb::CmnSys::Events::Event event;
  event.MutableExtension(Vendor::User::event_vendor_sensor)->mutable_gid()->set_id("sensor");
  Pb::CmnSys::Events::Event copy;
  const bool known = copy.ParseFromString(event.SerializeAsString()) &&
                     copy.GetExtension(Vendor::User::event_vendor_sensor).gid().id() == "sensor";
  return known && Vendor::User::Sensors::descriptor()->method_count() == 1 ? 0 : 1;
}
