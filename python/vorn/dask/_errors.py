"""Errors of tasks as the errors that one process would raise."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import distributed
from adbc_driver_manager import AdbcStatusCode, dbapi

from ._worker import TaskError


def gathered(client: distributed.Client, futures: Sequence[distributed.Future[Any]]) -> list[Any]:
    """What tasks have made.  Raises the ``vorn.Error`` of a task."""
    try:
        return list(client.gather(list(futures)))
    except TaskError as error:
        raise _error_of(error) from None


def _error_of(error: TaskError) -> dbapi.Error:
    if error.kind == "NotSupportedError":
        return dbapi.NotSupportedError(error.message, sqlstate=error.sqlstate)
    kind = getattr(dbapi, error.kind, dbapi.OperationalError)
    made: dbapi.Error = kind(error.message, status_code=AdbcStatusCode(error.status), sqlstate=error.sqlstate)
    return made
