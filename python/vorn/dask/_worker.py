"""What runs in the processes of the cluster: a part of a plan, over files and over the rows of other tasks.

A process has one database, and each of its threads a connection to it.  A task keeps nothing: the tables that it is
given are dropped at its end.  The files that were read last stay open, so that a later task finds them checked.
"""

from __future__ import annotations

import contextlib
import itertools
import json
import os
import threading
import time
import uuid
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, TypedDict

import distributed
import pyarrow as pa
from adbc_driver_manager import AdbcConnection, AdbcDatabase, AdbcStatement, dbapi

from .._files import driver_path
from ._plan import parts_of_union, plan_text, walk


@dataclass
class Pieces:
    """The rows of a task: encoded tables, each with rows of one partition.  A partition may have several, or none."""

    numbers: list[int] = field(default_factory=list)  # of the partition of each table
    rows: list[int] = field(default_factory=list)
    # Arrow's buffers go from process to process as they are; pickle would copy bytes.
    tables: list[pa.Buffer] = field(default_factory=list)

    def __sizeof__(self) -> int:
        return 200 + int(sum(table.size for table in self.tables))


class Report(TypedDict):
    """What a task has made, as an event of Dask.  The times are seconds since 1970."""

    query: str
    task: str
    sizes: list[tuple[int, int, int]]  # the number of each partition that has rows, its rows and bytes
    began: float
    ended: float


class TaskError(Exception):
    """An error of the engine in a task.  It can be sent to the client, which an error of the driver cannot."""

    def __init__(self, kind: str, message: str, status: int, sqlstate: str | None) -> None:
        super().__init__(kind, message, status, sqlstate)
        self.kind, self.message, self.status, self.sqlstate = kind, message, status, sqlstate

    def __str__(self) -> str:
        return self.message


def run(
    plan: str,
    pieces: Mapping[str, Pieces],
    partitions: int = 1,
    partition_by: str = "",
    columns: Sequence[str] | None = None,
    form: str = "vorn",
    report: tuple[str, str] | None = None,
) -> Pieces:
    """Runs a plan.  Its scans name files and ``pieces``.

    The rows of the result are split by the values of the columns ``partition_by``.  Its columns have names, or none
    that matter.  ``form`` is ``file`` for tables that are written to files.  ``report`` is the topic of events to which
    a :class:`Report` goes, and the query.
    """
    began = time.time()
    # Another task of the process may have the same pieces, so that the tables have names of their own.
    root = json.loads(plan)
    names = {name: [f"task {next(_runs)} {name}" for _ in piece.tables] for name, piece in pieces.items()}
    files = {node["table"] for node in walk(root) if node["operator"] == "scan"} - set(names)
    with _errors(), connected() as connection, contextlib.ExitStack() as tables:
        _close_files(connection, files)
        for name, piece in pieces.items():
            for own, table in zip(names[name], piece.tables, strict=True):
                tables.enter_context(known(connection, f"vorn.table.{own}", table.to_pybytes()))
        out = Pieces()
        # The rows of several files stay apart, because each file has its own dictionaries.
        for part in parts_of_union(root):
            statement = tables.enter_context(AdbcStatement(connection))
            statement.set_options(
                **{
                    "vorn.plan": plan_text(part, names, columns),
                    "vorn.result": form,
                    "vorn.partitions": partitions,
                    "vorn.partition_by": partition_by,
                }
            )
            stream, _ = statement.execute_query()
            for batch in pa.RecordBatchReader.from_stream(stream):
                out.numbers += batch.column("partition").to_pylist()
                out.rows += batch.column("rows").to_pylist()
                out.tables += [table.as_buffer() for table in batch.column("table")]
        # A worker that takes too much memory between two tasks gets no other one.
        _close_files(connection, set())
    if report is not None:
        worker = distributed.get_worker()
        made = {"query": report[1], "task": worker.get_current_task(), "began": began, "ended": time.time()}
        worker.log_event(report[0], {**made, "sizes": _sizes(out)})
    return out


def write(plan: str, columns: Sequence[str], file: str) -> str:
    """Runs a plan, and writes its rows to a .vorn file, which has its name when it is complete."""
    made = run(plan, {}, columns=columns, form="file")
    unfinished = Path(f"{file}.{uuid.uuid4().hex}")
    try:
        unfinished.write_bytes(made.tables[0])
        unfinished.replace(file)
    finally:
        unfinished.unlink(missing_ok=True)
    return file


def report_of(of: Pieces) -> Report:
    """What a task has made that was not reported."""
    return {"query": "", "task": "", "sizes": _sizes(of), "began": 0.0, "ended": 0.0}


def _sizes(of: Pieces) -> list[tuple[int, int, int]]:
    out = dict.fromkeys(of.numbers, (0, 0))
    for number, rows, table in zip(of.numbers, of.rows, of.tables, strict=True):
        out[number] = out[number][0] + rows, out[number][1] + table.size
    return [(number, rows, size) for number, (rows, size) in out.items()]


def partition(of: Pieces, number: int) -> Pieces:
    """One partition of what a task has made."""
    at = [i for i, each in enumerate(of.numbers) if each == number]
    return Pieces([0] * len(at), [of.rows[i] for i in at], [of.tables[i] for i in at])


# Open files

_open_files: dict[str, int] = {}  # their bytes; those that were read last are at the end


def _close_files(connection: AdbcConnection, read: set[str]) -> None:
    """Closes the files that were not read for the longest time, where all of them take a quarter of the memory.

    Pages of a mapped file count as memory of the process, as long as the file is open.  Those that a task is to read
    stay open until its end.
    """
    with _opening:
        for file in read:
            _open_files.pop(file, None)
            # The engine says what is wrong with a file that is not there.
            _open_files[file] = Path(file).stat().st_size if Path(file).exists() else 0
        limit = _memory_limit()
        while limit is not None and len(_open_files) > len(read) and sum(_open_files.values()) > limit // 4:
            oldest = next(iter(_open_files))
            del _open_files[oldest]
            connection.set_options(**{f"vorn.table.{oldest}": b""})


def _memory_limit() -> int | None:
    """The bytes that the worker may take; None without a limit."""
    try:
        limit: int | None = distributed.get_worker().memory_manager.memory_limit
    except ValueError:
        return None
    return limit


# The database of the process

_databases: dict[int, AdbcDatabase] = {}
_locals = threading.local()
_opening = threading.Lock()
_runs = itertools.count()


@contextlib.contextmanager
def connected() -> Iterator[AdbcConnection]:
    """The connection of this thread.  Tasks of other threads have theirs, to the same database."""
    process = os.getpid()
    if getattr(_locals, "process", None) != process:
        with _opening:
            if process not in _databases:
                _databases[process] = AdbcDatabase(
                    driver=str(driver_path()), entrypoint="AdbcDriverVornInit", threads="1"
                )
        _locals.process, _locals.connection = process, AdbcConnection(_databases[process])
    yield _locals.connection


@contextlib.contextmanager
def known(connection: AdbcConnection, option: str, value: str | bytes) -> Iterator[None]:
    """A table that the database knows for a while, by its rows or by its statistics."""
    connection.set_options(**{option: value})
    try:
        yield
    finally:
        connection.set_options(**{option: value[:0]})


@contextlib.contextmanager
def _errors() -> Iterator[None]:
    try:
        yield
    except dbapi.Error as error:
        status: Any = error.status_code
        raise TaskError(type(error).__name__, str(error), int(status), error.sqlstate) from None
