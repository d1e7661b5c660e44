"""The blocks of docs/python.md run one after the other, and print what the blocks of text say."""

import contextlib
import io
import re
from pathlib import Path

import pytest


def test_python_page(tmp_path: Path, repository: Path, flights: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    (tmp_path / flights.name).symlink_to(flights)
    text = (repository / "docs/python.md").read_text()
    blocks = re.findall(r"^```(python|text)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    assert len(blocks) > 8
    names: dict[str, object] = {}
    printed = ""
    for kind, block in blocks:
        if kind == "text":
            assert printed == block
            continue
        with contextlib.redirect_stdout(io.StringIO()) as out:
            exec(compile(block, "docs/python.md", "exec"), names)
        printed = out.getvalue()
    assert (tmp_path / "flights-by-hour.svg").stat().st_size > 10_000
