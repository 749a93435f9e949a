"""Shared fixtures: the repository's example requests and the generated record classes."""

from __future__ import annotations

import importlib
import os
import pkgutil
from pathlib import Path
from typing import List, Type

from hypothesis import HealthCheck, settings

import navreq.params
import navreq.records
from navreq import Record

# CI runs derandomized: the same examples every run.
settings.register_profile("ci", derandomize=True, database=None, max_examples=25, deadline=None,
                          suppress_health_check=[HealthCheck.too_slow, HealthCheck.data_too_large])
settings.register_profile("dev", max_examples=60, deadline=None,
                          suppress_health_check=[HealthCheck.too_slow, HealthCheck.data_too_large])
settings.load_profile(os.environ.get("HYPOTHESIS_PROFILE", "dev"))

REPO = Path(os.environ.get("NAVREQ_REPO", Path(__file__).resolve().parents[2]))
GOLDEN = REPO / "tests" / "tool" / "golden"
KINDS = ["route", "refresh", "location", "navstop", "plus", "slice"]
# The clock scripts/regen-goldens.sh pins for the example requests.
GOLDEN_NOW_MS = 1700000000000


def golden_bytes(kind: str) -> bytes:
    return bytes.fromhex(GOLDEN.joinpath(f"{kind}.hex").read_text().strip())


def record_classes(package: object) -> List[Type[Record]]:
    """Every record class of a generated package and its modules."""
    modules = [package]
    path = getattr(package, "__path__", None)
    if path is not None:
        for info in pkgutil.walk_packages(path, getattr(package, "__name__") + "."):
            modules.append(importlib.import_module(info.name))
    found: List[Type[Record]] = []
    for module in modules:
        for name in getattr(module, "__all__", []):
            cls = getattr(module, name)
            if isinstance(cls, type) and issubclass(cls, Record) and cls not in found:
                found.append(cls)
    return found


WIRE_RECORDS = [c for c in record_classes(navreq.records) if c._wire]
ENGINE_RECORDS = record_classes(navreq.params) + [c for c in record_classes(navreq.records) if not c._wire]
