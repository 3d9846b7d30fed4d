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

# Reflection. Fields are written by hand: the number and wire type, the length, the text.
def field(number, text):
    return bytes([number << 3 | 2, len(text)]) + text


symbol = (svc + "Query").encode()
path = b"ProtoBuf/CmnSys/CmnSys.SvcQuery.proto"
extensible = b"Pb.CmnSys.Events.Event"
number = connected.number
varint = bytes([number & 0x7F | 0x80, number >> 7]) if number > 0x7F else bytes([number])
assert len(varint) <= 2 and varint[-1] < 0x80, number
questions = [
    # file_by_filename, file_containing_symbol, file_containing_extension,
    # all_extension_numbers_of_type, list_services
    (field(3, path), [path, b"ProtoBuf/CmnSys/CmnSys.Query.proto"]),
    (field(4, symbol), [path]),
    (field(5, field(1, extensible) + b"\x10" + varint), [b"event_device_connected"]),
    (field(6, extensible), [varint]),
    (field(7, b""), [symbol, b"Example.NotificationPush", b"grpc.health.v1.Health"]),
    (field(4, b"No.Such"), [b"this server knows no symbol No.Such"]),
    (field(6, b"No.Such"), [b"this server knows no message No.Such"]),
]
for version in ["v1", "v1alpha"]:
    reflect = channel.stream_stream(
        "/grpc.reflection." + version + ".ServerReflection/ServerReflectionInfo"
    )
    answers = list(reflect(iter([question for question, _ in questions]), timeout=60))
    assert len(answers) == len(questions), answers
    for (question, expected), answer in zip(questions, answers):
        # The answer begins with the question, as field 2.
        assert answer.startswith(field(2, question)), answer[:100]
        answer = answer[len(field(2, question)) :]
        assert all(text in answer for text in expected), (version, question, answer[:1000])

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
