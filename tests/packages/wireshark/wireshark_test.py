#!/usr/bin/python3
"""The installed Wireshark package: its schema carries the same bytes, tshark shows all of them."""

import glob
import json
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml
from concurrent import futures

import grpc

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
from capture import Capture, Relay
from schema import Schema

CMNSYS, DESCRIPTOR_SET, PREFIX, GUIDE = sys.argv[1:]
SCHEMA_FOLDER = PREFIX + "/share/CmnSysProtoBuf/Wireshark"
PROFILE = PREFIX + "/share/wireshark/profiles/CmnSys"
EVENT = "Pb.CmnSys.Events.Event"
PORT = 4711


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, **options).stdout


def cmnsys(*arguments, **options):
    return run(CMNSYS, *arguments, **options)


class Tshark:
    """tshark with the package's profile, in a configuration of its own."""

    def __init__(self, folder):
        self.profile = folder + "/profiles/CmnSys"
        self._environment = dict(os.environ, WIRESHARK_CONFIG_DIR=folder)
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(PROFILE, self.profile)

    def __call__(self, capture, *arguments):
        command = ["tshark", "-C", "CmnSys", "-r", capture, *arguments]
        result = subprocess.run(
            command, capture_output=True, text=True, env=self._environment, check=True
        )
        # As root it says so; anything else is a complaint about schema or profile.
        complaints = [line for line in result.stderr.splitlines() if "Running as user" not in line]
        assert not complaints, (command, complaints)
        return result.stdout

    def lines(self, capture, *arguments):
        return self(capture, *arguments).splitlines()

    def add(self, file, line):
        with open(self.profile + "/" + file, "a") as out:
            out.write(line + "\n")


def shown_fields(element):
    """What PDML shows of a message: [(field name, value text or list of the same)]."""
    fields = []
    for field in element.findall("field"):
        name = field.get("name")
        if name == "protobuf.field.name":
            assert "UNKNOWN" not in field.get("show"), xml.tostring(field)
        if name.startswith("pbf."):
            is_message = "(Message: " in field.get("showname")
            value = shown_fields(field) if is_message else field.get("show")
            fields.append((name.rsplit(".", 1)[1], value))
        else:
            shown_fields(field)
    return fields


def json_fields(value):
    """The same for what cmnsys prints with schema names, numbers of enums and hexadecimal bytes."""
    fields = []
    for name, member in value.items():
        name = name.strip("[]").rsplit(".", 1)[-1]
        for element in member if isinstance(member, list) else [member]:
            fields.append((name, json_fields(element) if isinstance(element, dict) else element))
    return fields


def same(shown, expected):
    if isinstance(expected, list) or isinstance(shown, list):
        return (
            isinstance(expected, list)
            and isinstance(shown, list)
            and [name for name, _ in shown] == [name for name, _ in expected]
            and all(same(a, b) for (_, a), (_, b) in zip(shown, expected))
        )
    if isinstance(expected, bool):
        return shown in (["0", "False"], ["1", "True"])[expected]
    if isinstance(expected, (int, float)):
        # Of numbers with a fraction, or an exponent, tshark shows six digits.
        close = {"rel_tol": 1e-5, "abs_tol": 1e-45}
        return shown == str(expected) or math.isclose(float(shown), expected, **close)
    # A 64-bit number, bytes, which tshark parts by colons, or text, of which it escapes control
    # characters and XML turns ends of lines and tabulators into blanks.
    text = re.sub(r"[\n\t\r]", " ", expected)
    text = re.sub(r"[\x00-\x1f\x7f]", lambda match: f"\\x{ord(match[0]):x}", text)
    return shown in (expected, ":".join(re.findall("..", expected)), text)


class WiresharkTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.TemporaryDirectory()
        cls.real = Schema(DESCRIPTOR_SET)
        cls.events = cls.path("events.delimited")
        cmnsys("sample", EVENT, "--count", "2000", "--percent-set", "90", "--output", cls.events)

    @classmethod
    def tearDownClass(cls):
        cls.work.cleanup()

    @classmethod
    def path(cls, name):
        return cls.work.name + "/" + name

    def setUp(self):
        self.tshark = Tshark(self.path("wireshark"))

    def capture(self, packets):
        path = self.path("capture.pcap")
        capture = Capture(path)
        for port, payload in packets:
            capture.udp(port, payload)
        capture.close()
        return path

    def messages(self, capture, *arguments):
        packets = xml.fromstring(self.tshark(capture, "-T", "pdml", *arguments))
        return [shown_fields(packet.find("proto[@name='protobuf']")) for packet in packets]

    def test_schema_carries_the_same_bytes(self):
        files = glob.glob("**/*.proto", root_dir=SCHEMA_FOLDER, recursive=True)
        derived_set = self.path("derived.desc")
        run("protoc", "-o", derived_set, "-I", SCHEMA_FOLDER, *files)
        derived = Schema(derived_set)
        self.assertEqual(sorted(derived.names), sorted(self.real.names))
        for name in self.real.names:
            expected = self.real.full(name).SerializeToString(deterministic=True)
            message = derived.new(name)
            message.ParseFromString(expected)
            message.DiscardUnknownFields()
            self.assertEqual(message.SerializeToString(deterministic=True), expected, name)

    def test_every_field_of_every_type_is_shown(self):
        messages = [self.real.full(name) for name in self.real.names]
        messages = [message for message in messages if message.ByteSize() > 0]
        packets = []
        for port, message in enumerate(messages, 20000):
            name = message.DESCRIPTOR.full_name
            self.tshark.add("protobuf_udp_message_types", f'"{port}","{name}"')
            packets.append((port, message.SerializeToString(deterministic=True)))
        for message, shown in zip(messages, self.messages(self.capture(packets)), strict=True):
            expected = []
            for field, value in sorted(message.ListFields(), key=lambda item: item[0].number):
                times = len(value) if field.label == field.LABEL_REPEATED else 1
                expected += [field.name] * times
            self.assertEqual([field for field, _ in shown], expected, message)

    def test_events_are_shown_as_cmnsys_prints_them(self):
        options = ["--schema-names", "--enums-as-numbers", "--hex-bytes", "--compact"]
        printed = cmnsys("convert", EVENT, self.events, "--to", "json", *options).splitlines()
        with open(self.events, "rb") as file:
            stream = file.read()
        packets = []
        while stream:
            size, shift, start = 0, 0, 0
            while True:
                byte = stream[start]
                size |= (byte & 127) << shift
                start, shift = start + 1, shift + 7
                if byte < 128:
                    break
            packets.append((PORT, stream[start : start + size]))
            stream = stream[start + size :]
        shown = self.messages(self.capture(packets))
        self.assertEqual(len(shown), len(printed))
        payloads = set()
        for message, line in zip(shown, printed):
            expected = json_fields(json.loads(line))
            self.assertTrue(same(message, expected), (message, expected))
            payloads |= {name for name, _ in message if name.startswith("event_")}
        self.assertEqual(len(payloads - {"event_type"}), 141)

    def test_stored_events_open_by_way_of_text2pcap(self):
        capture = self.path("stored.pcap")
        dump = cmnsys("convert", EVENT, self.events, "--to", "hex")
        run("text2pcap", "-u", f"{PORT},{PORT}", "-", capture, input=dump)
        printed = cmnsys("convert", EVENT, self.events, "--to", "jsonl").splitlines()
        types = [json.loads(line).get("eventType", "") for line in printed]
        column = self.tshark.lines(capture, "-T", "fields", "-e", "_ws.col.Event type")
        self.assertEqual(column, types)

    def test_filters_by_fields_of_payloads(self):
        events = [
            'event_type: EVENT_DEVICE_MOTION_START [Pb.CmnSys.Events.event_device_motion_start] '
            '{ device_id: "gate-1" }',
            'event_type: EVENT_DEVICE_MOTION_START [Pb.CmnSys.Events.event_device_motion_start] '
            '{ device_id: "gate-2" }',
            'event_type: EVENT_USER_LOGIN originating_server_name: "gate-1" '
            '[Pb.CmnSys.Events.event_user_login] { user_name: "Zoë" }',
            "event_type: EVENT_DB_LOST [Pb.CmnSys.Events.event_db_lost] {}",
        ]
        packets = [(PORT, cmnsys("encode", EVENT, input=event.encode())) for event in events]
        capture = self.capture(packets)
        for filter, hits in [
            ('pbf.Pb.CmnSys.Events.EventDeviceMotionStart.device_id == "gate-1"', [1]),
            ("pbf.Pb.CmnSys.Events.Event.event_type == 5013", [1, 2]),
            ('pbf.Pb.CmnSys.Events.EventUserLogin.user_name contains "Zo"', [3]),
            ("pbm.Pb.CmnSys.Events.EventDbLost", [4]),
        ]:
            with self.subTest(filter):
                shown = self.tshark.lines(capture, "-Y", filter, "-T", "fields", "-e", "frame.number")
                self.assertEqual([int(line) for line in shown], hits)

        with open(self.tshark.profile + "/dfilter_buttons") as file:
            buttons = re.findall(r'^"TRUE","(.*?)","(.*?)",', file.read(), re.MULTILINE)
        self.assertGreater(len(buttons), 5)
        any_button = " or ".join(f"({filter})" for _, filter in buttons).replace(r"\x22", '"')
        shown = self.tshark.lines(capture, "-Y", any_button)
        self.assertEqual(len(shown), len(events))

    def test_calls_and_pushes_show_methods_messages_and_failures(self):
        query = "Pb.Rpc.SvcQuery.Query"
        event = (
            "event { event_type: EVENT_DEVICE_MOTION_START "
            '[Pb.CmnSys.Events.event_device_motion_start] { device_id: "gate-1" } }'
        )
        answers = {
            f"/{query}/Initiate": cmnsys(
                "encode",
                "Pb.Rpc.SvcQuery.InitiateRsp",
                input=b"query_result { query_result_system_events { results { %s } } }"
                % event.encode(),
            ),
            "/Example.NotificationPush/Subscribe": cmnsys(
                "encode",
                "Pb.CmnSys.Notifications.Notification",
                input=b"notification_event { %s }" % event.encode(),
            ),
        }

        class Service(grpc.GenericRpcHandler):
            def service(self, call):
                answer = answers.get(call.method)
                if answer is None:
                    return None
                if call.method.endswith("Subscribe"):
                    return grpc.unary_stream_rpc_method_handler(lambda request, context: iter([answer]))
                return grpc.unary_unary_rpc_method_handler(lambda request, context: answer)

        server = grpc.server(futures.ThreadPoolExecutor(2))
        server.add_generic_rpc_handlers((Service(),))
        server_port = server.add_insecure_port("127.0.0.1:0")
        server.start()
        path = self.path("calls.pcap")
        capture = Capture(path)
        relay = Relay(capture, server_port, PORT)
        with grpc.insecure_channel(f"127.0.0.1:{relay.port}") as channel:
            channel.unary_unary(f"/{query}/Initiate")(b"")
            list(channel.unary_stream("/Example.NotificationPush/Subscribe")(b""))
            with self.assertRaises(grpc.RpcError):
                channel.unary_unary(f"/{query}/Abort")(b"")
        relay.join()
        server.stop(None)
        capture.close()

        # The schema file of the guide, for a push that the schema itself does not know.
        push = self.path("push")
        os.mkdir(push)
        with open(GUIDE) as guide, open(push + "/push.proto", "w") as file:
            file.write(re.search(r"```proto\n(.*?)```", guide.read(), re.DOTALL)[1])
        self.tshark.add("protobuf_search_paths", f'"{push}","TRUE"')

        columns = ["-T", "fields", "-e", "_ws.col.Method", "-e", "_ws.col.Event type"]
        rows = self.tshark(path, *columns, "-Y", "http2.headers.path or protobuf")
        for text in [f"/{query}/Initiate", f"/{query}/Abort", "/Example.NotificationPush/Subscribe"]:
            self.assertIn(text, rows)
        self.assertEqual(rows.count("EVENT_DEVICE_MOTION_START"), 2)
        device = 'pbf.Pb.CmnSys.Events.EventDeviceMotionStart.device_id == "gate-1"'
        self.assertEqual(len(self.tshark.lines(path, "-Y", device)), 2)
        failed = self.tshark(path, "-Y", 'http2.header.name == "grpc-message"', "-O", "http2")
        self.assertIn("grpc-message: Method not found!", failed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
