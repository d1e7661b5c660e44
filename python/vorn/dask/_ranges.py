"""Rows by ranges of a column, for tables whose partitions hold different ranges of it.

The files of orders and of their items are often sorted by the number of the order.  A task that joins some of the items
then needs the orders of the same range only, and reads them from their files: no row goes from one task to another.
"""

from __future__ import annotations

import itertools
from bisect import bisect_left, bisect_right
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass, replace
from typing import Any, cast

from . import _plan
from ._plan import Node, children, column, column_of, filtered, join_kind, no_rows, walk, width
from ._rows import Fragment, Rows, empty
from ._tables import RowGroup
from ._zones import Value, Zone, less, united

# The row groups of the files of all tables.
Files = Mapping[str, Sequence[RowGroup]]
row_group_rows = 65536


@dataclass(frozen=True)
class Range:
    """Values from ``low`` to ``high``; without ``low`` itself where ``is_open``."""

    low: Value
    high: Value
    is_open: bool = False

    def has_part_of(self, zone: Zone) -> bool:
        """Whether a value of the zone may be in the range."""
        return zone.has(self.low, self.high) and not (self.is_open and zone.high == self.low)

    def has_all_of(self, zone: Zone) -> bool:
        """Whether all values of the zone are in the range.  NULLs are not."""
        begins_below = less(zone.low, self.low) or (self.is_open and zone.low == self.low)
        return zone.nulls == 0 and not begins_below and not less(self.high, zone.high)

    @property
    def zone(self) -> Zone:
        """The zone of the rows of the range."""
        low = self.low
        if self.is_open:
            low = low + 1 if isinstance(low, int) else low + b"\0"
        return Zone(low, self.high, 0)


def _constant(value: Value, type_name: str) -> _plan.Expression:
    scalar = {"integer": str(value)} if isinstance(value, int) else {"bytes": value.hex()}
    return {"operation": "constant", "type": type_name, "value": scalar}


def _between(of: Range, index: int, type_name: str) -> list[_plan.Expression]:
    read = column(index, type_name)
    bounds = (("greater" if of.is_open else "greater_equal", of.low), ("less_equal", of.high))
    return [
        {"operation": kind, "type": "BOOLEAN", "children": [read, _constant(bound, type_name)]}
        for kind, bound in bounds
    ]


def restricted(node: Node, index: int, to: Range, files: Files) -> Node:
    """The rows of an operator whose column is in a range.  The condition goes down to the scans where it can."""
    kind = node["operator"]
    below = children(node)
    source: int | None = None
    side = 0
    if kind in ("filter", "distinct"):
        source = index
    elif kind == "projection":
        source = column_of(node["expressions"][index])
    elif kind == "aggregate" and index < len(node.get("groups", [])) and "grouping_sets" not in node:
        source = column_of(node["groups"][index])
    elif kind == "union_all":
        return {**node, "children": [restricted(child, index, to, files) for child in below]}
    elif kind == "join":
        n = width(below[0])
        side = int(index >= n)
        kinds = ("inner", "right") if side else ("inner", "left", "semi", "anti", "mark", "single")
        if join_kind(node) in kinds:
            source = index - n * side
    if source is None:
        if kind == "scan":
            node = _some_row_groups(node, index, to, files)
        return filtered(node, *_between(to, index, node["types"][index]))
    moved = [restricted(child, source, to, files) if i == side else child for i, child in enumerate(below)]
    return {**node, "children": moved}


def _some_row_groups(scan: Node, index: int, to: Range, files: Files) -> Node:
    """The scan without row groups at its ends that have no value of a range."""
    if not scan["table"].endswith(".vorn") or scan["table"] not in files:
        return scan  # parts of a Parquet file would be encoded several times
    groups = files[scan["table"]]
    first, end = scan.get("row_groups") or (0, len(groups))
    zones = [group.zones[scan["table_columns"][index]] for group in groups[first:end]]
    kept = [first + i for i, zone in enumerate(zones) if zone is None or to.has_part_of(zone)]
    if not kept:
        return no_rows(scan["types"])
    return {**scan, "row_groups": [kept[0], kept[-1] + 1]}


def _scans(fragment: Fragment, files: Files) -> Iterator[tuple[Node, int]]:
    """The scans of a fragment, and how many rows of a file or of another task each reads."""
    for node in walk(fragment.plan):
        if node["operator"] != "scan":
            continue
        if node["table"] in fragment.pieces:
            yield node, fragment.pieces[node["table"]].rows
        else:
            first, end = node.get("row_groups") or (0, None)
            yield node, sum(group.rows for group in files[node["table"]][first:end])


def rows_read(fragment: Fragment, files: Files) -> int:
    """How many rows of files and of other tasks a fragment reads."""
    return sum(rows for _, rows in _scans(fragment, files))


def bytes_read(fragment: Fragment, files: Files, cell_bytes: Mapping[str, float]) -> float:
    """About how many bytes a fragment reads, if the columns of a file have the same size."""
    return sum(
        piece.bytes if (piece := fragment.pieces.get(node["table"])) else rows * width(node) * cell_bytes[node["table"]]
        for node, rows in _scans(fragment, files)
    )


def may_be_cut(rows: Rows, index: int) -> bool:
    """Whether it is known which values of a column each fragment has, and whether reading a part of it is possible."""
    return all(f.is_empty or (f.zones[index] is not None and not f.is_volatile) for f in rows.fragments)


def rows_in(rows: Rows, index: int, ranges: Sequence[Range | None], files: Files) -> list[Fragment]:
    """For each range the rows whose column is in it, of whatever fragments have them.  No range has no rows."""
    known = [(zone, i) for i, f in enumerate(rows.fragments) if (zone := f.zones[index]) and zone.low is not None]
    known.sort(key=lambda each: cast(Any, each[0].low))
    lows: list[Any] = [zone.low for zone, _ in known]
    highs: list[Any] = list(itertools.accumulate((zone.high for zone, _ in known), cast(Any, max)))
    out = []
    for to in ranges:
        # Fragments of a sorted table are found by their bounds, so that not all of them are looked at for each range.
        first, end = (bisect_left(highs, to.low), bisect_right(lows, to.high)) if to else (0, 0)
        places = sorted(i for _, i in known[first:end])
        out.append(_rows_in(rows, [rows.fragments[i] for i in places], index, to, files) if to else empty(rows.types))
    return out


def _rows_in(rows: Rows, fragments: Sequence[Fragment], index: int, to: Range, files: Files) -> Fragment:
    parts = []
    for f in fragments:
        zone = f.zones[index]
        if f.is_empty or zone is None or not to.has_part_of(zone):
            continue
        if to.has_all_of(zone):
            parts.append(f)
        else:
            part = f.with_plan(restricted(f.plan, index, to, files), zones=f.zones)
            parts.append(replace(part, rows=min(f.rows, rows_read(part, files))))
    if not parts:
        return empty(rows.types)
    zones = [united([part.zones[c] for part in parts]) for c in range(len(rows.types))]
    zones[index] = to.zone
    pieces = {name: piece for part in parts for name, piece in part.pieces.items()}
    return Fragment(_plan.union([part.plan for part in parts]), sum(part.rows for part in parts), pieces, tuple(zones))


def are_apart(rows: Rows, index: int) -> bool:
    """Whether no value of a column is in two fragments."""
    zones = [f.zones[index] for f in rows.fragments if not f.is_empty]
    known = [zone for zone in zones if zone is not None and zone.low is not None]
    if len(known) < len(zones) or sum(zone.nulls > 0 for zone in known) > 1:
        return False
    ordered = _by_high(known)
    return all(less(a.high, b.low) for a, b in itertools.pairwise(ordered))


def set_apart(rows: Rows, index: int, files: Files) -> Rows | None:
    """The same rows in fragments of which no two have the same value of a column.

    None where fragments have so much in common that they would be read several times, or are joins, of which the
    parts would be built again.
    """
    simple = ("scan", "filter", "projection", "values")
    if not may_be_cut(rows, index) or not all(n["operator"] in simple for f in rows.fragments for n in walk(f.plan)):
        return None
    zones = [zone for f in rows.fragments if not f.is_empty and (zone := f.zones[index]) is not None]
    if any(zone.nulls > 0 or zone.low is None for zone in zones):
        return None
    ranges: list[Range] = []
    for zone in _by_high(zones):
        assert zone.low is not None
        assert zone.high is not None
        if not ranges or less(ranges[-1].high, zone.low):
            ranges.append(Range(zone.low, zone.high))
        elif less(ranges[-1].high, zone.high):
            ranges.append(Range(ranges[-1].high, zone.high, is_open=True))
    if ranges and any(less(zone.low, ranges[0].low) for zone in zones):
        return None
    fragments = rows_in(rows, index, ranges, files)
    if reads_too_much(fragments, rows, files):
        return None
    return Rows(rows.types, fragments or [empty(rows.types)], True, rows.distinct)


def reads_too_much(parts: Sequence[Fragment], of: Rows, files: Files) -> bool:
    """Whether fragments that read parts of rows would read most rows several times."""
    once = sum(rows_read(f, files) for f in of.fragments)
    return sum(rows_read(part, files) for part in parts) > 1.5 * once + row_group_rows * len(parts)


def _by_high(zones: list[Zone]) -> list[Zone]:
    return sorted(zones, key=lambda zone: (zone.high, zone.low))
