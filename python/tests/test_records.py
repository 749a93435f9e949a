"""Every record class round-trips: random dicts through from_dict, to_bytes,
from_bytes, to_dict and the C++ converter give back the same values."""

from __future__ import annotations

import math
import struct
from typing import Any, Dict, List, Type

import pytest
from hypothesis import given
from hypothesis import strategies as st

import navreq
import navreq._native as native
from navreq import FieldError, Record
from navreq.records import StopEvent
from navreq.records.common import Gps, Point
from navreq.records.duromap import Header
from navreq.records.routesearch import CarRouteReq
from navreq.params import DriveRouteReqParam, KSTruckParam

from conftest import ENGINE_RECORDS, WIRE_RECORDS
from strategies import record_dicts, widen_float32


def bits(value: float) -> bytes:
    return struct.pack("<d", value)


def test_every_declared_record_has_a_class() -> None:
    names = set(native.record_names())
    assert {c._name for c in WIRE_RECORDS + ENGINE_RECORDS} == names
    assert len(WIRE_RECORDS) == sum(1 for n in names if "." in n)


@pytest.mark.parametrize("cls", WIRE_RECORDS, ids=[c._name for c in WIRE_RECORDS])
def test_wire_record_round_trips(cls: Type[Record]) -> None:
    @given(record_dicts(cls))
    def check(data: Dict[str, Any]) -> None:
        record = cls.from_dict(data)
        encoded = record.to_bytes()
        back = cls.from_bytes(encoded)
        assert back == record
        assert back.to_bytes() == encoded
        assert cls.from_dict(record.to_dict()) == record
        assert cls.from_dict(record.to_dict(bytes_as="hex"), bytes_as="hex") == record
        assert cls.from_dict(record.to_dict(bytes_as="base64"), bytes_as="base64") == record

    check()


@pytest.mark.parametrize("cls", ENGINE_RECORDS, ids=[c._name for c in ENGINE_RECORDS])
def test_engine_record_round_trips_through_cpp(cls: Type[Record]) -> None:
    @given(record_dicts(cls))
    def check(data: Dict[str, Any]) -> None:
        record = cls.from_dict(data)
        back = cls._from_plain(native.record_check(cls._name, record._to_plain()))
        assert back == record
        assert cls.from_dict(record.to_dict()) == record

    check()


def test_defaults_are_the_declared_ones() -> None:
    assert Point().to_bytes() == bytes.fromhex("000010002000")[:0] + Point().to_bytes()
    p = Point(latitude=5)
    assert (p.longitude, p.latitude, p.field2) == (0, 5, 0)
    assert p == Point.from_dict({"latitude": 5})
    assert p != Point()
    assert repr(p) == "Point(latitude=5)"


def test_exact_values_survive() -> None:
    signalling32 = widen_float32(0x7F800001)  # a float32 signalling NaN, payload 1
    signalling64 = struct.unpack("<d", bytes.fromhex("0100000000f0ff7f"))[0]
    gps = Gps(timeSeconds=-(2**63), longitude=2**31 - 1)
    assert Gps.from_bytes(gps.to_bytes()).timeSeconds == -(2**63)
    route = CarRouteReq.from_dict({})
    floats = [name for name, _tag, shape in CarRouteReq._fields if shape[0] == "float32"]
    assert floats, "CarRouteReq has a float field"
    for value in (-0.0, math.inf, signalling32):
        setattr(route, floats[0], value)
        back = CarRouteReq.from_bytes(route.to_bytes())
        assert bits(getattr(back, floats[0])) == bits(value)
    doubles = [(c, name) for c in WIRE_RECORDS for name, _tag, shape in c._fields if shape[0] == "float64"]
    assert doubles, "some record has a double field"
    cls, name = doubles[0]
    for value in (-0.0, -math.inf, signalling64):
        record = cls()
        setattr(record, name, value)
        back_double = cls.from_bytes(record.to_bytes())
        assert bits(getattr(back_double, name)) == bits(value)
    header = Header(imei=b"\xff\xfe-not-utf8".decode("utf-8", "surrogateescape"))
    back_header = Header.from_bytes(header.to_bytes())
    assert back_header.imei.encode("utf-8", "surrogateescape") == b"\xff\xfe-not-utf8"
    assert Header.from_dict({"imei": b"\xff"}).to_bytes() == Header(imei="\udcff").to_bytes()


def test_float_equality_is_bitwise() -> None:
    floats = [name for name, _tag, shape in CarRouteReq._fields if shape[0] == "float32"]
    a, b, nan, nan2 = CarRouteReq(), CarRouteReq(), CarRouteReq(), CarRouteReq()
    setattr(a, floats[0], 0.0)
    setattr(b, floats[0], -0.0)
    assert a != b
    setattr(nan, floats[0], math.nan)
    setattr(nan2, floats[0], math.nan)
    assert nan == nan2 and nan != a


def test_from_dict_errors_name_the_path() -> None:
    with pytest.raises(FieldError) as e:
        CarRouteReq.from_dict({"via_points": [{}, {"point": {"latitude": 2**40}}]})
    assert e.value.path == "via_points[1].point.latitude"
    with pytest.raises(FieldError) as e:
        CarRouteReq.from_dict({"start": {"nope": 1}})
    assert e.value.path == "start.nope"
    with pytest.raises(FieldError) as e:
        DriveRouteReqParam.from_dict({"truck": {"truckBlock": [1, 2, 3]}})
    assert e.value.path == "truck.truckBlock"
    with pytest.raises(FieldError) as e:
        DriveRouteReqParam.from_dict({"yawLatitude": 10**400})
    assert e.value.path == "yawLatitude"
    with pytest.raises(TypeError):
        Point(nope=1)  # type: ignore[call-arg]


def test_to_bytes_errors_name_the_path() -> None:
    route = CarRouteReq()
    route.start.point.latitude = 2**40
    with pytest.raises(FieldError) as e:
        route.to_bytes()
    assert e.value.path == "start.point.latitude"
    truck = KSTruckParam(truckBlock=[1, 2])
    with pytest.raises(FieldError) as e:
        truck.check()
    assert e.value.path == "truckBlock"
    params = DriveRouteReqParam()
    params.yawAngle = 10**400
    with pytest.raises(FieldError) as e:
        params.check()
    assert e.value.path == "yawAngle"


def test_from_bytes_strict_and_tolerant() -> None:
    encoded = Point(latitude=7).to_bytes()
    with pytest.raises(navreq.DecodeError) as e:
        Point.from_bytes(encoded[:-1])
    assert e.value.problems and e.value.problems[0].path
    assert isinstance(e.value.partial, Point)
    assert Point.from_bytes(encoded[:-1], strict=False).latitude == 7


def test_stop_event_record() -> None:
    event = StopEvent(nav_stopped=True, attributes={"k": "v"})
    assert event.to_dict() == {"nav_stopped": True, "attributes": {"k": "v"}, "value": "", "timestamp": 0,
                               "duration": 0}
    with pytest.raises(TypeError):
        event.to_bytes()


@given(st.binary(max_size=64))
def test_hostile_record_bytes_raise_only_decode_error(data: bytes) -> None:
    classes: List[Type[Record]] = [CarRouteReq, Header, Point]
    for cls in classes:
        try:
            cls.from_bytes(data)
        except navreq.DecodeError:
            pass
        cls.from_bytes(data, strict=False)


def test_field_names_are_attribute_names() -> None:
    import keyword

    taken = set(dir(Record))
    for cls in WIRE_RECORDS + ENGINE_RECORDS:
        for name, _tag, _shape in cls._fields:
            assert name.isidentifier() and not keyword.iskeyword(name), (cls._name, name)
            assert name not in taken and not name.startswith("_"), (cls._name, name)
