"""The package's exceptions. Each that reports bad input is a ValueError."""

from __future__ import annotations

from typing import Any, List, NamedTuple, Optional


class Problem(NamedTuple):
    """One thing wrong with bytes read: where (the path from the part of the
    request it is in, and the byte offset in that part's bytes), its kind
    ("missing_field", "type_mismatch", ...), the detail, and the whole line."""

    path: str
    offset: int
    kind: str
    detail: str
    text: str


class DecodeError(ValueError):
    """Bytes that did not read cleanly in strict mode. ``problems`` lists what
    is wrong; ``partial`` is the tolerant reading of the same bytes."""

    def __init__(self, problems: List[Problem], partial: Any) -> None:
        self.problems = problems
        self.partial = partial
        first = problems[0].text if problems else "no envelope recognised"
        more = f" (and {len(problems) - 1} more)" if len(problems) > 1 else ""
        super().__init__(first + more)


class FieldError(ValueError):
    """A value that does not fit its field: ``path`` names it ("via[2].lat")."""

    def __init__(self, path: str, what: str) -> None:
        self.path = path
        self.what = what
        super().__init__(f"{path}: {what}" if path else what)

    @classmethod
    def from_native(cls, message: str) -> "FieldError":
        path, sep, what = message.partition(": ")
        return cls(path, what) if sep else cls("", message)


class InputError(ValueError):
    """Text that is not a request in any form detect() reads: ``form`` is the
    form it looked like, ``line`` and ``column`` (from 1) where it breaks."""

    def __init__(self, form: str, offset: int, line: int, column: int, message: str) -> None:
        self.form = form
        self.offset = offset
        self.line = line
        self.column = column
        super().__init__(message)


class HarError(ValueError):
    """Text that is not a HAR file or does not parse as one: the message is
    the reader's one line (where the JSON breaks, or which member has the
    wrong type, named by its path)."""


class EncodeError(Exception):
    """An entry function that failed: its return code ``rc`` (0 when it threw:
    ``threw`` is then its message), the lines it printed and those it logged
    ("L<level> E<event> message")."""

    def __init__(self, function: str, rc: int, printed: List[str], logged: List[str], threw: Optional[str]) -> None:
        self.function = function
        self.rc = rc
        self.printed = printed
        self.logged = logged
        self.threw = threw
        super().__init__(threw if threw else f"{function} returned {rc}")
