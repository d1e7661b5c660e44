"""Tables of other libraries come in and go out again, in every type, and answers equal DuckDB's."""

import datetime
import decimal
import uuid
from pathlib import Path
from typing import Any

import duckdb
import nanoarrow
import pandas
import polars
import polars.testing
import pyarrow as pa
import pytest
import vorn
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

utc = datetime.timezone.utc
# A column of each type: the values, and the type that the store gives back where it is another one.
columns: dict[str, tuple[pa.DataType, list[Any], pa.DataType | None]] = {
    "bool": (pa.bool_(), [True, False], None),
    "int8": (pa.int8(), [-128, 127], None),
    "uint8": (pa.uint8(), [0, 255], None),
    "int16": (pa.int16(), [-32768, 32767], None),
    "uint16": (pa.uint16(), [0, 65535], None),
    "int32": (pa.int32(), [-(2**31), 2**31 - 1], None),
    "uint32": (pa.uint32(), [0, 2**32 - 1], None),
    "int64": (pa.int64(), [-(2**63), 2**63 - 1], None),
    "uint64": (pa.uint64(), [0, 2**64 - 1], None),
    "float32": (pa.float32(), [-0.0, 1.5], None),
    "float64": (pa.float64(), [float("inf"), 2.0**-1074], None),
    "decimal": (
        pa.decimal128(12, 2),
        [decimal.Decimal("-1234567890.12"), decimal.Decimal("0.01")],
        pa.decimal128(18, 2),
    ),
    "wide": (pa.decimal128(38, 4), [decimal.Decimal("1" * 34), decimal.Decimal("-0.0001")], None),
    "date": (pa.date32(), [datetime.date(1, 1, 1), datetime.date(9999, 12, 31)], None),
    "time": (pa.time64("us"), [datetime.time(0), datetime.time(23, 59, 59, 999999)], None),
    "seconds": (pa.timestamp("s"), [datetime.datetime(1969, 7, 20)], pa.timestamp("us")),
    "moment": (pa.timestamp("us"), [datetime.datetime(1969, 7, 20, 20, 17, 40, 1)], None),
    "zone": (pa.timestamp("us", "UTC"), [datetime.datetime(2026, 1, 1, tzinfo=utc)], None),
    "text": (pa.string(), ["", "é\U0001f600", "it's"], None),
    "large": (pa.large_string(), ["x" * 20000], pa.string()),
    "view": (pa.string_view(), ["short", "longer than twelve bytes"], pa.string()),
    "bytes": (pa.binary(), [b"", b"\x00\xff"], None),
    "fixed": (pa.binary(3), [b"abc"], pa.binary()),
    "codes": (pa.dictionary(pa.int32(), pa.string()), ["a", "b", "a"], pa.string()),
    "null": (pa.null(), [], pa.int32()),
}


def every_type() -> tuple[pa.Table, pa.Table]:
    """A table with a column of each type and NULLs, and the table that is expected back."""
    rows = 9
    given, expected = {}, {}
    for name, (kind, values, back) in columns.items():
        filled = [*values, None][: len(values) + 1]
        cells = [filled[row % len(filled)] for row in range(rows)]
        given[name] = pa.array(cells, kind)
        expected[name] = pa.array(cells, back or kind)
    return pa.table(given), pa.table(expected)


def test_every_type_comes_back_from_pyarrow(db: vorn.Connection, tmp_path: Path) -> None:
    table, expected = every_type()
    assert db.register("t", table) == table.num_rows
    db.register("chunks", pa.concat_tables([table, table.slice(2, 5)]).to_reader())
    assert db.sql("from t").to_arrow().equals(expected)
    assert (
        db.sql("from chunks")
        .to_arrow()
        .combine_chunks()
        .equals(pa.concat_tables([expected, expected.slice(2, 5)]).combine_chunks())
    )
    db.save("t", tmp_path / "t.vorn")
    assert db.sql(f"from '{tmp_path}/t.vorn'").to_arrow().equals(expected)
    assert db.schema("t") == expected.schema
    key = uuid.uuid4()
    ids = pa.ExtensionArray.from_storage(pa.uuid(), pa.array([key.bytes, None], pa.binary(16)))
    db.register("ids", pa.table({"id": ids}))
    assert db.sql("select id, id::varchar as text from ids where id is not null").to_arrow().to_pylist() == [
        {"id": key, "text": str(key)}
    ]


@pytest.mark.parametrize("library", ["pandas", "polars", "duckdb", "nanoarrow", "vorn"])
def test_other_libraries_give_and_take(db: vorn.Connection, library: str) -> None:
    _, table = every_type()
    names = [
        name for name in columns if name not in ("null", "time", "zone", "wide", "bytes", "fixed", "date", "decimal")
    ]
    table = table.select(names)
    db.register("t", table)
    with duckdb.connect() as other:
        frames: dict[str, Any] = {
            "pandas": lambda: table.to_pandas(types_mapper=pandas.ArrowDtype),
            "polars": lambda: polars.DataFrame(table),
            "duckdb": lambda: other.from_arrow(table),
            "nanoarrow": lambda: nanoarrow.ArrayStream(table),
            "vorn": lambda: db.sql("from t"),
        }
        db.register("given", frames[library]())
        assert db.sql("from given").to_arrow().equals(table), "what the library gives"
        result = db.sql("from t")
        if library == "pandas":
            back = pa.Table.from_pandas(result.to_pandas(types_mapper=pandas.ArrowDtype), table.schema)
        elif library == "polars":
            polars.testing.assert_frame_equal(result.to_polars(), polars.DataFrame(table))
            back = polars.DataFrame(result).to_arrow().cast(table.schema)
        elif library == "duckdb":
            back = other.sql("from result").to_arrow_table().cast(table.schema)
        else:
            back = pa.table(nanoarrow.ArrayStream(result) if library == "nanoarrow" else result)
        assert back.cast(table.schema).equals(table), "what the library takes"


cell = {
    "i": st.one_of(st.none(), st.integers(-(2**63), 2**63 - 1)),
    "d": st.one_of(st.none(), st.floats(allow_nan=False)),
    "t": st.one_of(st.none(), st.text(alphabet=st.characters(codec="utf-8", exclude_characters="\0"))),
    "b": st.one_of(st.none(), st.booleans()),
    "k": st.one_of(st.none(), st.integers(-3, 3)),
}
schema = pa.schema({"i": pa.int64(), "d": pa.float64(), "t": pa.string(), "b": pa.bool_(), "k": pa.int8()})


@settings(
    deadline=None, max_examples=40, suppress_health_check=[HealthCheck.function_scoped_fixture, HealthCheck.too_slow]
)
@given(rows=st.lists(st.fixed_dictionaries(cell), max_size=60))
def test_random_tables_come_back_and_have_duckdbs_answers(db: vorn.Connection, rows: list[dict[str, Any]]) -> None:
    table = pa.Table.from_pylist(rows, schema)
    db.register("t", table)
    assert db.sql("from t").to_arrow().combine_chunks().equals(table.combine_chunks())
    for query in (
        "select k, count(*) as c, count(i) as ci, min(t) as low, max(d) as high from t group by k order by k",
        "select a.k, count(*) as c from t a join t b on a.k = b.k and a.b group by a.k order by a.k",
        "select i, t from t where t > 'b' or i < 0 order by i, t nulls last limit 7",
    ):
        with duckdb.connect() as other:
            other.register("t", table)
            assert db.sql(query).fetchall() == other.sql(query).fetchall(), query


def test_parameters_and_results(db: vorn.Connection, flights: Path) -> None:
    values = [
        1,
        -2.5,
        "it's",
        None,
        True,
        datetime.date(2001, 2, 3),
        datetime.datetime(2001, 2, 3, 4, 5, 6, 7),
        b"\x00'\xff",
    ]
    marks = ", ".join(f"? as c{i}" for i in range(len(values)))
    assert db.sql(f"select {marks}", values).fetchone() == tuple(values)
    assert db.sql("select $b - $a as x", {"a": 1, "b": 3}).fetchall() == [(2,)]
    assert db.sql("select $1 as x", pa.table({"a": [3, 4]})).fetchall() == [(3,), (4,)]
    late = db.sql(f"select origin, delay from '{flights}' where delay > ? order by delay desc, origin", [1200])
    assert late.columns == ["origin", "delay"]
    assert late.types == [pa.string(), pa.int64()]
    with duckdb.connect() as other:
        expected = other.sql(
            f"select origin, delay from '{flights}' where delay > 1200 order by delay desc, origin"
        ).fetchall()
    assert late.fetchall() == expected
    assert list(late) == expected, "a second run"
    shown = repr(late)
    assert shown.startswith("origin  delay\n------  -----\n")
    assert late._repr_html_().count("<tr>") == min(20, len(expected)) + 1
    assert late.to_arrow().num_rows == late.to_polars().height == len(late.to_pandas()) == len(expected)
    whole = db.sql(f"select delay from '{flights}'")
    assert repr(whole).endswith("the first 20 rows")
    assert sum(len(batch) for batch in whole.to_batches()) == 3_000_000


def test_metadata_is_valid_arrow(db: vorn.Connection) -> None:
    db.register("t", {"a": [1, 1, None], "t": ["x", "y", "z"]})
    with db.cursor() as cursor:
        connection = cursor.connection
    assert connection.adbc_get_info()["vendor_name"] == "vorn"
    objects = connection.adbc_get_objects().read_all()
    objects.validate(full=True)
    table = objects.to_pylist()[0]["catalog_db_schemas"][0]["db_schema_tables"][0]
    assert [(c["column_name"], c["xdbc_type_name"]) for c in table["table_columns"]] == [
        ("a", "BIGINT"),
        ("t", "VARCHAR"),
    ]
    statistics = connection.adbc_get_statistics(approximate=False).read_all()
    statistics.validate(full=True)
    found = statistics.to_pylist()[0]["catalog_db_schemas"][0]["db_schema_statistics"]
    assert [(s["column_name"], s["statistic_key"], s["statistic_value"]) for s in found] == [
        (None, 6, 3), ("a", 1, 1), ("a", 5, 1), ("t", 1, 3), ("t", 5, 0)
    ]  # fmt: skip
    assert connection.adbc_get_table_types() == ["table"]
