// What server and client have to agree on besides the schema.

#ifndef QUERY_RPC_EXAMPLE_NAMES_H_
#define QUERY_RPC_EXAMPLE_NAMES_H_

namespace QueryRpcExample {

// The stream of Pb.CmnSys.Notifications.Notification. Clients subscribe to it with a
// Pb.Rpc.SvcEvents.EventNotificationSubscribeReq, whose filter names the event types that they want
// to hear of; EVENT_ALL, or an empty filter, stands for all.
inline constexpr char kPushService[] = "Example.NotificationPush";
inline constexpr char kPushMethod[] = "Subscribe";

}  // namespace QueryRpcExample

#endif  // QUERY_RPC_EXAMPLE_NAMES_H_
