"""A process whose address space is limited: a query gives the right answer or an error, and the process goes on."""

import subprocess
import sys
from pathlib import Path

import pytest
import vorn

script = """
import resource, sys
import pyarrow, vorn
file, megabytes = sys.argv[1], int(sys.argv[2])
db = vorn.connect(threads=2)
few = f"select count(*) n from '{file}' where id < 10"
assert db.sql(few).fetchall() == [(10,)]
taken = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (taken + megabytes * 1_000_000,) * 2)
answers = 0
for query, expected in (
    (f"select min(name), count(*) n from (select name, count(*) c from '{file}' group by name)", [("text 0", 600_000)]),
    (f"select count(*) n from '{file}' a join '{file}' b on a.id = b.other", [(600_000,)]),
    (f"select id from '{file}' order by name desc, id", None),
):
    try:
        found = db.sql(query).fetchall()
        assert len(found) == 600_000 if expected is None else found == expected, query
        answers += 1
    except MemoryError:  # of Python, for the rows
        pass
    except vorn.Error as error:
        assert "memory" in str(error).lower(), error
assert db.sql(few).fetchall() == [(10,)]
print(answers)
"""


def test_little_memory(tmp_path: Path) -> None:
    pytest.importorskip("pyarrow")
    file = tmp_path / "table.vorn"
    with vorn.connect(threads=2) as db:
        db.register("numbers", {"id": range(600_000), "other": [i * 7919 % 600_000 for i in range(600_000)]})
        db.execute(f"copy (select id, other, 'text ' || id as name from numbers) to '{file}'")
    answers = []
    for megabytes in ("20", "1000"):
        ran = subprocess.run(
            [sys.executable, "-c", script, file, megabytes], capture_output=True, text=True, timeout=120, check=False
        )
        assert ran.returncode == 0, ran.stderr
        answers.append(int(ran.stdout))
    assert answers[0] < answers[1] == 3
