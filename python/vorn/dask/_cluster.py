"""Runs fragments as tasks of ``dask.distributed``."""

from __future__ import annotations

import json
import time
import uuid
import weakref
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any

import distributed
from distributed import Future

from ._errors import gathered
from ._plan import describe, piece_name
from ._rows import Fragment, Piece
from ._worker import Pieces, Size, partition, run, sizes


@dataclass
class Stage:
    """Tasks that ran at once, and what they made."""

    title: str
    tasks: int
    rows: int
    bytes: int
    seconds: float
    plan: list[str]

    def __str__(self) -> str:
        lines = "\n".join("  " + line for line in self.plan)
        return (
            f"{self.title}: {self.tasks} tasks, {self.rows:,} rows, {self.bytes:,} bytes, {self.seconds:.3f} s\n{lines}"
        )


class ClusterRunner:
    """A query on a cluster.  Its tasks have keys of their own, and are released with it."""

    def __init__(self, client: distributed.Client) -> None:
        self._client = client
        self._query = uuid.uuid4().hex[:12]
        self._tasks = 0
        self._pieces = 0
        # Those that nobody needs any more are gone, and the cluster frees what they made.
        self._futures: weakref.WeakSet[Future[Any]] = weakref.WeakSet()
        self.stages: list[Stage] = []

    @property
    def threads(self) -> int:
        counts: dict[str, int] = self._client.nthreads()
        return max(sum(counts.values()), 1)

    def run(
        self, title: str, fragments: Sequence[Fragment], partitions: int = 1, by: Sequence[int] = ()
    ) -> list[list[Piece | None]]:
        began = time.perf_counter()
        columns = ",".join(map(str, by))
        tasks = [None if f.is_empty else self._submit(title, f, partitions, columns) for f in fragments]
        counted = [None if t is None else self._call("size", sizes, t) for t in tasks]
        found = iter(gathered(self._client, [c for c in counted if c is not None]))
        out: list[list[Piece | None]] = [
            [None] * partitions if task is None else self._pieces_of(task, next(found), partitions) for task in tasks
        ]
        made = [piece for each in out for piece in each if piece is not None]
        self.stages.append(
            Stage(
                title,
                sum(task is not None for task in tasks),
                sum(piece.rows for piece in made),
                sum(piece.bytes for piece in made),
                time.perf_counter() - began,
                describe(next((f for f in fragments if not f.is_empty), fragments[0]).plan),
            )
        )
        return out

    def fetched(self, pieces: Sequence[Piece]) -> list[Pieces]:
        """The rows of pieces, in this process."""
        return gathered(self._client, [piece.fetch() for piece in pieces if piece.fetch is not None])

    def cancel(self) -> None:
        """Ends what still runs."""
        self._client.cancel(list(self._futures), force=True)

    def _submit(self, title: str, fragment: Fragment, partitions: int, by: str) -> Future[Any]:
        pieces = {name: piece.fetch() for name, piece in fragment.pieces.items() if piece.fetch is not None}
        return self._call(title, run, json.dumps(fragment.plan), pieces, partitions, by)

    def _call(self, title: str, function: Callable[..., object], *arguments: object) -> Future[Any]:
        self._tasks += 1
        key = f"vorn {title}-{self._query}-{self._tasks}"
        future = self._client.submit(function, *arguments, key=key, pure=False)
        self._futures.add(future)
        return future

    def _pieces_of(self, task: Future[Any], found: Sequence[Size], partitions: int) -> list[Piece | None]:
        out: list[Piece | None] = [None] * partitions
        for size in found:
            self._pieces += 1
            out[size.number] = Piece(
                f"{piece_name}{self._pieces}", size.rows, size.bytes, self._fetch(task, size.number, partitions)
            )
        return out

    def _fetch(self, task: Future[Any], number: int, partitions: int) -> Callable[[], Future[Any]]:
        made: list[Future[Any]] = [task] if partitions == 1 else []

        def fetch() -> Future[Any]:
            # Only the partition is sent, and only when a task wants it.
            if not made:
                made.append(self._call("partition", partition, task, number))
            return made[0]

        return fetch
