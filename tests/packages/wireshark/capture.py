"""Captures without a network card: packets of given bytes, and a relay that records a connection."""

import socket
import struct
import threading


class Capture:
    """A capture file of IPv4 packets."""

    RAW_IP = 101

    def __init__(self, path):
        self._lock = threading.Lock()
        self._file = open(path, "wb")
        self._file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 18, self.RAW_IP))

    def close(self):
        self._file.close()

    def udp(self, port, payload):
        header = struct.pack(">HHHH", port, port, 8 + len(payload), 0)
        self._ip(17, header + payload)

    def tcp(self, source, destination, sequence, payload):
        push_and_acknowledge = 0x18
        header = struct.pack(
            ">HHIIBBHHH", source, destination, sequence, 1, 5 << 4, push_and_acknowledge, 65535, 0, 0
        )
        self._ip(6, header + payload)

    def _ip(self, protocol, payload):
        local = bytes([127, 0, 0, 1])
        header = struct.pack(
            ">BBHHHBBH", 0x45, 0, 20 + len(payload), 0, 0, 64, protocol, 0
        )
        packet = header + local + local + payload
        with self._lock:
            self._file.write(struct.pack("<IIII", 0, 0, len(packet), len(packet)) + packet)


class Relay:
    """Hands one connection on to a port of this machine and records it as one to `shown_port`."""

    CLIENT_PORT = 50000
    BLOCK = 32768

    def __init__(self, capture, server_port, shown_port):
        self._capture = capture
        self._server_port = server_port
        self._shown_port = shown_port
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def join(self):
        """Waits for both sides to have closed the connection."""
        self._thread.join()

    def _run(self):
        client, _ = self._listener.accept()
        self._listener.close()
        server = socket.create_connection(("127.0.0.1", self._server_port))
        with client, server:
            back = threading.Thread(
                target=self._copy, args=(server, client, self._shown_port, self.CLIENT_PORT)
            )
            back.start()
            self._copy(client, server, self.CLIENT_PORT, self._shown_port)
            back.join()

    def _copy(self, source, target, source_port, target_port):
        sequence = 1
        try:
            while block := source.recv(self.BLOCK):
                self._capture.tcp(source_port, target_port, sequence, block)
                sequence += len(block)
                target.sendall(block)
            target.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass  # The other side is gone, and its own copying ends too.
