"""Errors carry what went wrong and where."""

from __future__ import annotations

import pytest

import navreq
from navreq.params import DriveRouteReqParam, KSNaviSearchPoint

from conftest import GOLDEN_NOW_MS, golden_bytes


def test_decode_error_has_paths_offsets_and_partial() -> None:
    data = bytearray(golden_bytes("plus"))
    data = data[:-3]
    with pytest.raises(navreq.DecodeError) as e:
        navreq.decode(bytes(data))
    problem = e.value.problems[0]
    assert problem.path.startswith(("package.", "body.", "header."))
    assert problem.kind and problem.text.startswith(problem.path)
    assert isinstance(problem.offset, int)
    assert isinstance(e.value, ValueError)
    partial = e.value.partial
    assert partial.envelope is not None and partial.problems


def test_unknown_envelope() -> None:
    with pytest.raises(navreq.DecodeError) as e:
        navreq.decode(b"")
    assert e.value.problems
    assert not navreq.decode(b"", strict=False).ok


def test_detect_forms_and_errors() -> None:
    data = golden_bytes("slice")
    assert navreq.detect(data.hex()) == navreq.Detected(data, "hex")
    assert navreq.detect(data) == navreq.Detected(data, "raw")
    import base64
    assert navreq.detect(base64.b64encode(data).decode()).data == data
    with pytest.raises(navreq.InputError) as e:
        navreq.detect("0c1\n")
    assert e.value.form == "hex" and e.value.line == 1 and e.value.column > 1
    assert "hex" in str(e.value)
    assert isinstance(e.value, ValueError)


def test_pack_error_names_the_path() -> None:
    tree = navreq.tree(golden_bytes("plus"))
    tree["fields"][1]["value"] = "not a number"
    with pytest.raises(navreq.PackError) as e:
        navreq.pack(tree)
    assert "fields[1]" in str(e.value)
    with pytest.raises(ValueError):
        navreq.pack({"navreq_tree": 99})


def test_encode_json_error_names_the_path() -> None:
    with pytest.raises(navreq.JsonError) as e:
        navreq.encode("route", {"viaPoints": [{}, {"pointType": 2**32}]})
    assert "param.viaPoints[1].pointType" in str(e.value)
    with pytest.raises(navreq.JsonError):
        navreq.encode("nope", {})
    with pytest.raises(navreq.JsonError):
        navreq.encode("navstop", {"text": "x"}, extra={})


def test_encode_record_error_names_the_path() -> None:
    params = DriveRouteReqParam(viaPoints=[KSNaviSearchPoint(), KSNaviSearchPoint(pointType=2**32)])
    with pytest.raises(navreq.FieldError) as e:
        navreq.encode("route", params)
    assert e.value.path == "param.viaPoints[1].pointType"
    with pytest.raises(navreq.FieldError) as e:
        navreq.encode("route", 5)
    assert e.value.path == "param"


def test_failing_entry_function_raises_encode_error() -> None:
    # The stop event's message has a size limit: its entry function returns 1
    # and logs why.
    with pytest.raises(navreq.EncodeError) as e:
        navreq.encode("navstop", {"text": "x" * 5000}, now_ms=GOLDEN_NOW_MS)
    assert e.value.rc == 1
    assert e.value.function == "GetNavStopActionReqData"
    assert "L3 E2 GetNavStopActionReqData_Failed_to_encode" in e.value.logged
    assert e.value.threw is None
