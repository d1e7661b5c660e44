"""The rows that tasks give, before and after they run."""

from __future__ import annotations

import functools
import math
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field, replace
from typing import Any, Protocol

from distributed import Future

from ._plan import Node, no_rows, scan, union, walk, width
from ._zones import Zone

# Up to this number of rows, running the operators again costs less than sending their result.
_few_rows = 65536


@dataclass
class Task:
    """A task that the scheduler knows when it has a future."""

    key: str
    value: Any  # the future, or dask.delayed before
    future: Future[Any] | None = None


@dataclass(frozen=True)
class Piece:
    """Encoded rows in the memory of a worker: a partition of what a task makes."""

    name: str
    rows: int  # not more than these
    bytes: int  # an estimate, if the task has not run
    fetch: Callable[[], Task] | None = None  # the task that gives it; None where nothing runs
    task: Task | None = None  # the task that made this and other partitions


@dataclass(frozen=True)
class Fragment:
    """A part of a plan that one task runs, and what it reads."""

    plan: Node
    rows: int  # not more than these
    pieces: Mapping[str, Piece] = field(default_factory=dict)
    zones: tuple[Zone | None, ...] = ()  # of the columns

    @property
    def is_empty(self) -> bool:
        """Whether it is known that there are no rows."""
        return self.plan["operator"] == "values" and not self.plan.get("rows")

    @property
    def reads_files(self) -> bool:
        """Whether there are rows that do not come from other tasks."""
        return any(node["operator"] == "scan" and node["table"] not in self.pieces for node in walk(self.plan))

    @property
    def estimated_bytes(self) -> int:
        """A guess before anything has run."""
        return self.rows * 3 * max(width(self.plan), 1)

    @functools.cached_property
    def is_volatile(self) -> bool:
        """Whether the rows may be others each time."""
        return "is_volatile" in str(self.plan)

    @property
    def is_cheap(self) -> bool:
        """Whether several tasks may repeat it, because it reads little and gives the same rows each time."""
        if self.pieces or self.rows > _few_rows:
            return False
        return not self.is_volatile and all(
            node["operator"] in ("scan", "values", "filter", "projection", "join") for node in walk(self.plan)
        )

    def with_plan(self, plan: Node, rows: int | None = None, zones: Sequence[Zone | None] | None = None) -> Fragment:
        """The fragment with another plan over the same tables."""
        known = (None,) * width(plan) if zones is None else tuple(zones)
        return replace(self, plan=plan, rows=self.rows if rows is None else rows, zones=known)


def whole(made: Sequence[Piece | None]) -> Piece | None:
    """All partitions of what a task made as one piece."""
    pieces = [piece for piece in made if piece is not None]
    if len(pieces) < 2:
        return pieces[0] if pieces else None
    first, rows, size = pieces[0], sum(piece.rows for piece in pieces), sum(piece.bytes for piece in pieces)
    task = first.task
    return Piece(first.name, rows, size, None if task is None else lambda: task)


def empty(types: Sequence[str]) -> Fragment:
    return Fragment(no_rows(types), 0, zones=(Zone(None, None, 0),) * len(types))


def over_pieces(pieces: Sequence[Piece], types: Sequence[str]) -> Fragment:
    """The rows of pieces, one after the other.  The pieces may have more columns than these."""
    if not pieces:
        return empty(types)
    plan = union([scan(piece.name, range(len(types)), types) for piece in pieces])
    return Fragment(plan, sum(p.rows for p in pieces), {p.name: p for p in pieces}, zones=(None,) * len(types))


@dataclass(frozen=True)
class Rows:
    """The rows of an operator: of one task, or spread over several."""

    types: list[str]
    fragments: list[Fragment]
    is_spread: bool
    distinct: list[int | None]  # the different values of each column are not more than these, where it is known
    # The fragment of a row follows from the hash of some columns.  Columns of one set are equal in each row.
    by: list[frozenset[int]] | None = None

    @property
    def rows(self) -> int:
        """There are not more than these."""
        return sum(fragment.rows for fragment in self.fragments)

    @property
    def estimated_bytes(self) -> int:
        """A guess before anything has run."""
        return sum(fragment.estimated_bytes for fragment in self.fragments)

    def groups(self, columns: Sequence[int | None]) -> int | None:
        """At most how many groups these columns make; None where it is not known."""
        counts = [None if c is None else self.distinct[c] for c in columns]
        known = [count for count in counts if count is not None]
        return min(math.prod(known), self.rows) if len(known) == len(counts) else None


def local(fragment: Fragment, distinct: Sequence[int | None] | None = None) -> Rows:
    """The rows of one task."""
    types = list(fragment.plan["types"])
    return Rows(types, [fragment], False, [None] * len(types) if distinct is None else list(distinct))


def joined(plan: Node, left: Fragment, right: Fragment, zones: Sequence[Zone | None], rows: int) -> Fragment:
    """A fragment over the tables of two."""
    return Fragment(plan, rows, {**left.pieces, **right.pieces}, tuple(zones))


class Runner(Protocol):
    """What runs fragments: the cluster, or nothing where a plan is only to be shown."""

    @property
    def threads(self) -> int:
        """How many tasks run at once."""

    @property
    def task_memory(self) -> int | None:
        """How many bytes the process of a task has for each task that runs at once; None without a limit."""

    def run(
        self,
        title: str,
        fragments: Sequence[Fragment],
        partitions: int = 1,
        by: Sequence[int] = (),
        is_awaited: bool = False,
    ) -> list[list[Piece | None]]:
        """Runs each fragment in a task of its own, and gives its pieces by the number of the partition.

        Fragments that are empty do not run.  The sizes of several partitions are known then, and those of one if it
        is awaited.  A partition that is known to have no rows is None.
        """
