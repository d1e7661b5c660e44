"""What the tests share: a connection in memory, and the flights of the test data."""

from collections.abc import Iterator
from pathlib import Path

import pytest
import vorn


@pytest.fixture(scope="session")
def repository() -> Path:
    return Path(__file__).parents[2]


@pytest.fixture
def db() -> Iterator[vorn.Connection]:
    with vorn.connect(threads=2) as connection:
        yield connection


@pytest.fixture(scope="session")
def flights(repository: Path) -> Path:
    return repository / "data/node_modules/vega-datasets/data/flights-3m.parquet"
