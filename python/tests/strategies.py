"""Hypothesis strategies derived from the generated field tables."""

from __future__ import annotations

import struct
from typing import Any, Dict, Tuple, Type

from hypothesis import strategies as st

from navreq import Record
from navreq._record import _resolve


def widen_float32(bits: int) -> float:
    """A float32's bits as the Python float navreq gives for it (NaN payload kept)."""
    if (bits >> 23) & 0xFF == 0xFF and bits & 0x7FFFFF:
        wide = ((bits >> 31) << 63) | (0x7FF << 52) | ((bits & 0x7FFFFF) << 29)
        return float(struct.unpack("<d", wide.to_bytes(8, "little"))[0])
    return float(struct.unpack("<f", bits.to_bytes(4, "little"))[0])


_text = st.one_of(
    st.text(alphabet=st.characters(blacklist_categories=("Cs",)), max_size=12),
    # Strings whose bytes are not UTF-8 travel as surrogate escapes.
    st.binary(max_size=12).map(lambda b: b.decode("utf-8", "surrogateescape")),
)
_float64 = st.one_of(
    st.floats(),
    st.integers(0, 2**64 - 1).map(lambda b: float(struct.unpack("<d", b.to_bytes(8, "little"))[0])),
)
_float32 = st.one_of(st.floats(width=32), st.integers(0, 2**32 - 1).map(widen_float32))


def for_shape(shape: Tuple[Any, ...], depth: int) -> st.SearchStrategy[Any]:
    kind = shape[0]
    if kind == "bool":
        return st.booleans()
    if kind == "int":
        return st.one_of(st.sampled_from([shape[1], shape[2], 0]), st.integers(shape[1], shape[2]))
    if kind == "float32":
        return _float32
    if kind == "float64":
        return _float64
    if kind == "string":
        return _text
    if kind in ("bytes", "ubytes"):
        return st.binary(max_size=16)
    size = 2 if depth < 3 else 0
    if kind == "list":
        return st.lists(for_shape(shape[1], depth + 1), max_size=size)
    if kind == "array":
        return st.lists(for_shape(shape[1], depth + 1), min_size=shape[2], max_size=shape[2])
    if kind == "map":
        return st.dictionaries(for_shape(shape[1], depth + 1), for_shape(shape[2], depth + 1), max_size=size)
    if kind == "record":
        return record_dicts(_resolve(shape[1], shape[2]), depth + 1)
    raise AssertionError(shape)


def record_dicts(cls: Type[Record], depth: int = 0) -> st.SearchStrategy[Dict[str, Any]]:
    """Dicts of some of the record's fields (the others keep their defaults)."""
    return st.fixed_dictionaries({}, optional={name: for_shape(shape, depth) for name, _tag, shape in cls._fields})
