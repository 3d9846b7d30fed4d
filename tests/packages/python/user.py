"""A user's program for mypy alone, which also finds each "type: ignore" that hides no error."""

import io

from ProtoBuf.CmnSys.CmnSys import Events_pb2, EventsDerived_pb2, Notifications_pb2, SvcQuery_pb2_grpc
from ProtoBuf.CmnSys.CmnSys.Gid_pb2 import GID_TYPE_SERVER, Gid

from cmnsysprotobuf import from_json, pairings, payload, read_delimited, select, to_json

event = Events_pb2.Event(
    this_id=1,
    event_type=Events_pb2.EVENT_DEVICE_MOTION_START,
    originating_server_gid=Gid(id=b"1", type=GID_TYPE_SERVER),
)
motion: EventsDerived_pb2.EventDeviceMotionStart = event.Extensions[
    Events_pb2.event_device_motion_start
]
motion.device_id = "gate-1"
name: str = motion.device_id
kind: Events_pb2.EventType.ValueType = event.event_type

wrong: EventsDerived_pb2.EventUserLogin = event.Extensions[  # type: ignore[assignment]
    Events_pb2.event_device_motion_start
]
motion.device_id = 1  # type: ignore[assignment]
motion.device = "gate-1"  # type: ignore[attr-defined]

again: Events_pb2.Event = from_json(to_json(event), Events_pb2.Event)
for read in read_delimited(io.BytesIO(b""), Notifications_pb2.Notification):
    text: str = read.notification_event  # type: ignore[assignment]
found = payload(again)
found.FindInitializationErrors()  # type: ignore[union-attr]
selected = select(event, Events_pb2.EVENT_USER_LOGIN)
pattern: int = pairings()["Pb.CmnSys.Events.Event"].pattern  # type: ignore[assignment]
stub: type[SvcQuery_pb2_grpc.QueryStub] = SvcQuery_pb2_grpc.QueryStub
