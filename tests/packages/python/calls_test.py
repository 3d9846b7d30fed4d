#!/usr/bin/env python3
"""A query, a failure and a push over mutual TLS, with the generated stubs."""

import sys

import grpc
from ProtoBuf.CmnSys.CmnSys import (
    Events_pb2,
    Notifications_pb2,
    NotificationsDerived_pb2,
    Query_pb2,
    SvcEvents_pb2,
    SvcQuery_pb2,
    SvcQuery_pb2_grpc,
)

from cmnsysprotobuf import payload, select

address, certificates = sys.argv[1:]
ca, key, certificate = (
    open(f"{certificates}/{name}", "rb").read() for name in ("ca.pem", "client.key", "client.pem")
)
channel = grpc.secure_channel(address, grpc.ssl_channel_credentials(ca, key, certificate))
service = SvcQuery_pb2_grpc.QueryStub(channel)

request = SvcQuery_pb2.InitiateReq()
search = select(request.query, Query_pb2.QUERY_TYPE_SYSTEM_EVENTS_TYPE)
search.time_end = 2**62
search.event_types.append(Events_pb2.EVENT_ALL)
response = service.Initiate(request, timeout=30)
results = list(payload(response.query_result).results)
gid = response.query_result.gid
while response.b_continue:
    response = service.Continue(SvcQuery_pb2.ContinueReq(query_gid=gid), timeout=30)
    results += payload(response.query_result).results
assert [pair.event.this_id for pair in results] == list(range(1, 29)), results
assert payload(results[2].event).device_id == "gate-1", results[2]

try:
    service.Continue(SvcQuery_pb2.ContinueReq(query_gid=gid), timeout=30)
    raise AssertionError("a finished query went on")
except grpc.RpcError as error:
    assert "no query with the gid" in error.details(), error

# The method is the server's own; its messages are the schema's.
subscribe = channel.unary_stream(
    "/Example.NotificationPush/Subscribe",
    request_serializer=SvcEvents_pb2.EventNotificationSubscribeReq.SerializeToString,
    response_deserializer=Notifications_pb2.Notification.FromString,
)
stream = subscribe(
    SvcEvents_pb2.EventNotificationSubscribeReq(
        event_filter=[Events_pb2.EVENT_DEVICE_CONNECTED]
    ),
    timeout=60,
)
pushed = payload(next(stream))
assert isinstance(pushed, NotificationsDerived_pb2.NotificationEvent), pushed
assert payload(pushed.event).DESCRIPTOR.name == "EventDeviceConnected", pushed
stream.cancel()
