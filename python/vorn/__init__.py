"""SQL on compressed columns, by the kernels of vorn.

    import vorn

    db = vorn.connect()
    db.sql("select origin, count(*) as n from 'flights-3m.parquet' group by origin").to_pandas()

A connection is a thin layer over the package ``adbc_driver_manager`` and the ADBC driver ``libadbc_driver_vorn.so``.
The package contains the driver.  The errors follow DB-API 2.0, with the message of the engine and an SQLSTATE.
"""

from importlib.metadata import version as _version

from adbc_driver_manager.dbapi import (
    DatabaseError,
    DataError,
    Error,
    IntegrityError,
    InterfaceError,
    InternalError,
    NotSupportedError,
    OperationalError,
    ProgrammingError,
)

from ._connection import ArrowData, Connection, connect
from ._files import driver_path, program_path
from ._result import Result

__version__ = _version("vorn")
__all__ = [
    "ArrowData",
    "Connection",
    "DataError",
    "DatabaseError",
    "Error",
    "IntegrityError",
    "InterfaceError",
    "InternalError",
    "NotSupportedError",
    "OperationalError",
    "ProgrammingError",
    "Result",
    "connect",
    "driver_path",
    "program_path",
]
