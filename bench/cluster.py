"""TPC-H on a cluster of one worker and of two, each of one thread: seconds, rows a second, and bytes that move.

    build/venv/bin/python bench/cluster.py [--tables data/tpch-1] [--partitions 8] [--repeat 5] [QUERY...]

The tables are encoded first, into files beside the Parquet files.  A query is run once before it is measured, so that
the workers have opened their files.  The seconds are the smallest of all runs.  Beside them is the gain of a second
worker, and the most that the machine lets it be: twice the seconds of one process, by those of two processes that run
the whole query at the same time.  Bytes are those that a worker receives from another one, as Dask counts them.
"pandas" are the same rows as pandas would send them: decoded into a DataFrame with 8 bytes for each number and date and
with texts of Arrow, as Dask serialises it.
"""

from __future__ import annotations

import argparse
import contextlib
import multiprocessing
import re
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from pathlib import Path
from typing import Any

import dask
import distributed
import pandas
import pyarrow as pa
import pyarrow.parquet as pq
import vorn
import vorn.dask
from distributed.protocol import serialize
from vorn.dask import _cluster, _rows

few_rows = 1000  # of a table that stays one partition


def tables_of(folder: Path, partitions: int) -> dict[str, vorn.dask.Table]:
    """The tables in encoded parts, which are made where they are not there."""
    out = {}
    for source in sorted(folder.glob("*.parquet")):
        rows = pq.read_metadata(source).num_rows
        count = partitions if rows > few_rows else 1
        parts = folder / f"parts-{partitions}"
        files = [parts / f"{source.stem}-{i:03}.vorn" for i in range(count)]
        if not all(file.exists() for file in files):
            parts.mkdir(exist_ok=True)
            table, step = pq.read_table(source), -(-rows // count)
            with vorn.connect() as db:
                for i, file in enumerate(files):
                    db.register("part", table.slice(i * step, step))
                    db.save("part", file)
        out[source.stem] = vorn.dask.read(files)
    return out


def received(client: distributed.Client) -> dict[str, int]:
    """The bytes that workers have received from each other, by task."""

    def log(dask_worker: distributed.Worker) -> list[dict[str, int]]:
        return [dict(entry["keys"]) for entry in dask_worker.transfer_incoming_log]

    out: dict[str, int] = {}
    for number, entries in enumerate(client.run(log).values()):
        for entry in entries:
            for key, size in entry.items():
                out[f"{number} {key}"] = size
    return out


@contextlib.contextmanager
def kept_results() -> Iterator[list[_rows.Task]]:
    """All tasks of queries that run meanwhile, with their futures."""
    kept: list[_rows.Task] = []
    send = _cluster.ClusterRunner._send

    def keeping(self: _cluster.ClusterRunner, _: Sequence[_rows.Task]) -> None:
        waiting = list(self._waiting)
        kept.extend(waiting)
        send(self, waiting)

    _cluster.ClusterRunner._send = keeping  # type: ignore[method-assign]
    try:
        yield kept
    finally:
        _cluster.ClusterRunner._send = send  # type: ignore[method-assign]


def pandas_bytes(pieces: _cluster.Pieces) -> int:
    """What the rows take as DataFrames on the wire."""
    out = 0
    with vorn.connect(threads=1) as db:
        for table in pieces.tables:
            db._dbapi.adbc_connection.set_options(**{"vorn.table.piece": table.to_pybytes()})
            rows = db.sql("select * from piece").to_arrow()
            for c, kind in enumerate(rows.schema.types):
                if pa.types.is_decimal(kind):
                    rows = rows.set_column(c, rows.schema.names[c], rows.column(c).cast(pa.float64()))
            frame: pandas.DataFrame = rows.to_pandas(
                types_mapper=lambda kind: pandas.ArrowDtype(kind) if pa.types.is_string(kind) else None,
                date_as_object=False,
            )
            out += sum(memoryview(part).nbytes for part in serialize(frame)[1])
    return out


def measured(work: Callable[[], object], repeat: int) -> float:
    """The least seconds of some runs."""
    seconds = []
    for _ in range(repeat):
        began = time.perf_counter()
        work()
        seconds.append(time.perf_counter() - began)
    return min(seconds)


class Processes:
    """One process of one thread, or several that run the same query at the same time."""

    def __init__(self, count: int, parts: Path, texts: Mapping[str, str]) -> None:
        made = multiprocessing.get_context("spawn")
        self._turn = made.Barrier(count)
        self._pipes, self._running = [], []
        for _ in range(count):
            ours, theirs = made.Pipe()
            self._running.append(made.Process(target=_answer, args=(theirs, self._turn, parts, texts), daemon=True))
            self._running[-1].start()
            self._pipes.append(ours)
        for pipe in self._pipes:
            pipe.recv()  # it is ready

    def close(self) -> None:
        for process in self._running:
            process.terminate()

    def _ask(self, what: str) -> list[float]:
        for pipe in self._pipes:
            pipe.send(what)
        return [pipe.recv() for pipe in self._pipes]

    def seconds(self, name: str, repeat: int) -> float:
        """The least seconds of the slowest process."""
        return min(max(self._ask(name)) for _ in range(repeat))


def _answer(pipe: Any, turn: Any, parts: Path, texts: Mapping[str, str]) -> None:
    with vorn.connect(threads=1) as db:
        words = set(re.findall(r"\w+", " ".join(texts.values()).lower()))
        for table in {file.stem.rsplit("-", 1)[0] for file in parts.glob("*.vorn")} & words:
            db.load(parts / f"{table}-*.vorn", table)
        for text in texts.values():
            db.sql(text).to_arrow()
        pipe.send("ready")
        while True:
            name = pipe.recv()
            turn.wait()
            began = time.perf_counter()
            db.sql(texts[name]).to_arrow()
            pipe.send(time.perf_counter() - began)


def moved(query: vorn.dask.Query, client: distributed.Client) -> tuple[int, int]:
    """The bytes that one run moves between workers, and those of pandas."""
    before = received(client)
    with kept_results() as kept:
        query.compute(client)
        values = {task.key: task.future for task in kept if task.future is not None}
        new = {place: size for place, size in received(client).items() if place not in before}
        keys = [place.split(" ", 1)[1] for place in new]
        pieces = [values[key].result() for key in keys if key in values]
    return sum(new.values()), sum(pandas_bytes(each) for each in pieces if isinstance(each, _cluster.Pieces))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tables", type=Path, default=Path("data/tpch-1"))
    parser.add_argument("--partitions", type=int, default=8)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--exchange", action="store_true", help="exchange rows of every join of two spread tables")
    parser.add_argument("--stages", action="store_true", help="show the stages with 2 workers")
    parser.add_argument("queries", nargs="*", default=["01", "03", "05", "06", "09", "18"])
    chosen = parser.parse_args()
    tables = tables_of(chosen.tables, chosen.partitions)
    texts = {
        name: (Path(__file__).parent / f"tpch/{name}.sql").read_text().strip().rstrip(";") for name in chosen.queries
    }
    if chosen.exchange:
        dask.config.set({"vorn.broadcast-bytes": 0})
    seconds: dict[int, dict[str, float]] = {}
    sent: dict[str, tuple[int, int]] = {}
    queries = {name: vorn.dask.sql(text, **tables) for name, text in texts.items()}
    for workers in (1, 2):
        with (
            distributed.LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=None) as cluster,
            distributed.Client(cluster) as client,
        ):
            for query in queries.values():
                query.compute(client)
            seconds[workers] = {
                name: measured(lambda query=query: query.compute(client), chosen.repeat)  # type: ignore[misc]
                for name, query in queries.items()
            }
            if workers == 2:
                sent = {name: moved(query, client) for name, query in queries.items()}
    alone = {}
    for count in (1, 2):
        processes = Processes(count, chosen.tables / f"parts-{chosen.partitions}", texts)
        alone[count] = {name: processes.seconds(name, chosen.repeat) for name in texts}
        processes.close()
    columns = ("process", "1 worker", "2 workers", "gain", "at most", "Mrows/s", "moved", "pandas", "share", "tasks")
    widths = (10, 10, 10, 8, 9, 10, 14, 14, 8, 8)
    print("seconds in a process of one thread and on the cluster; rows a second of 2 workers; bytes between 2 workers")
    print("query" + "".join(f"{column:>{width}}" for column, width in zip(columns, widths, strict=True)))
    for name, query in queries.items():
        rows = sum(table.rows for table_name, table in tables.items() if table_name in texts[name])
        one, two = seconds[1][name], seconds[2][name]
        own, other = sent[name]
        values = (
            *(f"{each:.3f}" for each in (alone[1][name], one, two)),
            f"{one / two:.2f}",
            f"{2 * alone[1][name] / alone[2][name]:.2f}",
            f"{rows / two / 1e6:.1f}",
            f"{own:,}",
            f"{other:,}",
            f"{own / other:.0%}" if other else "",
            sum(stage.tasks for stage in query.stages),
        )
        print(f"{name:5}" + "".join(f"{value:>{width}}" for value, width in zip(values, widths, strict=True)))
        if chosen.stages:
            for stage in query.stages:
                print(f"      {str(stage).splitlines()[0]}, {stage.task_seconds:.3f} s of tasks")


if __name__ == "__main__":
    main()
