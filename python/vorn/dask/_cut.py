"""Cuts a plan at the places where rows have to go from one process to another.

An operator over a spread table runs in each partition.  Where rows of several partitions meet, there is one of these:

* broadcast: the small side of a join goes to each task that has a part of the other side.
* exchange: rows of equal keys go to one task, by the hash of the keys.
* merge: partial aggregates of all tasks, or the first rows of an order, go to one task.

Tasks run while the plan is cut, where the size of what they made decides how the plan goes on.  Where it does not, the
plan goes on with rows that are not there yet.
"""

from __future__ import annotations

import json
import math
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, replace

from adbc_driver_manager.dbapi import NotSupportedError

from .._connection import known_name
from . import _plan
from ._aggregates import Aggregation, separate_distinct, split_aggregates
from ._plan import Expression, Node, children, column, column_of, projection, width
from ._ranges import Range, are_apart, bytes_read, may_be_cut, reads_too_much, rows_in, set_apart
from ._rows import Fragment, Piece, Rows, Runner, empty, joined, local, over_pieces, whole
from ._tables import Partition, Table
from ._zones import Zone, may_hold


@dataclass(frozen=True)
class Settings:
    """What decides between the ways, see :func:`vorn.dask.sql`."""

    broadcast_bytes: int = 16 << 20
    partition_bytes: int = 64 << 20
    task_bytes: int = 128 << 20
    merged_rows: int = 200_000
    fan_in: int = 16
    skew: float = 4.0
    ranges: bool = True


def refuse(what: str) -> NotSupportedError:
    """The error for what is not executed on a cluster."""
    return NotSupportedError(
        f"NOT_IMPLEMENTED: not spread over a cluster: {what}",
        sqlstate="0A000",
    )


class Cutter:
    """Cuts one plan."""

    def __init__(self, tables: Mapping[str, Table], runner: Runner, settings: Settings) -> None:
        self._tables = tables
        self.files = {file: groups for table in tables.values() for file, groups in table.files.items()}
        self._cell_bytes = {
            p.file: p.bytes / max(p.rows, 1) / len(table.columns) for table in tables.values() for p in table.partitions
        }
        self._runner = runner
        self._settings = settings
        self._kept: dict[int, Rows] = {}
        self.partitions = 0  # that tasks read
        self.skipped_partitions = 0  # that zone maps ruled out

    def run(self, root: Node) -> list[Piece]:
        """The rows of a plan."""
        rows = self._rows(_plan.narrowed_whole(root))
        return [piece for made in self._run("result", rows) for piece in made if piece is not None]

    def _rows(self, node: Node) -> Rows:
        made = _operators.get(node["operator"])
        if made is None:
            raise refuse(node["operator"].replace("_", " "))
        return made(self, node)

    def _child(self, node: Node, index: int = 0) -> Rows:
        return self._rows(children(node)[index])

    # Rows of tables

    def _scan(self, node: Node) -> Rows:
        return self._scanned(node, [])

    def _scanned(self, node: Node, conditions: Sequence[Expression]) -> Rows:
        table = self._tables.get(known_name(node["table"]))
        if table is None:
            raise refuse(f"the table {node['table']}, which is none of the tables of the query")
        columns = node["table_columns"]
        fragments = [self._partition(node, each) for each in table.partitions]
        kept = [f for f in fragments if all(may_hold(each, f.zones) for each in conditions)]
        self.partitions += len(kept)
        self.skipped_partitions += len(fragments) - len(kept)
        distinct = [table.columns[c].distinct for c in columns]
        is_spread = len(table.partitions) > 1
        return Rows(list(node["types"]), kept or [empty(node["types"])], is_spread, distinct)

    @staticmethod
    def _partition(node: Node, partition: Partition) -> Fragment:
        columns = node["table_columns"]
        zones = tuple(partition.zones[c] for c in columns)
        plan = {**node, "table": partition.file}
        if partition.row_groups is not None:
            plan["row_groups"] = [partition.row_groups.start, partition.row_groups.stop]
        return Fragment(plan, partition.rows, zones=zones)

    def _values(self, node: Node) -> Rows:
        return local(Fragment(node, len(node.get("rows", [])), zones=(None,) * width(node)))

    # Operators on the rows of each partition

    def _filter(self, node: Node) -> Rows:
        conditions = node["expressions"]
        below = children(node)[0]
        rows = self._scanned(below, conditions) if below["operator"] == "scan" else self._child(node)
        made = [
            f if f.is_empty else f.with_plan(_plan.filtered(f.plan, *conditions), zones=f.zones) for f in rows.fragments
        ]
        return replace(rows, fragments=made)

    def _projection(self, node: Node) -> Rows:
        return self._projected(self._child(node), node["expressions"])

    def _projected(self, rows: Rows, expressions: Sequence[Expression]) -> Rows:
        types = [each["type"] for each in expressions]
        sources = [column_of(each) for each in expressions]

        def made(f: Fragment) -> Fragment:
            if f.is_empty:
                return empty(types)
            zones = [None if c is None else f.zones[c] for c in sources]
            return f.with_plan(projection(f.plan, expressions), zones=zones)

        distinct = [None if c is None else rows.distinct[c] for c in sources]
        places = {c: i for i, c in enumerate(sources) if c is not None}
        by = None
        if rows.by is not None:
            moved = [frozenset(places[c] for c in same if c in places) for same in rows.by]
            by = moved if all(moved) else None
        return Rows(types, [made(f) for f in rows.fragments], rows.is_spread, distinct, by)

    def _union_all(self, node: Node) -> Rows:
        first, second = self._child(node, 0), self._child(node, 1)
        unknown: list[int | None] = [None] * len(first.types)
        if first.is_spread or second.is_spread:
            return Rows(first.types, first.fragments + second.fragments, True, unknown)
        a, b = first.fragments[0], second.fragments[0]
        plan = {**node, "children": [a.plan, b.plan]}
        return local(joined(plan, a, b, [None] * width(node), a.rows + b.rows))

    # Rows that meet in one task

    def _run(
        self,
        title: str,
        rows: Rows,
        partitions: int = 1,
        by: Sequence[int] = (),
        is_awaited: bool = False,
        together: Callable[[Node], Node] | None = None,
    ) -> list[list[Piece | None]]:
        """Runs the fragments.  ``together`` makes less of the rows of several fragments."""
        # The fragments of both sides of an exchange stay apart, since they belong together one by one.
        fragments = rows.fragments if rows.by is not None else self._bundled(rows.fragments, together)
        return self._runner.run(title, fragments, partitions, by, is_awaited)

    def _bundled(self, fragments: list[Fragment], together: Callable[[Node], Node] | None) -> list[Fragment]:
        """Neighbours as one fragment where each has little to read.  A task costs Dask some milliseconds.

        There are tasks for all threads, and more where a task would read more than ``task_bytes``, or an eighth of the
        memory that it may take.
        """
        full = [f for f in fragments if not f.is_empty]
        weights = [bytes_read(f, self.files, self._cell_bytes) for f in full]
        threads, total = self._runner.threads, sum(weights)
        most, memory = self._settings.task_bytes, self._runner.task_memory
        if memory is not None:
            most = min(most, memory // 8)
        rounds = math.ceil(total / most / threads) if most else len(full)
        count = max(rounds, 1) * threads
        if len(full) <= count or total == 0:
            return fragments
        bundles: list[list[Fragment]] = [[] for _ in range(count)]
        before = 0.0
        for f, weight in zip(full, weights, strict=True):
            bundles[min(int((before + weight / 2) / total * count), count - 1)].append(f)
            before += weight
        return [_bundle(each, together) for each in bundles if each]

    def _gathered(self, title: str, rows: Rows, together: Callable[[Node], Node] | None = None) -> Rows:
        """All rows for one task, in their order."""
        if not rows.is_spread:
            return rows
        pieces = [p for made in self._run(title, rows, together=together) for p in made if p is not None]
        return local(over_pieces(pieces, rows.types), rows.distinct)

    def _order(self, node: Node) -> Rows:
        rows = self._child(node)
        together = None
        if rows.is_spread and "limit" in node:
            first = {**node, "limit": node["limit"] + node.get("offset", 0)}
            first.pop("offset", None)
            rows = self._mapped(rows, first, most=first["limit"])

            def together(child: Node) -> Node:
                return {**first, "types": child["types"], "children": [child]}

        return self._mapped(self._gathered("order", rows, together), node, most=node.get("limit"))

    def _limit(self, node: Node) -> Rows:
        if "percent" in node:
            raise refuse("LIMIT of a percentage")
        rows = self._child(node)
        if rows.is_spread and "limit" in node:
            most = node["limit"] + node.get("offset", 0)
            rows = self._mapped(rows, _plan.limited(children(node)[0], most), most=most)
        return self._mapped(self._gathered("limit", rows), node, most=node.get("limit"))

    @staticmethod
    def _mapped(rows: Rows, node: Node, most: int | None = None) -> Rows:
        """An operator over the rows of each fragment, which gives the same columns."""

        def made(f: Fragment) -> Fragment:
            plan = {**node, "types": f.plan["types"], "children": [f.plan]}
            return f if f.is_empty else f.with_plan(plan, f.rows if most is None else min(f.rows, most), f.zones)

        return replace(rows, fragments=[made(f) for f in rows.fragments])

    def _shared(self, node: Node) -> Rows:
        kept = self._child(node, 0)
        made = self._run(f"shared rows {node.get('shared_index', 0)}", kept)
        fragments = [over_pieces([piece for piece in each if piece is not None], kept.types) for each in made]
        self._kept[node.get("shared_index", 0)] = replace(kept, fragments=fragments)
        return self._child(node, 1)

    def _shared_reference(self, node: Node) -> Rows:
        return self._kept[node.get("shared_index", 0)]

    # Exchanges

    def _partitions(self, rows: Rows) -> int:
        wanted = -(-rows.estimated_bytes // self._settings.partition_bytes)
        return max(self._runner.threads, wanted)

    def _exchanged(self, title: str, rows: Rows, keys: Sequence[Expression], partitions: int) -> list[list[Piece]]:
        """The pieces of each partition by the hash of keys.  Keys that are no columns come after the columns."""
        made = self._split(title, rows, keys, partitions)
        return [[p for each in made if (p := each[i]) is not None] for i in range(partitions)]

    def _split(self, title: str, rows: Rows, keys: Sequence[Expression], partitions: int) -> list[list[Piece | None]]:
        """The pieces of each task by the hash of keys."""
        by = [column_of(key) for key in keys]
        added = [key for key, c in zip(keys, by, strict=True) if c is None]
        n = len(rows.types)
        if added:
            rows = self._projected(rows, [column(c, t) for c, t in enumerate(rows.types)] + added)
        places = iter(range(n, n + len(added)))
        columns = [next(places) if c is None else c for c in by]
        return self._run(title, rows, partitions, columns)

    # Aggregates

    def _distinct(self, node: Node) -> Rows:
        below = children(node)[0]
        groups = [column(c, t) for c, t in enumerate(below["types"])]
        return self._aggregate(_plan.aggregation(below, groups, []))

    def _aggregate(self, node: Node) -> Rows:
        rows = self._child(node)
        groups, aggregates = node.get("groups", []), node.get("aggregates", [])
        sets = node.get("grouping_sets")
        if not rows.is_spread:
            return self._aggregated(rows, groups, lambda child: {**node, "children": [child]})
        is_together = bool(groups) and not sets and self._are_together(rows, groups)
        if groups and not sets and not is_together and self._settings.ranges:
            apart = self._set_apart(rows, groups)
            rows, is_together = (rows, False) if apart is None else (apart, True)
        if not is_together and any(each.get("is_distinct") for each in aggregates):
            if sets:
                raise refuse("an aggregate with DISTINCT and grouping sets")
            steps = separate_distinct(groups, aggregates)
            if not isinstance(steps, str):
                first = self._aggregated(rows, steps.groups, steps.first.partial)
                keys = [column(c, first.types[c]) for c in range(len(steps.groups))]
                rows = self._by_keys("distinct", first, keys)
                partial = self._aggregated(rows, steps.then.group_expressions, steps.then.partial)
                return self._merged(partial, steps.then, may_exchange=bool(groups))
            if not groups:
                raise refuse(steps)
            rows = self._by_keys("distinct", rows, groups)
            is_together = True
        if is_together:
            return self._aggregated(rows, groups, lambda child: {**node, "children": [child]})
        split = split_aggregates(groups, aggregates, sets)
        if isinstance(split, str):
            raise refuse(split)
        partial = self._aggregated(rows, groups, split.partial)
        return self._merged(partial, split, may_exchange=bool(groups) and not sets)

    @staticmethod
    def _are_together(rows: Rows, groups: Sequence[Expression]) -> bool:
        """Whether all rows of a group are in one fragment."""
        columns = {c for group in groups if (c := column_of(group)) is not None}
        if rows.by is not None and all(same & columns for same in rows.by):
            return True
        return any(are_apart(rows, c) for c in columns)

    def _set_apart(self, rows: Rows, groups: Sequence[Expression]) -> Rows | None:
        """The rows, each group in one fragment, where there are many groups and files have them together."""
        columns = [column_of(group) for group in groups]
        count = rows.groups(columns)
        if count is None or count <= self._settings.merged_rows:
            return None
        made = (set_apart(rows, c, self.files) for c in columns if c is not None)
        return next((each for each in made if each is not None), None)

    @staticmethod
    def _aggregated(rows: Rows, groups: Sequence[Expression], made: Callable[[Node], Node]) -> Rows:
        columns = [column_of(group) for group in groups]
        count = rows.groups(columns) if groups else 1
        fragments = []
        for f in rows.fragments:
            if f.is_empty and groups:
                fragments.append(empty(made(f.plan)["types"]))
            else:
                zones = [None if c is None else f.zones[c] for c in columns]
                plan = made(f.plan)
                zones += [None] * (width(plan) - len(zones))
                most = max(f.rows, 1) if count is None else min(f.rows, count) or 1
                fragments.append(f.with_plan(plan, most, zones))
        types = fragments[0].plan["types"]
        distinct = [None if c is None else rows.distinct[c] for c in columns]
        distinct += [None] * (len(types) - len(distinct))
        by = None
        if rows.by is not None:
            moved = [frozenset(i for i, c in enumerate(columns) if c in same) for same in rows.by]
            by = moved if all(moved) else None
        return Rows(list(types), fragments, rows.is_spread, distinct, by)

    def _by_keys(self, title: str, rows: Rows, keys: Sequence[Expression]) -> Rows:
        """The rows, in fragments by the hash of keys; in one fragment where there are few."""
        partitions = self._partitions(rows)
        made = self._split(title, rows, keys, partitions)
        all_of = [piece for each in made if (piece := whole(each)) is not None]
        if len(all_of) <= self._settings.fan_in and sum(piece.rows for piece in all_of) <= self._settings.merged_rows:
            return local(over_pieces(all_of, rows.types), rows.distinct)
        pieces = [[p for each in made if (p := each[i]) is not None] for i in range(partitions)]
        columns = [column_of(key) for key in keys]
        by = None if None in columns else [frozenset([c]) for c in columns if c is not None]
        return Rows(rows.types, [over_pieces(each, rows.types) for each in pieces], True, rows.distinct, by)

    def _merged(self, partial: Rows, split: Aggregation, may_exchange: bool) -> Rows:
        if not partial.is_spread:
            return self._finished(partial, split)
        limit = self._settings.merged_rows
        n = split.groups
        keys = [column(c, partial.types[c]) for c in range(n)]
        count = partial.groups(list(range(n)))
        if may_exchange and count is not None and count > limit:
            return self._finished(self._by_keys("aggregate", partial, keys), split)
        # Without groups each task gives a row, and without any task the row of no rows is still there.
        if not n and all(f.is_empty for f in partial.fragments):
            partial = replace(partial, fragments=partial.fragments[:1])
        may_exchange = may_exchange and count is None and partial.rows > limit
        made = self._run("aggregate", partial, is_awaited=may_exchange, together=split.merge)
        pieces = [p for each in made for p in each if p is not None]
        if may_exchange and sum(p.rows for p in pieces) > limit:
            spread = replace(partial, fragments=[over_pieces([p], partial.types) for p in pieces])
            return self._finished(self._by_keys("aggregate", spread, keys), split)
        while len(pieces) > self._settings.fan_in:
            step = self._settings.fan_in
            parts = [pieces[i : i + step] for i in range(0, len(pieces), step)]
            fragments = [over_pieces(part, partial.types) for part in parts]
            again = [f.with_plan(split.merge(f.plan)) for f in fragments]
            pieces = [p for each in self._runner.run("merge", again) for p in each if p is not None]
        return self._finished(local(over_pieces(pieces, partial.types), partial.distinct), split)

    @staticmethod
    def _finished(rows: Rows, split: Aggregation) -> Rows:
        fragments = [
            empty(split.types) if f.is_empty and split.groups and not split.sets else f.with_plan(split.finish(f.plan))
            for f in rows.fragments
        ]
        distinct = rows.distinct[: split.groups]
        distinct += [None] * (len(split.types) - len(distinct))
        return Rows(split.types, fragments, rows.is_spread, distinct, rows.by)

    # Joins

    def _join(self, node: Node) -> Rows:
        return _Join(self, node).rows(self._child(node, 0), self._child(node, 1))

    def broadcast_local(self, title: str, rows: Rows) -> Rows:
        """Rows of one task that several tasks can read."""
        fragment = rows.fragments[0]
        if fragment.is_cheap or fragment.is_empty or _is_piece(fragment):
            return rows
        pieces = [p for p in self._run(title, rows)[0] if p is not None]
        return local(over_pieces(pieces, rows.types), rows.distinct)

    def broadcast_pieces(self, title: str, pieces: Sequence[Piece], types: Sequence[str]) -> Rows:
        """Pieces that several tasks can read.  Many are made one first."""
        rows = local(over_pieces(pieces, types))
        return self.broadcast_local(title, rows) if len(pieces) > self._settings.fan_in else rows


def _bundle(fragments: Sequence[Fragment], together: Callable[[Node], Node] | None) -> Fragment:
    """The rows of all fragments, for one task."""
    if len(fragments) == 1:
        return fragments[0]
    plan = _plan.union([f.plan for f in fragments])
    pieces = {name: piece for f in fragments for name, piece in f.pieces.items()}
    return Fragment(plan if together is None else together(plan), sum(f.rows for f in fragments), pieces)


def _range_of(zone: Zone | None) -> Range | None:
    return None if zone is None or zone.low is None or zone.high is None else Range(zone.low, zone.high)


def _is_piece(fragment: Fragment) -> bool:
    return fragment.plan["operator"] == "scan" and len(fragment.pieces) == 1


# Which side may be copied to each task: a row of it may be found by several tasks, and none of them may give it when it
# has no partner.
_may_copy_right = ("inner", "left", "semi", "anti", "mark", "single")
_may_copy_left = ("inner", "right")


class _Join:
    """A join of two sides, of which at least one may be spread."""

    def __init__(self, cutter: Cutter, node: Node) -> None:
        self._cutter = cutter
        self._settings = cutter._settings
        self._node = node
        self._kind = "inner" if node["operator"] == "cross_product" else _plan.join_kind(node)
        self._n = width(children(node)[0])
        self._equal = [
            each
            for each in node.get("conditions", [])
            if each.get("comparison", "equal") in ("equal", "not_distinct_from")
            and each["left"]["type"] == each["right"]["type"]
        ]

    @property
    def _name(self) -> str:
        return "cross product" if self._node["operator"] == "cross_product" else f"{self._kind} join"

    def rows(self, left: Rows, right: Rows) -> Rows:
        if not left.is_spread and not right.is_spread:
            return self._pairs(left, right, [(left.fragments[0], right.fragments[0])], False)
        if not right.is_spread and self._kind in _may_copy_right:
            return self._with_copied_right(left, self._cutter.broadcast_local("broadcast", right))
        if not left.is_spread and self._kind in _may_copy_left:
            return self._with_copied_left(self._cutter.broadcast_local("broadcast", left), right)
        if self._kind != "mark" and self._equal and (together := self._as_they_are(left, right)) is not None:
            return together
        if self._kind != "mark" and self._settings.ranges and (together := self._by_ranges(left, right)) is not None:
            return together
        return self._measured(left, right)

    # The ways

    def _with_copied_right(self, left: Rows, right: Rows) -> Rows:
        copied = right.fragments[0]
        return self._pairs(left, right, [(each, copied) for each in left.fragments], left.is_spread, left.by)

    def _with_copied_left(self, left: Rows, right: Rows) -> Rows:
        copied = left.fragments[0]
        by = None if right.by is None else [frozenset(self._n + c for c in same) for same in right.by]
        return self._pairs(left, right, [(copied, each) for each in right.fragments], right.is_spread, by)

    def _as_they_are(self, left: Rows, right: Rows) -> Rows | None:
        """Both sides are spread by the same keys already."""
        conditions = self._conditions_of(left.by, "left")
        other = self._conditions_of(right.by, "right")
        if conditions is None or other is None or len(left.fragments) != len(right.fragments):
            return None
        if [json.dumps(c) for c in conditions] != [json.dumps(c) for c in other]:
            return None
        pairs = list(zip(left.fragments, right.fragments, strict=True))
        return self._pairs(left, right, pairs, True, self._by(conditions))

    def _by_ranges(self, left: Rows, right: Rows) -> Rows | None:
        """Each fragment of a side reads the rows of the other side that are in the range of its keys."""
        sides = []
        if self._kind in _may_copy_right:
            sides.append((left.rows, left, right, "left", "right"))
        if self._kind in _may_copy_left:
            sides.append((right.rows, right, left, "right", "left"))
        for _, base, other, base_side, other_side in sorted(sides, key=lambda side: -side[0]):
            for each in self._equal:
                key, other_key = column_of(each[base_side]), column_of(each[other_side])
                if key is None or other_key is None or each.get("comparison", "equal") != "equal":
                    continue
                if not may_be_cut(base, key) or not may_be_cut(other, other_key):
                    continue
                ranges = [_range_of(f.zones[key]) for f in base.fragments]
                parts = rows_in(other, other_key, ranges, self._cutter.files)
                # More means that the other side is not sorted by the key.
                if reads_too_much(parts, other, self._cutter.files):
                    continue
                pairs = list(zip(base.fragments, parts, strict=True))
                if base_side == "right":
                    pairs = [(b, a) for a, b in pairs]
                return self._pairs(left, right, pairs, True)
        return None

    def _measured(self, left: Rows, right: Rows) -> Rows:
        """Runs the side that seems smaller.  Its size decides between broadcast and exchange."""
        sides = []
        if self._kind in _may_copy_right:
            sides.append((right.rows, "right"))
        if self._kind in _may_copy_left:
            sides.append((left.rows, "left"))
        must_copy = self._kind == "mark" or not self._equal
        if must_copy and not sides:
            raise refuse(f"a {self._name} without equal keys")
        if not sides:
            return self._exchange(left, right, None, [], "")
        side = min(sides)[1]
        small, large = (right, left) if side == "right" else (left, right)
        conditions, partitions = self._plan_exchange(left, right)
        limit = self._settings.broadcast_bytes
        keys = [each[side] for each in conditions]
        run, types = self._cutter._run, small.types
        # Columns of 24 bytes: it is not worth waiting for the size.
        must_copy = must_copy or 8 * small.estimated_bytes <= limit
        is_split = not must_copy and small.estimated_bytes > 4 * limit and self._conditions_of(small.by, side) is None
        if is_split:
            split = self._cutter._exchanged("exchange", small, keys, partitions)
            pieces = [piece for each in split for piece in each]
        else:
            made = run("broadcast" if must_copy else "join side", small, is_awaited=not must_copy)
            pieces = [piece for each in made for piece in each if piece is not None]
        if must_copy or sum(piece.bytes for piece in pieces) <= limit:
            copied = self._cutter.broadcast_pieces("broadcast", pieces, types)
            return self._with_copied_right(large, copied) if side == "right" else self._with_copied_left(copied, large)
        if not is_split:
            fragments = [over_pieces([p for p in each if p is not None], types) for each in made]
            small = replace(small, fragments=fragments)
            split = []
        if side == "right":
            return self._exchange(left, small, conditions, split, side)
        return self._exchange(small, right, conditions, split, side)

    # Exchange

    def _conditions_of(self, by: list[frozenset[int]] | None, side: str) -> list[Node] | None:
        """The conditions whose keys on a side are those by which its rows are spread; None without such ones."""
        if by is None:
            return None
        found = []
        for same in by:
            match = [each for each in self._equal if column_of(each[side]) in same]
            if not match:
                return None
            found.append(match[0])
        return found

    def _plan_exchange(self, left: Rows, right: Rows) -> tuple[list[Node], int]:
        """The conditions by which rows are exchanged, and the number of partitions."""
        for rows, side in ((left, "left"), (right, "right")):
            conditions = self._conditions_of(rows.by, side)
            if conditions is not None:
                return conditions, len(rows.fragments)
        return self._equal, max(self._cutter._partitions(left), self._cutter._partitions(right))

    def _exchange(
        self, left: Rows, right: Rows, conditions: list[Node] | None, split: list[list[Piece]], split_side: str
    ) -> Rows:
        partitions = len(split)
        if conditions is None or not split:
            conditions, partitions = self._plan_exchange(left, right)
        by_side: dict[str, list[list[Piece]] | None] = {}
        for rows, side in ((left, "left"), (right, "right")):
            if split and side == split_side:
                by_side[side] = split
            elif len(rows.fragments) == partitions and self._conditions_of(rows.by, side) == conditions:
                by_side[side] = None  # each row is in its partition already
            else:
                keys = [each[side] for each in conditions]
                by_side[side] = self._cutter._exchanged("exchange", rows, keys, partitions)
        lefts, rights = by_side["left"], by_side["right"]
        pairs: list[tuple[Fragment, Fragment]] = []
        is_even = True
        for i in range(partitions):
            l_parts = self._parts(lefts, i, left, self._may_split("left"))
            r_parts = self._parts(rights, i, right, self._may_split("right")) if len(l_parts) == 1 else []
            if len(l_parts) > 1:
                r_parts = [right.fragments[i] if rights is None else over_pieces(rights[i], right.types)]
            is_even = is_even and len(l_parts) == len(r_parts) == 1
            pairs += [(a, b) for a in l_parts for b in r_parts]
        return self._pairs(left, right, pairs, True, self._by(conditions) if is_even else None)

    def _may_split(self, side: str) -> bool:
        return self._kind in (_may_copy_right if side == "left" else _may_copy_left)

    def _parts(self, pieces: list[list[Piece]] | None, i: int, rows: Rows, may_split: bool) -> list[Fragment]:
        """The rows of a partition: several fragments of it where it has far more rows than the others."""
        if pieces is None:
            return [rows.fragments[i]]
        counts = [sum(piece.rows for piece in each) for each in pieces]
        mean = sum(counts) / len(counts)
        if not may_split or len(counts) < 2 or counts[i] <= self._skew_limit(mean, len(counts)):
            return [over_pieces(pieces[i], rows.types)]
        # Parts of about the mean of the other partitions.
        others = (sum(counts) - counts[i]) / (len(counts) - 1)
        size = max(others, counts[i] / (4 * self._cutter._runner.threads), 1)
        parts: list[list[Piece]] = [[]]
        for piece in pieces[i]:
            if parts[-1] and sum(p.rows for p in parts[-1]) + piece.rows > size:
                parts.append([])
            parts[-1].append(piece)
        return [over_pieces(part, rows.types) for part in parts]

    def _skew_limit(self, mean: float, partitions: int) -> float:
        # Of two partitions none has four times the mean, so that the factor is smaller where there are few.
        return mean * min(self._settings.skew, 1 + (partitions - 1) / 2)

    def _by(self, conditions: Sequence[Node]) -> list[frozenset[int]] | None:
        """How the rows of a join of exchanged sides are spread."""
        out = []
        for each in conditions:
            left, right = column_of(each["left"]), column_of(each["right"])
            same = set()
            # Columns of a side that NULLs may stand for say nothing.
            if left is not None and self._kind not in ("right", "full"):
                same.add(left)
            if right is not None and self._kind in ("inner", "right"):
                same.add(self._n + right)
            if not same:
                return None
            out.append(frozenset(same))
        return out

    # Fragments of both sides

    def _pairs(
        self,
        left: Rows,
        right: Rows,
        pairs: Sequence[tuple[Fragment, Fragment]],
        is_spread: bool,
        by: list[frozenset[int]] | None = None,
    ) -> Rows:
        types = _plan.join_types({**self._node, "children": [{"types": left.types}, {"types": right.types}]})
        fragments = [self._pair(a, b, types) for a, b in pairs]
        distinct = [*left.distinct, *right.distinct][: len(types)]
        if self._kind == "mark":
            distinct[-1] = 2
        if by is not None and any(c >= len(types) for same in by for c in same):
            by = None
        return Rows(types, fragments or [empty(types)], is_spread, distinct, by)

    def _pair(self, left: Fragment, right: Fragment, types: list[str]) -> Fragment:
        kind = self._kind
        none_left = left.is_empty and kind not in ("right", "full")
        none_right = right.is_empty and kind in ("inner", "right", "semi")
        if none_left or none_right:
            return empty(types)
        plan = {**self._node, "types": types, "children": [left.plan, right.plan]}
        known_left: list[Zone | None] = list(left.zones)
        known_right: list[Zone | None] = list(right.zones)
        if kind in ("right", "full"):
            known_left = [None] * len(known_left)
        if kind not in ("inner", "right"):
            known_right = [None] * len(known_right)
        rows = left.rows * right.rows if not self._equal else max(left.rows, right.rows)
        if kind in ("semi", "anti", "mark", "single"):
            rows = left.rows
        return joined(plan, left, right, [*known_left, *known_right][: len(types)], rows)


_operators: dict[str, Callable[[Cutter, Node], Rows]] = {
    "scan": Cutter._scan,
    "values": Cutter._values,
    "filter": Cutter._filter,
    "projection": Cutter._projection,
    "join": Cutter._join,
    "cross_product": Cutter._join,
    "aggregate": Cutter._aggregate,
    "distinct": Cutter._distinct,
    "order": Cutter._order,
    "limit": Cutter._limit,
    "union_all": Cutter._union_all,
    "shared": Cutter._shared,
    "shared_reference": Cutter._shared_reference,
}
