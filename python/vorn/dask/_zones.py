"""Zone maps: what a partition cannot hold, so that it need not be read."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

from ._plan import Expression, column_of

# A number as plans have it (the digits of a DECIMAL without its point, days, microseconds), or the bytes of a text.
Value = int | bytes


@dataclass(frozen=True)
class Zone:
    """The values of a column in a partition: from ``low`` to ``high``, or only NULLs where these are None."""

    low: Value | None
    high: Value | None
    nulls: int

    def has(self, low: Value | None, high: Value | None) -> bool:
        """Whether a value between two bounds may be there.  None is no bound."""
        if self.low is None or self.high is None:
            return False
        return not (less(self.high, low) or less(high, self.low))


# What is known of the columns of some rows; None where nothing is.
Zones = Sequence[Zone | None]


def less(a: Value | None, b: Value | None) -> bool:
    """Whether both are there, and one is smaller."""
    if isinstance(a, bytes):
        return isinstance(b, bytes) and a < b
    return isinstance(a, int) and isinstance(b, int) and a < b


def united(zones: Sequence[Zone | None]) -> Zone | None:
    """The zone of the rows of several zones."""
    out = Zone(None, None, 0)
    for zone in zones:
        if zone is None:
            return None
        nulls = out.nulls + zone.nulls
        if out.low is None or out.high is None:
            out = Zone(zone.low, zone.high, nulls)
        elif zone.low is None or zone.high is None:
            out = Zone(out.low, out.high, nulls)
        else:
            low = zone.low if less(zone.low, out.low) else out.low
            out = Zone(low, zone.high if less(out.high, zone.high) else out.high, nulls)
    return out


def scalar(value: dict[str, Any] | None) -> Value | None:
    """A value of a plan.  None for NULL, and for a double, whose order a zone does not follow."""
    if value is None:
        return None
    if "integer" in value:
        return int(value["integer"])
    return bytes.fromhex(value["bytes"]) if "bytes" in value else None


def may_hold(condition: Expression, zones: Zones) -> bool:
    """Whether a condition may be true for a row of these zones.  What is not understood may be."""
    kind = condition["operation"]
    inside = condition.get("children", [])
    if kind == "all_of":
        return all(may_hold(each, zones) for each in inside)
    if kind == "any_of":
        return any(may_hold(each, zones) for each in inside)
    if kind in _mirrored:
        return _comparison_may_hold(kind, inside[0], inside[1], zones)
    zone = _zone_of(inside[0], zones) if inside else None
    if zone is None:
        return True
    if kind == "is_null":
        return zone.nulls > 0
    if kind == "is_not_null":
        return zone.low is not None
    if kind == "in":
        values = [scalar(each.get("value")) for each in inside[1:] if each["operation"] == "constant"]
        if len(values) == len(inside) - 1 and None not in values:
            return any(zone.has(value, value) for value in values)
    return True


_mirrored = {
    "equal": "equal",
    "less": "greater",
    "less_equal": "greater_equal",
    "greater": "less",
    "greater_equal": "less_equal",
}


def _comparison_may_hold(kind: str, left: Expression, right: Expression, zones: Zones) -> bool:
    if left["operation"] == "constant":
        left, right, kind = right, left, _mirrored[kind]
    zone = _zone_of(left, zones)
    value = scalar(right.get("value")) if right["operation"] == "constant" else None
    if zone is None or value is None:
        return True
    if kind == "equal":
        return zone.has(value, value)
    if kind in ("less", "less_equal"):
        is_there = zone.has(None, value)
        return is_there and not (kind == "less" and zone.low == value)
    return zone.has(value, None) and not (kind == "greater" and zone.high == value)


def _zone_of(expression: Expression, zones: Zones) -> Zone | None:
    index = column_of(expression)
    return None if index is None else zones[index]
