"""Connections, and the tables that they know."""

from __future__ import annotations

import contextlib
import ctypes
import os
import sys
import threading
import weakref
from collections.abc import Iterator, Sequence
from pathlib import Path
from typing import Any, Literal, NoReturn, Protocol, runtime_checkable

import pyarrow as pa
from adbc_driver_manager import AdbcStatusCode, InterfaceError, dbapi
from tqdm.auto import tqdm

from ._files import driver_path
from ._result import Result

Mode = Literal["create", "append", "replace", "create_append"]


@runtime_checkable
class ArrowData(Protocol):
    """What gives its rows by Arrow's C stream interface: tables of pyarrow, polars, pandas, DuckDB, nanoarrow."""

    def __arrow_c_stream__(self, requested_schema: object = None) -> object: ...


def connect(path: str | Path | None = None, *, threads: int | None = None, isa: str | None = None) -> Connection:
    """Makes a connection with a database of its own.

    Parameters
    ----------
    path
        A folder.  Its ``.vorn``, ``.parquet`` and ``.csv`` files are tables by their names without the ending, and
        tables that are registered become ``.vorn`` files in it.  Without a folder tables are in memory.
    threads
        The threads that run a query.  Without a number there are as many as processors.
    isa
        The kernels: ``"generic"``, ``"sse42"``, ``"avx"``, ``"avx2"`` or ``"avx512"``.  Without a name the best for
        the processor.  The first connection of a process decides.

    Raises ``vorn.Error``: ``ProgrammingError`` when there is no such folder or the choice of kernels comes too late,
    ``OperationalError`` when the kernels cannot be loaded.
    """
    return Connection(path, threads=threads, isa=isa)


_connections: weakref.WeakSet[Connection] = weakref.WeakSet()


def _leave_to_parent() -> None:
    """In a child after fork: threads of the driver are gone, so its objects are never used or freed here."""
    for connection in list(_connections):
        connection._abandon()


os.register_at_fork(after_in_child=_leave_to_parent)


def known_name(name: str) -> str:
    """The name under which a table is known: in lower case, as far as its letters are ASCII."""
    return name.encode().lower().decode()


def _quoted_name(name: str) -> str:
    return '"' + name.replace('"', '""') + '"'


def quoted_text(text: str) -> str:
    return "'" + text.replace("'", "''") + "'"


class Connection:
    """A connection, see :func:`connect`.  It closes at the end of a ``with`` block.

    Threads may share it: their queries run one after the other.
    """

    def __init__(self, path: str | Path | None = None, *, threads: int | None = None, isa: str | None = None) -> None:
        self._is_open = False
        self._process = os.getpid()
        self._folder = None if path is None else Path(path).absolute()
        self._cursors: weakref.WeakSet[dbapi.Cursor] = weakref.WeakSet()
        options = {"path": path, "threads": threads, "isa": isa}
        self._dbapi = dbapi.connect(
            driver=str(driver_path()),
            entrypoint="AdbcDriverVornInit",
            db_kwargs={key: str(value) for key, value in options.items() if value is not None},
            autocommit=True,
        )
        self._is_open = True
        _connections.add(self)

    # Life

    def _abandon(self) -> None:
        objects: list[dbapi.Connection | dbapi.Cursor] = [self._dbapi, *self._cursors]
        for kept in objects:
            kept._closed = True
            ctypes.pythonapi.Py_IncRef(ctypes.py_object(kept))

    def _check(self) -> None:
        if self._process != os.getpid():
            raise InterfaceError(
                f"the connection belongs to the process {self._process}; a process that was forked connects for itself",
                status_code=AdbcStatusCode.INVALID_STATE,
            )
        if not self._is_open:
            raise InterfaceError("the connection is closed", status_code=AdbcStatusCode.INVALID_STATE)

    def __reduce__(self) -> NoReturn:
        raise TypeError("a vorn.Connection cannot be pickled: connect in each process, to the same folder")

    def close(self) -> None:
        """Closes the connection.  Tables in memory are gone when no result reads them."""
        if self._is_open and self._process == os.getpid():
            self._is_open = False
            for cursor in list(self._cursors):
                cursor.close()
            self._dbapi.close()

    def __enter__(self) -> Connection:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        with contextlib.suppress(Exception):
            self.close()

    # Queries

    def cursor(self) -> dbapi.Cursor:
        """A cursor of DB-API 2.0."""
        self._check()
        cursor = self._dbapi.cursor()
        self._cursors.add(cursor)
        return cursor

    @contextlib.contextmanager
    def _one_cursor(self) -> Iterator[dbapi.Cursor]:
        cursor = self.cursor()
        try:
            yield cursor
        finally:
            cursor.close()

    def sql(self, query: str, parameters: Sequence[Any] | dict[str, Any] | ArrowData | None = None) -> Result:
        """Plans a query and begins to run it.

        ``?`` and ``$1`` in the text stand for the values of a sequence, ``$name`` for those of a dictionary.  Arrow
        data gives the parameters of several runs, one for each row.

        Raises ``vorn.Error``: ``ProgrammingError`` with DuckDB's message for a wrong query, ``NotSupportedError`` for
        a part of SQL that the engine does not execute, with its name.
        """
        return Result(self.cursor(), lambda cursor: cursor.execute(query, parameters), self._check)

    def execute(self, statement: str, parameters: Sequence[Any] | dict[str, Any] | None = None) -> int:
        """Executes a statement without rows, such as ``COPY``, and returns how many rows it wrote or read.

        -1 means that the number is not known.
        """
        with self._one_cursor() as cursor:
            cursor.execute(statement, parameters)
            return cursor.rowcount

    def explain(
        self, query: str, parameters: Sequence[Any] | dict[str, Any] | None = None, *, analyze: bool = False
    ) -> str:
        """The plan of a query, an operator in each line.  Nothing is run.

        With ``analyze`` the query runs, and each operator has its rows, bytes and milliseconds.
        """
        with self._one_cursor() as cursor:
            cursor.execute(f"EXPLAIN {'ANALYZE ' if analyze else ''}{query}", parameters)
            return str(cursor.fetchall()[0][1])

    def partitions(self, query: str, row_groups: int = 16) -> list[bytes]:
        """The parts of a query's rows, each of some row groups of one table (65,536 rows each).

        A connection of any process that knows the same files reads them with :meth:`read_partition`.
        ``NotSupportedError`` for a query with more than one table, an aggregate, an order or a limit.
        """
        with self._one_cursor() as cursor:
            cursor.adbc_statement.set_options(**{"vorn.partition_row_groups": row_groups})
            return cursor.adbc_execute_partitions(query)[0]

    def read_partition(self, partition: bytes) -> Result:
        """The rows of a partition.  ``ProgrammingError`` when its table is not there or has changed."""
        return Result(self.cursor(), lambda cursor: cursor.adbc_read_partition(partition), self._check)

    # Tables

    def tables(self) -> list[str]:
        """The names of the tables, in lower case."""
        self._check()
        found = self._dbapi.adbc_get_objects(depth="tables").read_all().to_pylist()
        return [table["table_name"] for table in found[0]["catalog_db_schemas"][0]["db_schema_tables"]]

    def schema(self, table: str) -> pa.Schema:
        """The columns of a table, or of a file.  ``ProgrammingError`` when there is none."""
        self._check()
        return self._dbapi.adbc_get_table_schema(table)

    def register(
        self,
        name: str,
        data: ArrowData | dict[str, Any],
        *,
        mode: Mode = "replace",
        temporary: bool = False,
    ) -> int:
        """Makes a table of the rows of another library, and returns their number.

        The rows are encoded as they come.  Of a connection with a folder the table becomes a file, unless it is
        temporary.  ``"append"`` adds to a table with the same columns.  Data is what Arrow's stream interface gives:
        tables of pyarrow, polars, pandas 2.2, DuckDB, nanoarrow; or a dictionary of columns.

        Raises ``DataError`` for a column of a type that is not stored, such as a list.
        """
        if isinstance(data, dict):
            data = pa.table(data)
        elif not isinstance(data, ArrowData):
            if not hasattr(data, "__dataframe__"):  # pandas before 2.2 has this one
                raise TypeError(f"{type(data).__name__} has no Arrow stream, such as a table of pyarrow has")
            data = pa.Table.from_pandas(data)
        with self._one_cursor() as cursor:
            return int(cursor.adbc_ingest(name, data, mode=mode, temporary=temporary))

    def load(
        self, file: str | Path, name: str | None = None, *, mode: Mode = "replace", progress: bool | None = None
    ) -> str:
        """Reads all columns of a file into a table, and returns the table's name.

        The file ends in ``.parquet``, ``.csv``, ``.tsv``, ``.csv.gz`` or ``.vorn``; a pattern such as
        ``"part-*.parquet"`` takes several.  A table that is replaced is dropped first.  The table has the
        name of the file without its ending.  A bar shows the progress: always, never, or, without a choice, on a
        terminal.  Ctrl-C ends the work.
        """
        name = name or Path(file).name.split(".")[0]
        exists = known_name(name) in self.tables()
        if mode == ("create" if exists else "append"):
            self.register(name, {"none": [0]}, mode=mode)  # whose error this is
        if mode == "replace" and exists:
            own = self._folder and self._folder / f"{known_name(name)}.vorn"
            if own and own.exists() and Path(file).exists() and own.samefile(file):
                return name
            self.schema(str(file))  # an error leaves the table as it is
            self.drop(name)
        with self._one_cursor() as cursor, self._shown_progress(cursor, str(file), progress):
            cursor.execute(f"COPY {_quoted_name(name)} FROM {quoted_text(str(file))}")
        return name

    @contextlib.contextmanager
    def _shown_progress(self, cursor: dbapi.Cursor, label: str, wanted: bool | None) -> Iterator[None]:
        if wanted is False or (wanted is None and not sys.stderr.isatty()):
            yield
            return
        ended = threading.Event()
        statement = cursor.adbc_statement

        def watch() -> None:
            with tqdm(desc=label, unit=" values", unit_scale=True, leave=False) as bar:
                while not ended.wait(0.1):
                    most = statement.get_option_float("adbc.statement.exec.max_progress")
                    if most:
                        bar.total = most
                        bar.update(statement.get_option_float("adbc.statement.exec.progress") - bar.n)

        watcher = threading.Thread(target=watch, daemon=True)
        watcher.start()
        try:
            yield
        finally:
            ended.set()
            watcher.join()

    def save(self, table: str, file: str | Path) -> int:
        """Writes a table to a ``.vorn`` file, as it is encoded, or to a ``.parquet`` file.  The number of rows."""
        return self.execute(f"COPY {_quoted_name(table)} TO {quoted_text(str(file))}")

    def drop(self, table: str, *, missing_ok: bool = False) -> None:
        """Removes a table, and its ``.vorn`` file in the folder."""
        self.execute(f"DROP TABLE {'IF EXISTS ' if missing_ok else ''}{_quoted_name(table)}")

    # Choices

    @property
    def threads(self) -> int:
        """The threads that run a query."""
        return int(self._option("threads"))

    @property
    def isa(self) -> str:
        """The kernels in force, such as ``"avx2"``."""
        return self._option("isa")

    def _option(self, key: str) -> str:
        self._check()
        return str(self._dbapi.adbc_database.get_option(key))
