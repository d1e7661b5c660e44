"""The rows of a query."""

from __future__ import annotations

import contextlib
from collections.abc import Callable, Iterator
from typing import TYPE_CHECKING, Any

import pyarrow as pa

from ._text import html_table, text_table

if TYPE_CHECKING:
    import pandas
    import polars
    from adbc_driver_manager.dbapi import Cursor

_shown_rows = 20


class Result:
    """The rows of a query.  The query runs while the rows are read.

    A result is an Arrow stream, so pyarrow, polars, pandas, DuckDB and others read it without a conversion:
    ``polars.DataFrame(db.sql(...))``.  They do not copy its batches.

    The rows can be read several times.  Each time after the first, the query runs again, except for rows that were
    only shown on the screen.  Errors of rows, such as a text that is no number, are raised where rows are read.
    """

    def __init__(self, cursor: Cursor, run: Callable[[Cursor], Any], check: Callable[[], None]) -> None:
        self._cursor = cursor
        self._run = run
        self._check = check
        self._run(cursor)
        self._description = cursor.description or []
        self._is_unread = True
        self._shown: list[pa.RecordBatch] = []  # that were read to be shown
        self._reader: pa.RecordBatchReader | None = None  # of the rows after these

    @property
    def columns(self) -> list[str]:
        """The names of the columns."""
        return [str(column[0]) for column in self._description]

    @property
    def types(self) -> list[pa.DataType]:
        """The Arrow types of the columns."""
        return [column[1] for column in self._description]

    def _unread(self) -> Cursor:
        """The cursor before its first row."""
        self._check()
        if not self._is_unread:
            self._run(self._cursor)
        self._is_unread = False
        return self._cursor

    def _handed_out(self) -> pa.RecordBatchReader:
        """A reader of the rows.  It stays open after the cursor is closed."""
        cursor = self._unread()
        reader = cursor.fetch_record_batch()
        cursor._results = None
        return reader

    def __del__(self) -> None:
        # Streams that were handed out go on.  A child after fork leaves the driver alone.
        with contextlib.suppress(Exception):
            self._check()
            self._cursor.close()

    def to_arrow(self) -> pa.Table:
        """All rows as a ``pyarrow.Table``.  Raises ``vorn.Error`` for rows that cannot be made."""
        if self._reader is None:
            return self._unread().fetch_arrow_table()
        self._check()
        self._reader = None
        shown, self._shown = self._shown, []
        rest = self._cursor.fetch_arrow_table()
        return pa.concat_tables([pa.Table.from_batches(shown, rest.schema), rest])

    def to_batches(self) -> pa.RecordBatchReader:
        """The rows as record batches.  A batch is made when it is read."""
        if self._reader is not None:
            return self.to_arrow().to_reader()
        return self._handed_out()

    def to_pandas(self, **options: Any) -> pandas.DataFrame:
        """All rows as a ``pandas.DataFrame``.  The options go to ``pyarrow.Table.to_pandas``."""
        frame: pandas.DataFrame = self.to_arrow().to_pandas(**options)
        return frame

    def to_polars(self) -> polars.DataFrame:
        """All rows as a ``polars.DataFrame``."""
        if self._reader is not None:
            import polars

            return polars.DataFrame(self.to_arrow())
        return self._unread().fetch_polars()

    def fetchall(self) -> list[tuple[Any, ...]]:
        """All rows as tuples of Python's values."""
        if self._reader is not None:
            columns = [column.to_pylist() for column in self.to_arrow().columns]
            return list(zip(*columns, strict=True))
        return self._unread().fetchall()

    def fetchone(self) -> tuple[Any, ...] | None:
        """The first row, or None without one."""
        return self._unread().fetchone()

    def __iter__(self) -> Iterator[tuple[Any, ...]]:
        for batch in self.to_batches():
            yield from zip(*(column.to_pylist() for column in batch.columns), strict=True)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        if self._reader is not None:
            return self.to_arrow().__arrow_c_stream__(requested_schema)
        # The driver gives the types that it has, and the interface allows this.
        return self._unread().fetch_arrow().__arrow_c_stream__()

    def _first(self, rows: int) -> tuple[pa.Table, bool]:
        """The first rows, and whether there are more."""
        self._check()
        if self._reader is None:
            self._reader = self._unread().fetch_record_batch()
            self._is_unread = False
        reader = self._reader
        while sum(len(batch) for batch in self._shown) <= rows:
            try:
                self._shown.append(reader.read_next_batch())
            except StopIteration:
                break
        table = pa.Table.from_batches(self._shown, reader.schema)
        return table.slice(0, rows), table.num_rows > rows

    def show(self, rows: int = 40) -> None:
        """Prints the first rows as a table."""
        print(text_table(*self._first(rows)))

    def __repr__(self) -> str:
        return text_table(*self._first(_shown_rows))

    def _repr_html_(self) -> str:
        return html_table(*self._first(_shown_rows))
