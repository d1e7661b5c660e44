"""Queries on tables in partitions."""

from __future__ import annotations

import contextlib
import json
import threading
import uuid
from collections.abc import Iterator, Mapping, Sequence

import dask
import distributed
import pyarrow as pa
from adbc_driver_manager import AdbcStatement

from .._connection import known_name
from ._cluster import ClusterRunner, Stage
from ._cut import Cutter, Settings
from ._plan import Node, describe, no_rows, piece_name, plan_text, read, scan, union
from ._rows import Fragment, Piece
from ._tables import Table
from ._worker import connected, known


def sql(text: str, /, **tables: Table) -> Query:
    """A query on tables, which are known by these names.  It is planned here and runs with :meth:`Query.compute`.

    Raises ``vorn.ProgrammingError`` for a wrong query, and ``vorn.NotSupportedError`` for a part of SQL that the engine
    does not execute.

    Dask's configuration has these numbers:

    ``vorn.broadcast-bytes``
        The side of a join is copied to each task if its encoded rows are not more than these bytes (16 MiB).
    ``vorn.partition-bytes``
        About how many bytes a partition of an exchange has (64 MiB).
    ``vorn.task-bytes``
        About how many bytes a task reads at least, if the threads of the cluster have a task each (128 MiB, and not
        more than an eighth of the worker's memory).
    ``vorn.merged-rows``
        Partial aggregates of more rows are exchanged by their groups; others are merged by one task (200,000).
    ``vorn.fan-in``
        How many partial aggregates a task merges (16).
    ``vorn.skew``
        A partition of an exchange is split if it has more than this many times the mean number of rows (4).
    """
    return Query(text, tables)


class Query:
    """A query that has not run yet, see :func:`sql`."""

    def __init__(self, text: str, tables: Mapping[str, Table]) -> None:
        for name, table in tables.items():
            if not isinstance(table, Table):
                raise TypeError(f"{name} is no vorn.dask.Table, which read and from_parquet make")
        self._tables = {known_name(name): table for name, table in tables.items()}
        if len(self._tables) < len(tables):
            raise ValueError("two tables have names that differ only by upper and lower case")
        self._names, self._plan = _planned(text, self._tables)
        self.stages: list[Stage] = []
        """What ran in the last :meth:`compute`, in its order."""
        self.partitions_read = 0
        """The partitions of tables that the last :meth:`compute` read; those of a table count for each scan."""
        self.partitions_skipped = 0
        """The partitions that zone maps ruled out in the last :meth:`compute`."""

    def compute(self, client: distributed.Client | None = None) -> pa.Table:
        """Runs the query and returns its rows.

        Without a client it runs on the current one of ``dask.distributed``.  An error of a task is the ``vorn.Error``
        that one process would raise.  A worker that dies is Dask's to replace: its tasks run again.
        """
        runner = ClusterRunner(client or distributed.get_client())
        cutter = Cutter(self._tables, runner, _settings())
        try:
            found = runner.fetched(cutter.run(self._plan))
        except BaseException:
            runner.cancel()
            raise
        finally:
            runner.close()
            self.stages = runner.stages
            self.partitions_read, self.partitions_skipped = cutter.partitions, cutter.skipped_partitions
        return self._table([table for each in found for table in each.tables])

    def explain(self) -> str:
        """The tasks and what they exchange, as far as it is known before their results have a size."""
        runner = _PlannedRunner()
        Cutter(self._tables, runner, _settings()).run(self._plan)
        return "\n".join(runner.lines)

    def __repr__(self) -> str:
        return f"<vorn.dask.Query of the columns {', '.join(self._names)}>"

    def _table(self, pieces: Sequence[pa.Buffer]) -> pa.Table:
        types = self._plan["types"]
        names = [f"result {uuid.uuid4().hex}" for _ in pieces]
        with _statement({f"vorn.table.{n}": p.to_pybytes() for n, p in zip(names, pieces, strict=True)}) as statement:
            scans = [scan(name, range(len(types)), types) for name in names]
            root = union(scans) if scans else no_rows(types)
            statement.set_options(**{"vorn.plan": plan_text(root)})
            stream, _ = statement.execute_query()
            table = pa.RecordBatchReader.from_stream(stream).read_all()
            return table.rename_columns(self._names)


def _settings() -> Settings:
    known = Settings()
    return Settings(
        **{name: dask.config.get(f"vorn.{name.replace('_', '-')}", getattr(known, name)) for name in vars(known)}
    )


def _planned(text: str, tables: Mapping[str, Table]) -> tuple[list[str], Node]:
    """The names of the columns, and the plan, for which no rows are read."""
    statistics = {f"vorn.statistics.{name}": table.statistics() for name, table in tables.items()}
    with _planning, _statement(statistics) as statement:
        statement.set_sql_query(text)
        found = json.loads(statement.get_option("vorn.plan"))
        return found.get("names", []), read(found["root"])


_planning = threading.Lock()  # queries of several threads may have different tables of the same name


@contextlib.contextmanager
def _statement(tables: Mapping[str, str | bytes]) -> Iterator[AdbcStatement]:
    """A statement in this process, whose database knows tables meanwhile."""
    with connected() as connection, contextlib.ExitStack() as open_ones:
        for option, value in tables.items():
            open_ones.enter_context(known(connection, option, value))
        yield open_ones.enter_context(AdbcStatement(connection))


class _PlannedRunner:
    """Runs nothing, and shows what would run.  Results have the sizes that are estimated."""

    def __init__(self) -> None:
        self.lines: list[str] = []
        self._pieces = 0

    @property
    def threads(self) -> int:
        return 1

    @property
    def task_memory(self) -> int | None:
        return None

    def run(
        self,
        title: str,
        fragments: Sequence[Fragment],
        partitions: int = 1,
        by: Sequence[int] = (),
        is_awaited: bool = False,
    ) -> list[list[Piece | None]]:
        tasks = [f for f in fragments if not f.is_empty]
        split = f", split by {', '.join(f'c{c}' for c in by)}" if by else ""
        decides = ", whose sizes decide how the plan goes on" if is_awaited else ""
        self.lines.append(f"{title}: {len(tasks)} tasks{split}{decides}")
        self.lines += describe((tasks or list(fragments))[0].plan, 1)
        out: list[list[Piece | None]] = []
        for f in fragments:
            rows = -(-f.rows // partitions)
            made: list[Piece | None] = []
            for _ in range(partitions):
                self._pieces += 1
                name = f"{piece_name}{self._pieces}"
                made.append(Piece(name, rows, rows * 3 * max(len(f.plan["types"]), 1)))
            out.append([None] * partitions if f.is_empty else made)
        return out
