"""A request read back by navreq.decode."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, List, NamedTuple, Optional, Union, cast

from navreq import _native
from navreq._record import Record, _resolve
from navreq.errors import Problem

if TYPE_CHECKING:
    # For the annotations only: the record modules load when a request needs them.
    from navreq.records.duromap import Header, Package
    from navreq.records.locationReportDMQ import NavExtraData
    from navreq.records.NavSDKGateway import Packet


class Command(NamedTuple):
    """The command table's entry: the Package's command number (the Packet's
    kind), the command name ("" for a Packet), the request kind as navreq
    encode names it ("route", ...) and the envelope ("Package" or "Packet")."""

    number: int
    name: str
    kind: str
    envelope: str


_kinds: Dict[str, str] = {}


def _kind_of(function: str) -> str:
    if not _kinds:
        _kinds.update({fn: name for name, fn, _param in _native.kinds()})
    return _kinds.get(function, "")


def _record(name: str, plain: Dict[str, Any]) -> Record:
    if name == "StopEvent":
        module, cls = "navreq.records", "StopEvent"
    else:
        module, _, cls = ("navreq.records." + name).rpartition(".")
    return _resolve(module, cls)._from_plain(plain)


class Request:
    """What decode read: the envelope (a duromap.Package, whose Header is
    ``header``, or a NavSDKGateway.Packet), the command, the body record (a
    records.StopEvent for the stop event), the route search's side records by
    name ("toGuidance", "toRank"), the location upload's extra data, and the
    problems found (empty when the request read cleanly). ``request_gzip``
    says the whole input was a gzip stream, read inflated (problem offsets
    then count in the inflated bytes); ``body_gzip`` that the body was."""

    __slots__ = ("envelope", "header", "command", "body", "request_gzip", "body_gzip", "body_size",
                 "side_records", "extra_data", "problems")

    envelope: Union["Package", "Packet", None]
    header: Optional["Header"]
    command: Optional[Command]
    body: Optional[Record]
    request_gzip: bool
    body_gzip: bool
    body_size: int
    side_records: Dict[str, Record]
    extra_data: Optional["NavExtraData"]
    problems: List[Problem]

    def __init__(self, plain: Dict[str, Any]) -> None:
        env = plain["envelope"]
        self.envelope = cast(Union["Package", "Packet"], _record(*env)) if env is not None else None
        self.header = cast("Header", _record(*plain["header"])) if plain["header"] is not None else None
        cmd = plain["command"]
        self.command = Command(cmd[0], cmd[1], _kind_of(cmd[2]), cmd[3]) if cmd is not None else None
        body = plain["body"]
        self.body = _record(*body) if body is not None else None
        self.request_gzip = plain["request_gzip"]
        self.body_gzip = plain["body_gzip"]
        self.body_size = plain["body_size"]
        self.side_records = {k: _record(*v) for k, v in plain["side_records"].items()}
        extra = plain["extra_data"]
        self.extra_data = cast("NavExtraData", _record(*extra)) if extra is not None else None
        self.problems = [Problem(*p) for p in plain["problems"]]
        if not plain["envelope_read"] and not self.problems:
            self.problems.append(Problem("", 0, "unknown_envelope", "", "no envelope recognised"))

    @property
    def ok(self) -> bool:
        """The envelope was read and nothing is wrong."""
        return self.envelope is not None and not self.problems

    def __repr__(self) -> str:
        cmd = self.command.name or self.command.kind if self.command else None
        return f"Request(command={cmd!r}, body={self.body!r}, problems={len(self.problems)})"
