#!/usr/bin/python3
"""A client that knows only the schema: queries, failures, push, health and reflection."""

import sys

try:
    import grpc
    from google.protobuf import descriptor_pb2, descriptor_pool, message_factory, wrappers_pb2
except ImportError as error:
    print("skipped: this needs python3-grpcio and python3-protobuf:", error)
    sys.exit(77)  # CTest's sign for a skipped test

address, certificates, descriptor_set = sys.argv[1:]


def read(path):
    with open(path, "rb") as file:
        return file.read()


pool = descriptor_pool.DescriptorPool()
for file in descriptor_pb2.FileDescriptorSet.FromString(read(descriptor_set)).file:
    pool.Add(file)
factory = message_factory.MessageFactory(pool)


def message(name):
    return factory.GetPrototype(pool.FindMessageTypeByName(name))


def unary(channel, method, request, response_type):
    call = channel.unary_unary(
        method,
        request_serializer=lambda m: m.SerializeToString(),
        response_deserializer=response_type.FromString,
    )
    return call(request, timeout=30)


credentials = grpc.ssl_channel_credentials(
    read(certificates + "/ca.pem"),
    read(certificates + "/client.key"),
    read(certificates + "/client.pem"),
)
channel = grpc.secure_channel(address, credentials)
svc = "Pb.Rpc.SvcQuery."

# A query in batches.
request = message(svc + "InitiateReq")()
for value in pool.FindEnumTypeByName("Pb.CmnSys.Queries.QueryType").values:
    if value.name == "QUERY_TYPE_SYSTEM_EVENTS_TYPE":
        request.query.type = value.number
request.query.query_system_events_type.time_begin = 0
request.query.query_system_events_type.time_end = 2**62
request.query.query_system_events_type.event_types.append(0)
response = unary(channel, "/" + svc + "Query/Initiate", request, message(svc + "InitiateRsp"))
events = list(response.query_result.query_result_system_events.results)
next_batch = message(svc + "ContinueReq")()
next_batch.query_gid.CopyFrom(response.query_result.gid)
while response.b_continue:
    response = unary(
        channel, "/" + svc + "Query/Continue", next_batch, message(svc + "ContinueRsp")
    )
    events += response.query_result.query_result_system_events.results
assert [pair.event.this_id for pair in events] == list(range(1, 29)), events
connected = pool.FindExtensionByName("Pb.CmnSys.Events.event_device_connected")
assert events[2].event.Extensions[connected].device_id == "gate-1", events[2]

# Failures arrive with their code and text.
for method, code, text in [
    ("Continue", grpc.StatusCode.UNKNOWN, "no query with the gid"),
    ("NoSuch", grpc.StatusCode.UNIMPLEMENTED, "does not offer the method"),
]:
    try:
        unary(channel, "/" + svc + "Query/" + method, next_batch, message(svc + "ContinueRsp"))
        raise AssertionError(method + " did not fail")
    except grpc.RpcError as error:
        assert error.code() == code and text in error.details(), error

# Push.
subscribe = channel.unary_stream(
    "/Example.NotificationPush/Subscribe",
    request_serializer=lambda m: m.SerializeToString(),
    response_deserializer=message("Pb.CmnSys.Notifications.Notification").FromString,
)
stream = subscribe(message("Pb.Rpc.SvcEvents.EventNotificationSubscribeReq")(), timeout=30)
first, second = next(stream), next(stream)
assert second.notification_event.event.this_id == first.notification_event.event.this_id % 28 + 1
stream.cancel()

# Health: its messages have the bytes of these wrappers.
health = unary(
    channel,
    "/grpc.health.v1.Health/Check",
    wrappers_pb2.StringValue(value=svc + "Query"),
    wrappers_pb2.Int32Value,
)
assert health.value == 1, health

# Reflection: list_services is field 7 of the request, file_containing_symbol field 4.
reflect = channel.stream_stream("/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo")
symbol = (svc + "Query").encode()
services, file = reflect(
    iter([b"\x3a\x00", b"\x22" + bytes([len(symbol)]) + symbol]), timeout=30
)
assert symbol in services and b"Example.NotificationPush" in services, services
assert b"ProtoBuf/CmnSys/CmnSys.SvcQuery.proto" in file, file

# Without a certificate there is no connection.
stranger = grpc.secure_channel(
    address, grpc.ssl_channel_credentials(read(certificates + "/ca.pem"))
)
try:
    unary(stranger, "/" + svc + "Query/Initiate", request, message(svc + "InitiateRsp"))
    raise AssertionError("a client without a certificate was served")
except grpc.RpcError as error:
    assert error.code() == grpc.StatusCode.UNAVAILABLE, error

print("Python client: all as expected")
