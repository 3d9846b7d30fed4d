"""What users of the messages of CmnSysProtoBuf need first.

The messages themselves are in modules named after their schema files, in which dots become folders:
``ProtoBuf/CmnSys/CmnSys.Events.proto`` is ``ProtoBuf.CmnSys.CmnSys.Events_pb2``, and the services of
``CmnSys.SvcQuery.proto`` are in ``ProtoBuf.CmnSys.CmnSys.SvcQuery_pb2_grpc``.
"""

from ._delimited import DelimitedError, read_delimited, write_delimited
from ._json import LossError, from_json, to_json
from ._pairings import Pairing, Payload, pairings, payload, select

__all__ = [
    "DelimitedError",
    "LossError",
    "Pairing",
    "Payload",
    "from_json",
    "pairings",
    "payload",
    "read_delimited",
    "select",
    "to_json",
    "write_delimited",
]
