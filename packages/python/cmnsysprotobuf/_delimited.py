"""Streams of messages, each behind its length as a varint, as ``cmnsys`` reads and writes them."""

from __future__ import annotations

import io
from typing import BinaryIO, Iterable, Iterator, Type, TypeVar

from google.protobuf.message import DecodeError, Message

M = TypeVar("M", bound=Message)


class DelimitedError(ValueError):
    """A stream that is cut off, damaged or holds something else."""


def read_delimited(
    file: BinaryIO, message_type: Type[M], max_bytes: int = 64 * 1024 * 1024
) -> Iterator[M]:
    """Yields the messages of a binary file, one at a time, until it ends between two of them.

    The file needs ``read`` only, so pipes and sockets' files do. Raises DelimitedError, which tells the
    number of the message, counted from 0, when a message is cut off, is longer than ``max_bytes`` or
    does not parse, and BlockingIOError when the file is set not to wait and has nothing yet.
    """
    index = 0
    while True:
        size = _read_size(file, index)
        if size is None:
            return
        if size > max_bytes:
            raise DelimitedError(
                f"message {index} has {size} bytes, more than max_bytes ({max_bytes})"
            )
        message = message_type()
        try:
            message.ParseFromString(_read(file, size, index))
        except (DecodeError, UnicodeDecodeError, RecursionError) as error:
            name = message.DESCRIPTOR.full_name
            raise DelimitedError(f"message {index} is no {name}: {error}") from error
        yield message
        index += 1


def write_delimited(file: BinaryIO, messages: Iterable[Message]) -> None:
    """Writes messages to a binary file, each behind its length."""
    for message in messages:
        data = message.SerializeToString()
        _write(file, _varint(len(data)) + data)


def _write(file: BinaryIO, data: bytes) -> None:
    if not isinstance(file, io.RawIOBase):
        file.write(data)
        return
    # A file without buffer may take less than it is given.
    rest = memoryview(data)
    while rest:
        written: int | None = file.write(rest)
        if written is None:
            raise BlockingIOError("the file is set not to wait and takes no more")
        rest = rest[written:]


def _read_some(file: BinaryIO, size: int) -> bytes:
    data: bytes | None = file.read(size)
    if data is None:
        raise BlockingIOError("the file is set not to wait and has nothing yet")
    return data


def _read(file: BinaryIO, size: int, index: int) -> bytes:
    data = bytearray()
    while len(data) < size:
        block = _read_some(file, size - len(data))
        if not block:
            raise DelimitedError(f"message {index} is cut off after {len(data)} of {size} bytes")
        data += block
    return bytes(data)


def _read_size(file: BinaryIO, index: int) -> int | None:
    """The length of the next message, or None where the stream ends."""
    size = 0
    for shift in range(0, 35, 7):
        byte = _read_some(file, 1)
        if not byte:
            if shift == 0:
                return None
            raise DelimitedError(f"the length of message {index} is cut off")
        size |= (byte[0] & 0x7F) << shift
        if byte[0] < 0x80:
            return size
    raise DelimitedError(f"the length of message {index} is no varint of at most 5 bytes")


def _varint(value: int) -> bytes:
    data = bytearray()
    while value >= 0x80:
        data.append(value & 0x7F | 0x80)
        value >>= 7
    data.append(value)
    return bytes(data)
