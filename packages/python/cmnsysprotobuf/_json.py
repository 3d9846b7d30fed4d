"""Messages as JSON, extensions included, in the form that ``cmnsys`` reads and writes."""

from __future__ import annotations

from typing import Type, TypeVar

from google.protobuf import json_format
from google.protobuf.message import Message

M = TypeVar("M", bound=Message)


class LossError(ValueError):
    """A message has something for which JSON has no place."""


def to_json(message: Message, lossy: bool = False) -> str:
    """The message as JSON, extensions as ``"[full.name]"``.

    JSON has no place for unknown fields, nor for values of an enum that this release does not know,
    which protobuf keeps among them. Raises LossError when there are any, unless ``lossy`` is true, and
    for strings that are not UTF-8.
    """
    if not lossy:
        known = type(message)()
        known.CopyFrom(message)
        known.DiscardUnknownFields()
        lost = message.ByteSize() - known.ByteSize()
        if lost > 0:
            raise LossError(
                f"{message.DESCRIPTOR.full_name} has {lost} bytes of unknown fields, which JSON "
                "cannot hold; lossy=True leaves them out"
            )
    try:
        return json_format.MessageToJson(message)
    except TypeError as error:  # Such strings are bytes.
        raise LossError(
            f"{message.DESCRIPTOR.full_name} has a string that is not UTF-8, which JSON cannot hold"
        ) from error


def from_json(text: str | bytes, message_type: Type[M]) -> M:
    """The message that the JSON describes.

    Extensions are known when the module that declares them is imported; those of Event, MapGeometry and
    MapObject are declared beside them. Raises google.protobuf.json_format.ParseError for anything that
    is no JSON of this message.
    """
    message = message_type()
    name = message.DESCRIPTOR.full_name
    try:
        if isinstance(text, bytes):
            text = text.decode()
        # json_format takes an empty list for an object.
        if not text.lstrip().startswith("{"):
            raise json_format.ParseError(f"no JSON object of {name} stands here")
        json_format.Parse(text, message)
    except (UnicodeDecodeError, RecursionError) as error:
        raise json_format.ParseError(f"this is no JSON of {name}: {error}") from error
    return message
