// Sends each event to those who asked for its kind, without parsing it.

#ifndef ROUTER_EXAMPLE_ROUTER_H_
#define ROUTER_EXAMPLE_ROUTER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/View/WriteBuffer.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"

// Which events one receiver wants.
struct Subscription {
  Pb::CmnSys::Events::EventType type = {};
  std::string server_id;        // Of the server that the event came from; empty for all.
  std::int64_t not_before = 0;  // The earliest timestamp.
  std::function<void(std::string_view event)> receive;
};

class Router {
 public:
  void Add(Subscription subscription);

  // Gives the bytes of one event, as they are, to all who want it. Returns false for bytes that are
  // no event; they go to nobody.
  bool Route(std::string_view event) const;

 private:
  std::vector<Subscription> subscriptions_;
};

// Writes the event into the buffer with the name of the server that it came from, and the rest as
// it is. Returns the bytes, which stay until the buffer is used again.
std::string_view WithServerName(std::string_view event, std::string_view name,
                                CmnSys::View::WriteBuffer* buffer);

#endif  // ROUTER_EXAMPLE_ROUTER_H_
