"""Measures queries over a folder of tables by the DuckDB of this Python, in the form that vorn_tpch records.

    bench/page/python/bin/python bench/tpch/duckdb_times.py data/tpch-1 5 times.json bench/tpch/*.sql

The tables are in memory, as they are and compressed.  A query is prepared, runs once, and then as often as is said, on one
thread and on all threads.  A time ends with the first row: the queries group or sort all rows before there is a first one.
"""

import json
import os
import pathlib
import statistics
import sys
import time

import duckdb

folder, repetitions, record, *queries = sys.argv[1:]
forms = ("plain", "compressed")
db = duckdb.connect()
db.execute("ATTACH ':memory:' AS plain")
db.execute("ATTACH ':memory:' AS compressed (COMPRESS)")
for file in sorted(pathlib.Path(folder).glob("*.parquet")):
    for form in forms:
        db.execute(f"CREATE TABLE {form}.{file.stem} AS FROM '{file}'")
db.execute("CHECKPOINT compressed")


def milliseconds():
    begun = time.perf_counter()
    db.execute("EXECUTE asked").fetchone()
    return 1000 * (time.perf_counter() - begun)


times = []
for threads in sorted({1, os.cpu_count()}):
    db.execute(f"SET threads = {threads}")
    for query in map(pathlib.Path, queries):
        for form in forms:
            db.execute(f"USE {form}")
            db.execute("PREPARE asked AS " + query.read_text())
            rows = len(db.execute("EXECUTE asked").fetchall())
            taken = [milliseconds() for _ in range(int(repetitions))]
            db.execute("DEALLOCATE asked")
            times.append({
                "query": query.stem, "threads": threads, "engine": f"DuckDB {form}", "rows": rows,
                "least_ms": min(taken), "median_ms": statistics.median(taken),
            })
pathlib.Path(record).write_text(
    json.dumps({"duckdb": f"v{duckdb.__version__}", "tables": pathlib.Path(folder).name, "times": times}, indent=1))
