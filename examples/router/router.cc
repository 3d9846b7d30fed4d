#include "router.h"

#include <utility>

#include "ProtoBuf/CmnSys/CmnSys.Events.view.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.writer.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"

using Pb::CmnSys::Events::EventView;
using Pb::CmnSys::Events::EventWriter;

void Router::Add(Subscription subscription) { subscriptions_.push_back(std::move(subscription)); }

bool Router::Route(std::string_view event) const {
  // What is passed on has to parse at its receivers.
  if (!CmnSys::View::Validate<EventView>(event)) return false;
  const EventView view(event);
  const std::string_view server_id = view.originating_server_gid().id();
  for (const Subscription& wanted : subscriptions_) {
    if (view.event_type() == wanted.type && view.timestamp() >= wanted.not_before &&
        (wanted.server_id.empty() || wanted.server_id == server_id)) {
      wanted.receive(event);
    }
  }
  return true;
}

std::string_view WithServerName(std::string_view event, std::string_view name,
                                CmnSys::View::WriteBuffer* buffer) {
  EventWriter writer(buffer);
  writer.AppendFields(event);
  writer.set_originating_server_name(name);
  writer.Close();
  return buffer->bytes();
}
