"""The installed wheel against cmnsys: the same bytes, the same JSON, the same pairings."""

import glob
import importlib
import io
import json
import os
import subprocess
import sys
import unittest

import ProtoBuf.CmnSys
from google.protobuf import symbol_database
from google.protobuf.internal import api_implementation
from google.protobuf.json_format import ParseError
from ProtoBuf.CmnSys.CmnSys import Events_pb2, Gid_pb2, SavedViewsStateChange_pb2
from ProtoBuf.CmnSys.CmnSys import DeviceCmds_pb2

from cmnsysprotobuf import (
    DelimitedError,
    LossError,
    from_json,
    pairings,
    payload,
    read_delimited,
    select,
    to_json,
    write_delimited,
)

BACKEND, CMNSYS = sys.argv[1:]


def cmnsys(*arguments, **options):
    return subprocess.run(
        [CMNSYS, *arguments], check=True, stdout=subprocess.PIPE, **options
    ).stdout


def import_everything():
    (root,) = ProtoBuf.CmnSys.__path__
    root = os.path.dirname(os.path.dirname(root))
    modules = glob.glob("ProtoBuf/**/*.py", root_dir=root, recursive=True)
    for module in modules:
        importlib.import_module(module[: -len(".py")].replace("/", "."))
    return modules


class MessagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stream = cmnsys(
            "sample", "Events.Event", "--count", "2000", "--percent-set", "90", "--to", "delimited"
        )
        cls.events = list(read_delimited(io.BytesIO(cls.stream), Events_pb2.Event))

    def test_is_the_installed_wheel_with_the_wanted_backend(self):
        self.assertEqual(api_implementation.Type(), BACKEND)
        self.assertTrue(Events_pb2.__file__.startswith(sys.prefix), Events_pb2.__file__)

    def test_all_modules_can_be_imported(self):
        modules = import_everything()
        self.assertEqual(sum(module.endswith("_pb2_grpc.py") for module in modules), 21)
        self.assertGreater(len(modules), 65 + 21)

    def test_streams_come_back_byte_for_byte(self):
        out = io.BytesIO()
        write_delimited(out, self.events)
        self.assertEqual(out.getvalue(), self.stream)

    def test_json_is_read_by_each_other(self):
        printed = cmnsys(
            "convert", "Events.Event", "--from", "delimited", "--to", "jsonl", input=self.stream
        )
        payloads = set()
        for line, event in zip(printed.splitlines(), self.events, strict=True):
            self.assertEqual(from_json(line, Events_pb2.Event), event)
            # The payload is the member in brackets that belongs to the event's type.
            extensions = [name for name in json.loads(line) if name.startswith("[")]
            found = payload(event)
            if found is not None:
                self.assertEqual(len(extensions), 1)
                payloads.add(found.DESCRIPTOR.full_name)
                extension = Events_pb2.DESCRIPTOR.extensions_by_name[
                    extensions[0].strip("[]").rsplit(".", 1)[1]
                ]
                self.assertEqual(event.Extensions[extension], found)
        self.assertEqual(len(payloads), 141)
        ours = "\n".join(to_json(event) for event in self.events).encode()
        back = cmnsys(
            "convert", "Events.Event", "--from", "json", "--to", "delimited", input=ours
        )
        self.assertEqual(back, self.stream)

    def test_json_tells_of_what_it_cannot_hold(self):
        gid = Gid_pb2.Gid.FromString(b"\x38\x02\x28\x07")
        with self.assertRaisesRegex(LossError, "Pb.CmnSys.Gid has 2 bytes of unknown fields"):
            to_json(gid)
        self.assertEqual(json.loads(to_json(gid, lossy=True)), {"type": "GID_TYPE_SERVER"})

    def test_what_is_no_json_of_a_message_is_a_parse_error(self):
        for text in ("", "[]", "null", b'{"name": "\xff"}', '{"a":' * 5000, '{"thisId": "x"}'):
            with self.subTest(text[:9]), self.assertRaises(ParseError):
                from_json(text, Events_pb2.Event)

    def test_files_without_buffer_are_written_whole_and_waited_for_by_the_caller(self):
        class Slow(io.RawIOBase):
            taken = b""

            def write(self, data):
                self.taken += bytes(data[:700])
                return min(len(data), 700)

            def read(self, size=-1):
                return None

        slow = Slow()
        write_delimited(slow, self.events)
        self.assertEqual(slow.taken, self.stream)
        with self.assertRaises(BlockingIOError):
            list(read_delimited(slow, Events_pb2.Event))

    def test_selected_records_pass_the_checker(self):
        import_everything()
        symbols = symbol_database.Default()
        for name, pairing in pairings().items():
            if pairing.selector is None:
                continue
            records = []
            for value, selected in pairing.values.items():
                record = symbols.GetSymbol(name)()
                filled = select(record, value)
                if selected is None:
                    self.assertIsNone(filled, (name, value))
                    self.assertIsNone(payload(record), (name, value))
                    continue
                self.assertEqual(filled.DESCRIPTOR.full_name, selected.type)
                self.assertEqual(payload(record), filled)
                records.append(record)
            stream = io.BytesIO()
            write_delimited(stream, records)
            with self.subTest(name):
                cmnsys("check", name, "--from", "delimited", input=stream.getvalue())

    def test_payloads_beside_the_common_way(self):
        change = SavedViewsStateChange_pb2.StateChange()
        zoom = select(change, SavedViewsStateChange_pb2.STATE_CHANGE_TYPE_WEB_PANEL_ZOOM)
        self.assertIs(zoom, change.saved_view_op.child_panel_op.web_panel_op.webp_zoom)

        command = DeviceCmds_pb2.DeviceCmd()
        self.assertIsNone(payload(command))
        first = pairings()["Pb.CmnSys.DeviceCmds.DeviceCmd"].alternatives[0]
        getattr(command, first.path[0]).SetInParent()
        self.assertEqual(payload(command).DESCRIPTOR.full_name, first.type)

        self.assertIsNone(payload(Events_pb2.Event()))
        no_payload = Events_pb2.Event(event_type=Events_pb2.EVENT_SYSTEM_NETWORK_ERROR)
        self.assertIsNone(payload(no_payload))
        with self.assertRaisesRegex(ValueError, "Pb.CmnSys.Gid is no record"):
            payload(Gid_pb2.Gid())
        with self.assertRaisesRegex(ValueError, "no selector value 5001"):
            select(Events_pb2.Event(), 5001)

    def test_damaged_streams_are_refused_with_the_number_of_the_message(self):
        gid = b"\x02\x38\x02"
        for stream, error in [
            (gid + b"\x80", "length of message 1 is cut off"),
            (gid + b"\x05\x38", "message 1 is cut off after 1 of 5 bytes"),
            (gid + b"\x80\x80\x80\x80\x80\x01", "length of message 1 is no varint"),
            (gid + b"\x01\x38", "message 1 is no Pb.CmnSys.Gid"),
            (gid + b"\x7f" + b"\x00" * 127, "message 1 has 127 bytes, more than max_bytes"),
        ]:
            with self.subTest(error), self.assertRaisesRegex(DelimitedError, error):
                list(read_delimited(io.BytesIO(stream), Gid_pb2.Gid, max_bytes=100))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
