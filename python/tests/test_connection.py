"""Connections: tables and files, errors, Ctrl-C, threads, processes."""

import contextlib
import ctypes
import multiprocessing
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import pyarrow as pa
import pytest
import vorn

# Each flight with each other one: hours.
endless = "select count(*) from '{0}' a, '{0}' b where a.delay + b.delay < -100000"


def test_tables_live_in_memory_or_in_a_folder(
    tmp_path: Path, flights: Path, capsys: pytest.CaptureFixture[str]
) -> None:
    (tmp_path / "tables").mkdir()
    with vorn.connect(tmp_path / "tables", threads=1) as db:
        assert db.load(flights, "flights", progress=True) == "flights"
        assert "flights-3m.parquet" in capsys.readouterr().err
        assert db.register("Notes", {"n": ["a"]}) == 1
        assert db.register("notes", {"n": ["b"]}, mode="append") == 1
        db.register("brief", {"n": [1]}, temporary=True)
        assert db.tables() == ["brief", "flights", "notes"]
        assert db.save("flights", tmp_path / "copy.parquet") == 3_000_000
        parts = db.partitions("select origin, delay from flights where delay > 1200", row_groups=8)
        assert len(parts) == 6
        rows = db.sql("select count(*) from flights where delay > 1200").fetchall()[0][0]
        assert f" {rows} " in db.explain("select origin from flights where delay > 1200", analyze=True)
        db.drop("notes")
        with pytest.raises(vorn.ProgrammingError):
            db.drop("notes")
        for mode, name in (("create", "flights"), ("append", "lost")):
            with pytest.raises(vorn.Error):
                db.load(flights, name, mode=mode)  # type: ignore[arg-type]
        with pytest.raises(vorn.ProgrammingError, match=r"lost\.parquet"):
            db.load(tmp_path / "lost.parquet", "flights")
        db.load(tmp_path / "tables/flights.vorn", mode="replace")  # the file of the table itself
        # A table that DuckDB refuses does not change the errors of other queries.
        db.execute(f"copy (select 1 as a, 2 as A) to '{tmp_path}/tables/refused.vorn'")
    with vorn.connect(tmp_path / "tables") as db:
        assert db.tables() == ["flights", "refused"]
        with pytest.raises(vorn.ProgrammingError, match="Table with name lost does not exist"):
            db.sql("from lost")
        whole = db.sql("select origin, delay from flights where delay > 1200").fetchall()
        assert [row for part in parts for row in db.read_partition(part).fetchall()] == whole
        assert db.sql(f"select count(*) from '{tmp_path}/copy.parquet'").fetchone() == (3_000_000,)
    with vorn.connect() as db:
        assert db.tables() == []
        assert db.threads == os.cpu_count()
        assert db.isa in ("generic", "sse42", "avx", "avx2", "avx512")


def test_errors_are_those_of_the_database_api(db: vorn.Connection, tmp_path: Path) -> None:
    for query, kind, state, message in (
        ("selec 1", vorn.ProgrammingError, "42601", 'syntax error at or near "selec"'),
        ("from lost", vorn.ProgrammingError, "42P01", "Table with name lost does not exist"),
        ("select row_number() over ()", vorn.NotSupportedError, "0A000", "window functions"),
        ("select cast('x' as int)", vorn.DataError, "22018", "is not a value of INTEGER"),
    ):
        with pytest.raises(kind, match=message) as raised:
            db.sql(query).fetchall()
        assert raised.value.sqlstate == state
        assert [value for _, value in raised.value.details] == [query.encode()]
    with pytest.raises(vorn.ProgrammingError, match="no such folder"):
        vorn.connect(tmp_path / "lost")
    with pytest.raises(vorn.DataError, match="nested"):
        db.register("t", {"a": [[1, 2]]})
    with pytest.raises(vorn.DataError, match="apart from upper and lower case"):
        db.register("t", pa.table({"a": [1], "A": [2]}))
    with pytest.raises(TypeError, match="int has no Arrow stream"):
        db.register("t", 5)  # type: ignore[arg-type]
    other = "generic" if db.isa != "generic" else "avx2"
    with pytest.raises(vorn.ProgrammingError, match="kernels of this process"):
        vorn.connect(isa=other)


def test_closed_pickled_and_forked_connections_say_so(flights: Path) -> None:
    db = vorn.connect()
    db.register("t", {"a": [1]})
    unread = db.sql("from t")
    with pytest.raises(TypeError, match="cannot be pickled"):
        pickle.dumps(db)
    to_child, to_parent = multiprocessing.Pipe()
    if (child := os.fork()) == 0:
        answer = []
        for use in (lambda: db.sql("from t"), db.tables, unread.fetchall):
            try:
                use()
            except vorn.InterfaceError as error:
                answer.append(str(error))
        to_parent.send(answer)
        os._exit(0)
    assert to_child.poll(60), "the child hangs"
    assert [("forked" in text) for text in to_child.recv()] == [True] * 3
    assert os.waitpid(child, 0)[1] == 0
    assert unread.fetchall() == [(1,)]
    # A child that ends as usual, with its objects freed.
    script = (
        f"import os, vorn; db = vorn.connect(); r = db.sql(\"from '{flights}'\")\n"
        "if os.fork(): print(os.wait()[1], r.fetchone() is not None)"
    )
    ended = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=120, check=False)
    assert (ended.stdout.strip(), ended.stderr, ended.returncode) == ("0 True", "", 0)
    db.close()
    db.close()
    for use in (lambda: db.sql("from t"), db.tables):
        with pytest.raises(vorn.InterfaceError, match="closed"):
            use()


def test_ctrl_c_stops_a_query(db: vorn.Connection, flights: Path) -> None:
    timer = threading.Timer(1, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    began = time.monotonic()
    with pytest.raises((KeyboardInterrupt, vorn.OperationalError)):
        db.sql(endless.format(flights)).fetchall()
    timer.join()
    assert time.monotonic() - began < 60
    assert db.sql("select 1 as x").fetchall() == [(1,)]


def test_a_thread_that_is_killed_leaves_the_connection_whole(db: vorn.Connection) -> None:
    db.register("t", {"a": list(range(100_000))})
    rows = 0

    def reads_for_ever() -> None:
        nonlocal rows
        with contextlib.suppress(SystemExit):
            while True:
                rows += len(db.sql("select a from t where a % 3 = 0").fetchall())

    thread = threading.Thread(target=reads_for_ever)
    thread.start()
    while rows == 0:
        time.sleep(0.01)
    assert db.sql("select count(*) from t").fetchall() == [(100_000,)], "two threads share a connection"
    ctypes.pythonapi.PyThreadState_SetAsyncExc(ctypes.c_ulong(thread.ident or 0), ctypes.py_object(SystemExit))
    thread.join(60)
    assert not thread.is_alive()
    assert db.sql("select sum(a) from t").fetchall() == [(sum(range(100_000)),)]


def test_module_runs_vornq() -> None:
    ran = subprocess.run(
        [sys.executable, "-m", "vorn", "--format", "csv", "select 42 as x"], capture_output=True, text=True, check=True
    )
    assert ran.stdout == "x\n42\n"
