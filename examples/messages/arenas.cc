// Many messages that live and end together.

#include <google/protobuf/arena.h>

#include <iostream>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"

namespace {

using Pb::CmnSys::Events::EventList;

int CountEvents(const std::string& bytes) {
  google::protobuf::Arena arena;
  // Never delete what an arena made; it ends with the arena.
  auto* list = google::protobuf::Arena::CreateMessage<EventList>(&arena);
  if (!list->ParseFromString(bytes)) return -1;
  return list->events_size();
}

}  // namespace

int main() {
  EventList list;
  for (int i = 0; i < 1000; ++i) list.add_events()->set_this_id(i);
  const int count = CountEvents(list.SerializeAsString());
  std::cout << count << " events\n";
  return count == 1000 ? 0 : 1;
}
