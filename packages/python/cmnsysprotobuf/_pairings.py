"""Which payload goes with which value of a selector."""

from __future__ import annotations

import functools
import json
import pkgutil
from typing import Any, Dict, List, Mapping, NamedTuple, Optional

from google.protobuf.message import Message


class Payload(NamedTuple):
    """A payload: the fields that lead to it and the full name of its message."""

    path: List[str]
    """Names of fields from the record on, an extension by its full name in brackets. Mostly one."""
    type: str


class Pairing(NamedTuple):
    """The payloads of a record, a message that holds one of several kinds."""

    pattern: str
    """How the payload follows from the selector: ``by-extension``, ``fixed-offset`` and so on."""
    selector: Optional[str]
    """The enum field that names the kind; None where the payload that is set tells it."""
    values: Dict[int, Optional[Payload]]
    """The payload of each value of the selector; None for a value without one."""
    alternatives: List[Payload]
    """The payloads that exclude one another, for a record without selector."""


@functools.lru_cache(maxsize=None)
def pairings() -> Mapping[str, Pairing]:
    """The pairings of all records, by their full names. Not to be changed."""
    data = pkgutil.get_data(__package__, "pairings.json")
    assert data is not None
    table = json.loads(data)
    if table["version"] != 1:
        raise RuntimeError(f"pairings.json has version {table['version']}, not 1")
    return {name: _pairing(record) for name, record in table["records"].items()}


def payload(record: Message) -> Optional[Message]:
    """The payload that the record's selector names, for an event the one of its event type.

    Of a record without selector, the first alternative that is set. None when the payload is not set,
    when the value has none, or when the selector is not set.
    """
    pairing = _pairing_of(record)
    if pairing.selector is None:
        found = (_follow(record, alternative.path) for alternative in pairing.alternatives)
        return next((message for message in found if message is not None), None)
    if not record.HasField(pairing.selector):
        return None
    selected = pairing.values.get(getattr(record, pairing.selector))
    return None if selected is None else _follow(record, selected.path)


def select(record: Message, value: int) -> Optional[Message]:
    """Sets the record's selector and returns the payload that goes with it, set and to be filled.

    Returns None for a value without payload. Raises ValueError for a value that the selector's enum does
    not have and for a record without selector.
    """
    pairing = _pairing_of(record)
    if pairing.selector is None or value not in pairing.values:
        raise ValueError(f"{record.DESCRIPTOR.full_name} has no selector value {value}")
    setattr(record, pairing.selector, value)
    selected = pairing.values[value]
    if selected is None:
        return None
    message = record
    for step in selected.path:
        message = _member(message, step)
    message.SetInParent()
    return message


def _pairing(record: Dict[str, Any]) -> Pairing:
    return Pairing(
        record["pattern"],
        record.get("selector"),
        {value["number"]: _payload(value) for value in record.get("values", {}).values()},
        [Payload(entry["path"], entry["type"]) for entry in record.get("alternatives", [])],
    )


def _payload(value: Dict[str, Any]) -> Optional[Payload]:
    return Payload(value["path"], value["type"]) if value["path"] else None


def _pairing_of(record: Message) -> Pairing:
    name = record.DESCRIPTOR.full_name
    if name not in pairings():
        raise ValueError(f"{name} is no record with a payload for each kind")
    return pairings()[name]


def _member(message: Message, step: str) -> Message:
    if not step.startswith("["):
        member: Message = getattr(message, step)
        return member
    return message.Extensions[_extension(message, step)]


def _follow(record: Message, path: List[str]) -> Optional[Message]:
    """The message at the end of the path, or None when a step is not set."""
    message = record
    for step in path:
        if step.startswith("["):
            is_set = message.HasExtension(_extension(message, step))
        else:
            is_set = message.HasField(step)
        if not is_set:
            return None
        message = _member(message, step)
    return message


def _extension(message: Message, step: str) -> Any:
    return message.DESCRIPTOR.file.pool.FindExtensionByName(step[1:-1])
