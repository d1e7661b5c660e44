"""Runs fragments as tasks of ``dask.distributed``.

The tasks of a stage wait until somebody needs a size or the rows: then they go to the scheduler at once, with those of
the stages before.  A round trip between the client and the scheduler takes longer than many a task.  What a task has
made, and when, comes as an event of Dask, which needs no other task.
"""

from __future__ import annotations

import functools
import json
import uuid
import weakref
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field
from typing import Any, ClassVar

import distributed
from dask.base import annotate
from dask.delayed import delayed
from distributed import Future

from ._errors import gathered
from ._plan import describe, piece_name
from ._rows import Fragment, Piece, Task
from ._worker import Pieces, Report, partition, report_of, run


@dataclass
class Stage:
    """Tasks that do the same for several parts of the rows, and what they made."""

    title: str
    tasks: int
    rows: int
    bytes: int
    seconds: float
    """From the begin of the first task to the end of the last one, by the clocks of the workers."""
    task_seconds: float
    """The sum of all tasks."""
    plan: list[str]

    def __str__(self) -> str:
        lines = "\n".join("  " + line for line in self.plan)
        return (
            f"{self.title}: {self.tasks} tasks, {self.rows:,} rows, {self.bytes:,} bytes, {self.seconds:.3f} s\n{lines}"
        )


@dataclass
class _Stage:
    """A stage of which not everything may be known."""

    title: str
    plan: list[str]
    tasks: list[str] = field(default_factory=list)  # their keys

    def known(self, reports: Mapping[str, Report]) -> Stage:
        found = [reports[key] for key in self.tasks if key in reports]
        sizes = [size for report in found for size in report["sizes"]]
        elapsed = max(r["ended"] for r in found) - min(r["began"] for r in found) if found else 0.0
        seconds = sum(r["ended"] - r["began"] for r in found)
        rows, size = sum(rows for _, rows, _ in sizes), sum(size for _, _, size in sizes)
        return Stage(self.title, len(self.tasks), rows, size, elapsed, seconds, self.plan)


class ClusterRunner:
    """A query on a cluster.  Its tasks have keys of their own, and are released with it."""

    def __init__(self, client: distributed.Client) -> None:
        self._client = client
        self._query = uuid.uuid4().hex[:12]
        self._tasks = 0
        self._pieces = 0
        self._waiting: list[Task] = []
        # Those that nobody needs any more are gone, and the cluster frees what they made.
        self._futures: weakref.WeakSet[Future[Any]] = weakref.WeakSet()
        self._stages: list[_Stage] = []
        self._events = _Events.of(client)
        self._reports = self._events.queries[self._query] = {}

    @functools.cached_property
    def _workers(self) -> dict[str, Any]:
        return dict(sorted(self._client.scheduler_info()["workers"].items()))

    @property
    def threads(self) -> int:
        counts: list[int] = [worker["nthreads"] for worker in self._workers.values()]
        return max(sum(counts), 1)

    @property
    def task_memory(self) -> int | None:
        workers = self._workers.values()
        limits: list[int] = [w["memory_limit"] // w["nthreads"] for w in workers if w["memory_limit"]]
        return min(limits, default=None)

    @property
    def stages(self) -> list[Stage]:
        """What has run, as far as workers have reported it."""
        return [stage.known(self._reports) for stage in self._stages]

    def run(
        self,
        title: str,
        fragments: Sequence[Fragment],
        partitions: int = 1,
        by: Sequence[int] = (),
        is_awaited: bool = False,
    ) -> list[list[Piece | None]]:
        stage = _Stage(title, describe(next((f for f in fragments if not f.is_empty), fragments[0]).plan))
        self._stages.append(stage)
        columns = ",".join(map(str, by))
        tasks: list[Task | None] = []
        for place, f in enumerate(fragments):
            tasks.append(None if f.is_empty else self._run_task(title, f, partitions, columns, place / len(fragments)))
        stage.tasks = [task.key for task in tasks if task is not None]
        if is_awaited or partitions > 1:
            self._send(self._waiting)
            self._wait([task for task in tasks if task is not None])
        made = zip(tasks, fragments, strict=True)
        return [[None] * partitions if t is None else self._pieces_of(t, f, partitions) for t, f in made]

    def fetched(self, pieces: Sequence[Piece]) -> list[Pieces]:
        """The rows of pieces, in this process.  Nothing else can be had of the query afterwards."""
        tasks = [piece.fetch() for piece in pieces if piece.fetch is not None]
        self._send([task for task in tasks if task.future is None])
        return gathered(self._client, [task.future for task in tasks if task.future is not None])

    def cancel(self) -> None:
        """Ends what still runs."""
        self._client.cancel(list(self._futures), force=True)

    def close(self) -> None:
        """Takes no more reports."""
        self._events.queries.pop(self._query, None)

    def _run_task(self, title: str, fragment: Fragment, partitions: int, by: str, place: float) -> Task:
        pieces = {name: piece.fetch().value for name, piece in fragment.pieces.items() if piece.fetch is not None}
        near: dict[str, Any] = {}
        if fragment.reads_files and self._workers:
            # A part of a table goes to the same worker each time, which has its file open and its columns loaded.
            near = {"workers": [list(self._workers)[int(place * len(self._workers))]], "allow_other_workers": True}
        with annotate(**near):
            return self._task(
                title, run, json.dumps(fragment.plan), pieces, partitions, by, report=(self._events.topic, self._query)
            )

    def _task(self, title: str, function: Callable[..., object], *arguments: object, **more: object) -> Task:
        self._tasks += 1
        key = f"vorn {title}-{self._query}-{self._tasks}"
        task = Task(key, delayed(function, pure=False, traverse=False)(*arguments, dask_key_name=key, **more))
        self._waiting.append(task)
        return task

    def _send(self, tasks: Sequence[Task]) -> None:
        """Gives tasks to the scheduler, and all that they read."""
        if tasks:
            futures = self._client.compute([task.value for task in tasks], optimize_graph=False)
            for task, future in zip(tasks, futures, strict=True):
                task.value = task.future = future
                self._futures.add(future)
        self._waiting = []

    def _wait(self, tasks: Sequence[Task]) -> None:
        futures = [task.future for task in tasks if task.future is not None]
        distributed.wait(futures)
        gathered(self._client, [future for future in futures if future.status != "finished"])
        # Events are lost when the connection to the scheduler was.
        for task in tasks:
            if task.key not in self._reports:
                self._reports[task.key] = gathered(self._client, [self._client.submit(report_of, task.future)])[0]

    def _pieces_of(self, task: Task, fragment: Fragment, partitions: int) -> list[Piece | None]:
        out: list[Piece | None] = [None] * partitions
        report = self._reports.get(task.key)
        # What has not run may have fewer rows than these, or none.
        known = [(0, fragment.rows, fragment.estimated_bytes)] if report is None else report["sizes"]
        for number, rows, size in known:
            self._pieces += 1
            fetch = self._fetch(task, number, partitions)
            out[number] = Piece(f"{piece_name}{self._pieces}", rows, size, fetch, task)
        return out

    def _fetch(self, task: Task, number: int, partitions: int) -> Callable[[], Task]:
        made: list[Task] = [task] if partitions == 1 else []

        def fetch() -> Task:
            # Only the partition is sent, and only when a task wants it.
            if not made:
                made.append(self._task("partition", partition, task.value, number))
            return made[0]

        return fetch


class _Events:
    """The reports of tasks, which come to a client by the queries that run."""

    _of: ClassVar[weakref.WeakKeyDictionary[distributed.Client, _Events]] = weakref.WeakKeyDictionary()

    def __init__(self, client: distributed.Client) -> None:
        self.topic = f"vorn {client.id}"
        self.queries: dict[str, dict[str, Report]] = {}
        client.subscribe_topic(self.topic, self._take)

    @classmethod
    def of(cls, client: distributed.Client) -> _Events:
        if client not in cls._of:
            cls._of[client] = cls(client)
        return cls._of[client]

    def _take(self, event: tuple[float, Report]) -> None:
        report = event[1]
        reports = self.queries.get(report["query"])
        if reports is not None:
            reports[report["task"]] = report
