"""Tables in partitions: files, or ranges of their row groups, which each process of the cluster can open."""

from __future__ import annotations

import glob
import itertools
import json
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import distributed

from .._connection import Connection, quoted_text
from ._errors import gathered
from ._plan import scan
from ._worker import write
from ._zones import Zone, scalar, united


@dataclass(frozen=True)
class Column:
    """A column of a table: its SQL type, and how many different values it has, where this is known."""

    name: str
    type: str
    distinct: int | None = None


@dataclass(frozen=True)
class RowGroup:
    """Consecutive rows of a file, with the zone of each column."""

    rows: int
    zones: tuple[Zone | None, ...]


@dataclass(frozen=True)
class Partition:
    """Row groups of a file, with the zone of each column."""

    file: str
    row_groups: range | None  # None for all of a .vorn file
    rows: int
    zones: tuple[Zone | None, ...]
    bytes: int  # of the file, as far as it belongs to the partition


@dataclass(frozen=True)
class Table:
    """A table in partitions, see :func:`vorn.dask.read`.  It names files and holds no rows."""

    columns: tuple[Column, ...]
    partitions: tuple[Partition, ...]
    files: Mapping[str, tuple[RowGroup, ...]]

    @property
    def rows(self) -> int:
        """The number of rows."""
        return sum(partition.rows for partition in self.partitions)

    def __repr__(self) -> str:
        columns = ", ".join(f"{column.name} {column.type}" for column in self.columns)
        return f"<vorn.dask.Table of {self.rows:,} rows in {len(self.partitions)} partitions: {columns}>"

    def save(self, folder: str | Path, client: distributed.Client | None = None) -> Table:
        """Writes each partition with rows to a ``.vorn`` file of a folder, on the cluster, and returns their table.

        A table without rows is one file.

        The folder lies on a disk that all processes of the cluster see.  Files of the same names are replaced.
        """
        Path(folder).mkdir(parents=True, exist_ok=True)
        if self.rows == 0:
            file = str((Path(folder) / "part-00000.vorn").absolute())
            with Connection(threads=1) as connection:
                connection.execute(f"COPY (FROM {quoted_text(self.partitions[0].file)}) TO {quoted_text(file)}")
            return read(file)
        chosen = client or distributed.get_client()
        names = [column.name for column in self.columns]
        types = [column.type for column in self.columns]
        tasks = []
        for number, partition in enumerate(each for each in self.partitions if each.rows > 0):
            plan = scan(partition.file, range(len(names)), types)
            if partition.row_groups is not None:
                plan["row_groups"] = [partition.row_groups.start, partition.row_groups.stop]
            file = str((Path(folder) / f"part-{number:05}.vorn").absolute())
            tasks.append(chosen.submit(write, json.dumps(plan), names, file, pure=False))
        return read(gathered(chosen, tasks))

    def statistics(self) -> str:
        """What a planner has to know, as the driver reads it."""
        columns = [
            {"name": column.name, "type": column.type}
            | ({} if column.distinct is None else {"distinct": min(column.distinct, self.rows)})
            for column in self.columns
        ]
        return json.dumps({"rows": self.rows, "columns": columns})


def read(paths: str | Path | Iterable[str | Path], partitions: int | None = None) -> Table:
    """A table of ``.vorn`` and ``.parquet`` files with the same columns.

    Parameters
    ----------
    paths
        A file, a pattern such as ``"part-*.vorn"``, or several of them.  Each process of the cluster opens the files
        by these paths, so that they lie on a disk that all of them see.
    partitions
        Into how many parts of about the same number of row groups the table is split.  Without a number each file is
        a partition.

    Nothing but the columns and the smallest and largest values of each row group is read.

    Raises ``FileNotFoundError`` without a file, and ``ValueError`` for files of different columns and other endings.
    """
    files = sorted(_expanded(paths))
    if not files:
        raise FileNotFoundError(f"no such file: {paths}")
    with Connection(threads=1) as connection:
        opened = [_opened(file, connection) for file in files]
    columns = opened[0].columns
    for file in opened:
        if [(c.name, c.type) for c in file.columns] != [(c.name, c.type) for c in columns]:
            raise ValueError(f"{file.path} has other columns than {files[0]}")
    if partitions is None:
        made = [_partition(file, range(len(file.row_groups)), is_whole=True) for file in opened]
    else:
        made = _split(opened, partitions)
    # A value that is in several files is counted in each of them.
    counts = [[file.columns[c].distinct for file in opened] for c in range(len(columns))]
    known = [None if None in count else max(count[0] or 0, *(each or 0 for each in count), 0) for count in counts]
    merged = [Column(c.name, c.type, distinct) for c, distinct in zip(columns, known, strict=True)]
    return Table(tuple(merged), tuple(made), {file.path: file.row_groups for file in opened})


def from_parquet(path: str | Path, partitions: int) -> Table:
    """A table of one or several Parquet files, split into partitions by their row groups, see :func:`read`.

    Each query reads the columns that it needs and encodes them.  ``.vorn`` files are encoded already.
    """
    return read(path, partitions)


# Files


@dataclass(frozen=True)
class File:
    path: str
    bytes: int
    columns: tuple[Column, ...]
    row_groups: tuple[RowGroup, ...]


def _expanded(paths: str | Path | Iterable[str | Path]) -> list[str]:
    if isinstance(paths, str | Path):
        pattern = str(paths)
        # A pattern may begin with any folder, which Path.glob does not take.
        found = glob.glob(pattern) if glob.has_magic(pattern) and not Path(pattern).exists() else [pattern]  # noqa: PTH207
        return [str(Path(path).absolute()) for path in found]
    return [file for path in paths for file in _expanded(path)]


def _opened(file: str, connection: Connection) -> File:
    if not Path(file).is_file():
        raise FileNotFoundError(f"no such file: {file}")
    if not file.endswith((".vorn", ".parquet")):
        raise ValueError(f"{file} ends in neither .vorn nor .parquet")
    found = json.loads(connection._dbapi.adbc_connection.get_option(f"vorn.statistics.{file}"))

    def zone(of: dict[str, Any], rows: int) -> Zone | None:
        nulls = of.get("nulls", 0)
        if "min" not in of:
            return Zone(None, None, nulls) if nulls == rows else None
        low, high = scalar(of["min"]), scalar(of["max"])
        return None if low is None or high is None else Zone(low, high, nulls)

    columns = tuple(Column(each["name"], each["type"], each.get("distinct")) for each in found["columns"])
    groups = [
        RowGroup(group["rows"], tuple(zone(each, group["rows"]) for each in group["columns"]))
        for group in found["row_groups"]
    ]
    return File(file, Path(file).stat().st_size, columns, tuple(groups))


# Partitions


def _partition(file: File, row_groups: range, is_whole: bool) -> Partition:
    chosen = file.row_groups[row_groups.start : row_groups.stop]
    zones = [united([group.zones[c] for group in chosen]) for c in range(len(file.columns))]
    share = len(chosen) / max(len(file.row_groups), 1)
    named = None if is_whole and file.path.endswith(".vorn") else row_groups
    return Partition(file.path, named, sum(g.rows for g in chosen), tuple(zones), int(file.bytes * share))


def _split(files: Sequence[File], partitions: int) -> list[Partition]:
    if partitions < 1:
        raise ValueError(f"a table has at least one partition, not {partitions}")
    total = sum(len(file.row_groups) for file in files)
    out: list[Partition] = []
    done = 0
    for file in files:
        # The ends of partitions among the row groups of all files, as far as they lie in this one.
        count = len(file.row_groups)
        cuts = {total * i // partitions - done for i in range(partitions)}
        ends = [0, *sorted(cut for cut in cuts if 0 < cut < count), count]
        out += [_partition(file, range(a, b), False) for a, b in itertools.pairwise(ends)]
        done += count
    return out
