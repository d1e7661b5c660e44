"""Queries on a cluster of two processes answer as one process does, whatever happens to the processes."""

import os
import random
import shutil
import signal
from collections.abc import Callable, Iterable, Iterator
from pathlib import Path
from typing import Any

import dask
import distributed
import duckdb
import psutil
import pyarrow as pa
import pyarrow.parquet as pq
import pytest
import vorn
import vorn.dask
from vorn.dask import _cluster

partitions = 8
# What each join and aggregate does: what fits the sizes, or always an exchange.
ways: dict[str, dict[str, Any]] = {
    "by size": {},
    "exchange": {"vorn.ranges": False, "vorn.broadcast-bytes": 0, "vorn.merged-rows": 0, "vorn.task-bytes": 0},
    "tree": {"vorn.fan-in": 2, "vorn.broadcast-bytes": 1000, "vorn.task-bytes": 0},
}


@pytest.fixture(scope="session")
def client() -> Iterator[distributed.Client]:
    with (
        distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster,
        distributed.Client(cluster) as client,
    ):
        yield client


def each(names: Iterable[str], choices: Iterable[str] = ("by size", "exchange")) -> list[tuple[str, str]]:
    return [(name, way) for way in choices for name in names]


def saved_parts(table: pa.Table, name: str, folder: Path, count: int = partitions) -> vorn.dask.Table:
    """A table in files of consecutive rows."""
    step = -(-table.num_rows // count)
    with vorn.connect(threads=1) as db:
        for i in range(count):
            db.register("part", table.slice(i * step, step))
            db.save("part", folder / f"{name}-{i}.vorn")
    return vorn.dask.read(folder / f"{name}-*.vorn")


def rows_of(table: pa.Table) -> list[tuple[Any, ...]]:
    """The rows, of which doubles may differ in the last digits: they are added in another order."""
    columns = [[float(f"{v:.12g}") if isinstance(v, float) else v for v in c.to_pylist()] for c in table.columns]
    return list(zip(*columns, strict=True))


def in_any_order(table: pa.Table) -> list[tuple[Any, ...]]:
    return sorted(rows_of(table), key=lambda row: [(value is None, value) for value in row])


# TPC-H


@pytest.fixture(scope="session")
def tpch(repository: Path, tmp_path_factory: pytest.TempPathFactory) -> dict[str, vorn.dask.Table]:
    source, folder = repository / "data/tpch-0.1", tmp_path_factory.mktemp("tpch")
    if not source.exists():
        pytest.skip("the tables of TPC-H are not there: tools/tpch 0.1")
    small = ("nation", "region")
    files = sorted(source.glob("*.parquet"))
    return {
        file.stem: saved_parts(pq.read_table(file), file.stem, folder, 1 if file.stem in small else partitions)
        for file in files
    }


@pytest.mark.parametrize(("number", "way"), each([f"{number:02}" for number in range(1, 23)]))
def test_tpch_answers_equal_those_of_one_process(
    number: str, way: str, tpch: dict[str, vorn.dask.Table], client: distributed.Client, repository: Path
) -> None:
    text = (repository / f"bench/tpch/{number}.sql").read_text().strip().rstrip(";")
    query = vorn.dask.sql(text, **tpch)
    with dask.config.set(ways[way]):
        answer = query.compute(client)
    with vorn.connect(repository / "data/tpch-0.1") as db:
        expected = db.sql(text).to_arrow()
    assert answer.schema == expected.schema
    assert rows_of(answer) == rows_of(expected)
    tasks = max(stage.tasks for stage in query.stages)
    assert tasks >= partitions if way == "exchange" else 2 <= tasks < partitions
    assert query.partitions_read >= partitions


# Chosen queries


@pytest.fixture(scope="session")
def sales(tmp_path_factory: pytest.TempPathFactory) -> tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]]:
    """Tables with NULLs in keys, a key of most rows, and parts without a row; in DuckDB, and in parts."""
    db = duckdb.connect()
    db.execute("select setseed(0.5)")
    db.execute("""create table sale as select i as id,
        case when i % 11 = 0 then null when i % 3 > 0 then 7 else i % 97 end as shop,
        (i * 7919 % 1000)::decimal(9,2) / 8 as price, 'k' || (i % 13) as kind,
        date '2024-01-01' + (i // 100)::integer as day, (i % 17) / 4.0::double as weight from range(20000) t(i)""")
    db.execute("""create table shop as select case when i % 10 = 9 then null else i end as id,
        'shop ' || i % 20 as name, 'k' || (i % 19) as kind from range(150) t(i)""")
    db.execute("create table void as select * from shop where false")
    folder = tmp_path_factory.mktemp("sales")
    made = {name: saved_parts(db.table(name).to_arrow_table(), name, folder) for name in ("sale", "shop", "void")}
    return db, made


queries = {
    "columns and conditions": "select id + 1 as next, kind from sale where price > 100 and shop is not null",
    "no rows": "select * from sale where id < 0",
    "aggregates": """select shop, count(*), count(shop), sum(price), avg(price), min(day), max(kind), avg(id),
        sum(weight), avg(weight) from sale group by shop""",
    "aggregates without groups": "select count(*), avg(price), min(id), max(day) from sale where id % 2 = 0",
    "aggregates of no rows": "select count(*), sum(price), avg(price), any_value(id) from sale where id < 0",
    "any value": "select kind, any_value(day) is null, bool_and(id >= 0), bool_or(id > 19990) from sale group by kind",
    "aggregates if": "select kind, count(*) filter (price > 50), sum(id) filter (shop = 7) from sale group by 1",
    "many groups": "select id, count(*) as n, sum(price) from sale group by id having id % 3 = 0",
    "distinct": "select distinct shop, kind from sale",
    "count distinct": "select count(distinct shop), sum(id), max(kind) from sale",
    "count distinct of no rows": "select count(distinct shop), avg(distinct shop), count(*) from sale where id < 0",
    "count distinct by groups": """select kind, count(distinct shop), sum(distinct shop), avg(distinct shop),
        sum(price), avg(price), count(*) from sale group by kind""",
    "count distinct of two columns": "select kind, count(distinct shop), count(distinct day) from sale group by 1",
    "grouping sets": "select kind, shop, count(*), avg(price) from sale group by rollup (kind, shop)",
    "top": "select id, price from sale order by price desc, id limit 10 offset 5",
    "order": "select id, kind from sale where id % 100 = 0 order by kind desc, id",
    "limit": "select count(*) from (select id from sale where id >= 300 limit 500 offset 20)",
    "inner join": "select sale.id, name from sale join shop on shop = shop.id",
    "left join": "select sale.id, name from sale left join shop on shop = shop.id and shop.kind = sale.kind",
    "right join": "select sale.id, shop.id, name from sale right join shop on shop = shop.id and price > 120",
    "full join": "select sale.id, shop.id from sale full join shop on shop = shop.id and sale.id % 2 = 0",
    "full join of groups": """select s.shop, t.id, n from (select shop, count(*) n from sale group by 1) s
        full join shop t on s.shop = t.id""",
    "semi join": "select id from sale where shop in (select id from shop where name like '%1%')",
    "not in with NULL": "select id from sale where shop not in (select id from shop)",
    "not in": "select id from sale where shop not in (select id from shop where id is not null and id < 50)",
    "not in of no rows": "select count(*) from sale where shop not in (select id from void)",
    "not exists": """select id from sale s
        where not exists (select 1 from shop where shop.id = s.shop and shop.kind = s.kind)""",
    "join with nobody": "select count(*), sum(price) from sale join void on shop = void.id",
    "left join with nobody": "select count(*), count(name) from sale left join void on shop = void.id",
    "self join": "select count(*), sum(a.price) from sale a join sale b on a.id = b.id + 1 and a.kind <> b.kind",
    "not equal join": "select count(*) from shop a join shop b on a.id < b.id",
    "cross product": "select count(*), sum(a.id) from shop a, shop b",
    "scalar subquery": "select id from sale where price > (select avg(price) * 1.8 from sale)",
    "correlated": "select id from sale s where price >= (select max(price) from sale t where t.shop = s.shop)",
    "common table": """with by_shop as (select shop, sum(price) as total from sale group by shop)
        select a.shop, b.shop from by_shop a join by_shop b on a.total < b.total and a.shop = 7""",
    "union": "select kind from sale where id < 5 union all select kind from shop union all select 'none'",
    "except": "select kind from shop except select kind from sale",
    "intersect": "select shop from sale intersect select id from shop",
    "distinct on": "select distinct on (kind) kind, id from sale order by kind, id desc",
    "joins above aggregates": """select name, total
        from shop join (select shop, sum(price) as total from sale group by 1) on shop = id
        join (select kind, count(*) as n from sale group by kind) using (kind) where n > 100""",
}


@pytest.mark.parametrize(
    ("name", "way"), [*each(queries), *each([name for name in queries if "aggregates" in name], ["tree"])]
)
def test_answers_equal_those_of_duckdb(
    name: str,
    way: str,
    sales: tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]],
    client: distributed.Client,
) -> None:
    db, tables = sales
    text = queries[name]
    used = {table: rows for table, rows in tables.items() if table in text}
    with dask.config.set(ways[way]):
        answer = vorn.dask.sql(text, **used).compute(client)
    expected = db.sql(text).to_arrow_table()
    is_ordered = "order by" in text and "distinct on" not in text
    assert (rows_of if is_ordered else in_any_order)(answer) == (rows_of if is_ordered else in_any_order)(expected)


@pytest.mark.parametrize(
    ("text", "part"),
    [
        ("select row_number() over (order by id) from sale", "window functions"),
        ("select * from sale full join shop on price > shop.id", "full join without equal keys"),
        ("select id from sale limit 10%", "LIMIT of a percentage"),
        ("select avg(day) from sale", "avg of the type"),
        ("select count(distinct shop), count(distinct kind) from sale", "several DISTINCT aggregates"),
        ("select count(distinct shop) filter (id > 5) from sale", "DISTINCT aggregates with FILTER"),
        ("select kind, count(distinct id) from sale group by rollup (kind)", "DISTINCT and grouping sets"),
    ],
)
def test_what_is_not_spread_says_so(
    text: str,
    part: str,
    sales: tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]],
    client: distributed.Client,
) -> None:
    with pytest.raises(vorn.NotSupportedError, match=part) as caught:
        vorn.dask.sql(text, **sales[1]).compute(client)
    assert caught.value.sqlstate == "0A000"


# Partitions


def test_averages_of_exact_numbers_are_rounded_once(tmp_path: Path, client: distributed.Client) -> None:
    with duckdb.connect() as db:
        made = db.sql("""select i % 700 as g, (hash(i) % 1000000)::decimal(18,0) * 0.001 as cost, hash(i) as large,
            (hash(i) % 1000)::integer as small from range(20000) t(i)""").to_arrow_table()
    text = "select g, avg(cost), avg(large), avg(small), avg(large::hugeint * 1000) from t group by g order by g"
    with vorn.connect() as process:
        process.register("t", made)
        expected = process.sql(text).to_arrow()
    assert vorn.dask.sql(text, t=saved_parts(made, "t", tmp_path)).compute(client).equals(expected)


def test_zone_maps_rule_partitions_out(
    sales: tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]], client: distributed.Client
) -> None:
    db, tables = sales
    # 2,500 rows are a partition, and 100 rows a day.
    for condition, read in {
        "id between 2400 and 2600": 2,
        "id = 2500": 1,
        "id < 2500": 1,
        "id <= 2500": 2,
        "19999 <= id": 1,
        "id in (1, 19000)": 2,
        "day = date '2024-01-01'": 1,
        "day < date '2024-02-01' or id > 17499": 3,
        "kind = 'z'": 0,
        "id is null": 0,
        "shop is null": 8,
        "id % 5000 = 5": 8,
    }.items():
        text = f"select count(*), sum(price) from sale where {condition}"
        query = vorn.dask.sql(text, sale=tables["sale"])
        assert rows_of(query.compute(client)) == rows_of(db.sql(text).to_arrow_table()), condition
        assert (query.partitions_read, query.partitions_skipped) == (read, 8 - read), condition


def test_a_partition_with_most_rows_is_split(
    sales: tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]], client: distributed.Client
) -> None:
    db, tables = sales
    # Two of three rows have the key 7.
    text = "select sale.id, name from sale join shop on shop = shop.id"
    query = vorn.dask.sql(text, **{name: tables[name] for name in ("sale", "shop")})
    with dask.config.set({**ways["exchange"], "vorn.partition-bytes": 10_000}):
        assert "result: 12 tasks" in query.explain()
        answer = query.compute(client)
    assert in_any_order(answer) == in_any_order(db.sql(text).to_arrow_table())
    assert query.stages[-1].tasks > 12


def test_memory_of_a_worker_stays_below_its_limit(tmp_path: Path) -> None:
    # Pages of a file that is read count as memory of the process.
    rows, count, limit = 2_000_000, 20, 400_000_000
    numbers = pa.array(random.Random(1).sample(range(2**62), rows))
    with vorn.connect(threads=1) as db:
        db.register("numbers", pa.table({"a": numbers, "b": numbers}))
        db.save("numbers", tmp_path / "part-0.vorn")
    for i in range(1, count):
        shutil.copy(tmp_path / "part-0.vorn", tmp_path / f"part-{i}.vorn")
    table = vorn.dask.read(tmp_path / "part-*.vorn")
    assert sum(partition.bytes for partition in table.partitions) > 1.4 * limit
    with (
        distributed.LocalCluster(
            n_workers=1, threads_per_worker=1, memory_limit=limit, dashboard_address=None
        ) as cluster,
        distributed.Client(cluster) as client,
    ):
        before = client.run(os.getpid)
        answer = vorn.dask.sql("select count(*) as n, max(a - b) as least, min(b) as b from t", t=table).compute(client)
        assert answer.to_pylist() == [{"n": rows * count, "least": 0, "b": min(numbers.to_pylist())}]
        assert client.run(os.getpid) == before  # Dask restarts a worker beyond its limit
        assert max(client.run(lambda: psutil.Process().memory_info().rss).values()) < limit


def test_parquet_is_read_by_row_groups(tmp_path: Path, client: distributed.Client) -> None:
    rows = pa.table({"id": pa.array(range(1000)), "name": [f"n{i % 7}" for i in range(1000)]})
    pq.write_table(rows, tmp_path / "rows.parquet", row_group_size=100)
    table = vorn.dask.from_parquet(tmp_path / "rows.parquet", partitions=4)
    assert [each.rows for each in table.partitions] == [200, 300, 200, 300]
    query = vorn.dask.sql("select name, count(*) as n from t where id >= 500 group by name order by name", t=table)
    counts = {f"n{i}": sum(j % 7 == i for j in range(500, 1000)) for i in range(7)}
    assert query.compute(client).to_pylist() == [{"name": name, "n": n} for name, n in counts.items()]
    assert query.partitions_skipped == 2
    saved = table.save(tmp_path / "saved", client)
    assert [Path(each.file).name for each in saved.partitions] == [f"part-{i:05}.vorn" for i in range(4)]
    assert vorn.dask.sql("select sum(id) as n from t", t=saved).compute(client).to_pylist() == [{"n": 499_500}]
    pq.write_table(rows.slice(0, 0), tmp_path / "void.parquet")
    void = vorn.dask.read(tmp_path / "void.parquet").save(tmp_path / "void", client)
    # Names of tables are the same in upper and lower case.
    assert vorn.dask.sql("select count(*), max(name) from VOID", Void=void).compute(client).num_rows == 1
    with pytest.raises(ValueError, match="only by upper and lower case"):
        vorn.dask.sql("select * from t", t=table, T=void)
    with pytest.raises(FileNotFoundError, match="none-"):
        vorn.dask.read(tmp_path / "none-*.vorn")
    pq.write_table(rows.select(["name"]), tmp_path / "others.parquet")
    with pytest.raises(ValueError, match="other columns"):
        vorn.dask.read([tmp_path / "rows.parquet", tmp_path / "others.parquet"])


# Faults


def test_a_worker_that_dies_changes_no_answer(
    tpch: dict[str, vorn.dask.Table], client: distributed.Client, repository: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    text = (repository / "bench/tpch/03.sql").read_text().strip().rstrip(";")
    killed: list[int] = []

    def killing(run: Callable[..., Any]) -> Callable[..., Any]:
        def wrapped(self: Any, title: str, *arguments: Any) -> Any:
            made = run(self, title, *arguments)
            if title == "exchange" and not killed:
                # It holds rows that the next tasks read.
                holders = {who for key, who in client.who_has().items() if "exchange" in str(key) for who in who}
                process = client.run(os.getpid, workers=[sorted(holders)[0]])
                killed.extend(process.values())
                os.kill(killed[0], signal.SIGKILL)
            return made

        return wrapped

    monkeypatch.setattr(_cluster.ClusterRunner, "run", killing(_cluster.ClusterRunner.run))
    with dask.config.set(ways["exchange"]):
        answer = vorn.dask.sql(text, **tpch).compute(client)
    assert len(killed) == 1
    assert not psutil.pid_exists(killed[0])
    with vorn.connect(repository / "data/tpch-0.1") as db:
        assert rows_of(answer) == rows_of(db.sql(text).to_arrow())


def test_events_that_are_lost_change_no_answer(
    sales: tuple[duckdb.DuckDBPyConnection, dict[str, vorn.dask.Table]],
    client: distributed.Client,
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    db, tables = sales
    monkeypatch.setitem(client._event_handlers, _cluster._Events.of(client).topic, lambda _: None)
    text = "select shop, count(*) as n from sale group by shop order by shop"
    with dask.config.set(ways["exchange"]):
        answer = vorn.dask.sql(text, sale=tables["sale"]).compute(client)
    assert rows_of(answer) == rows_of(db.sql(text).to_arrow_table())


def test_a_damaged_partition_is_named(tmp_path: Path, client: distributed.Client) -> None:
    table = saved_parts(pa.table({"id": range(80_000)}), "part", tmp_path)
    damaged = tmp_path / "part-3.vorn"
    content = bytearray(damaged.read_bytes())
    content[len(content) // 2] ^= 0xFF
    damaged.unlink()  # another process may have the old file mapped
    damaged.write_bytes(content)
    with pytest.raises(vorn.Error, match=r"part-3\.vorn"):
        vorn.dask.sql("select sum(id) from t", t=table).compute(client)
    damaged.unlink()
    with pytest.raises(vorn.Error, match=r"part-3\.vorn"):
        vorn.dask.sql("select sum(id) from t", t=table).compute(client)
    whole = vorn.dask.sql("select sum(id) from t where id < 30000", t=table).compute(client)
    assert whole.to_pylist() == [{"sum(id)": sum(range(30_000))}]
