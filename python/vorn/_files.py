"""The files that the package carries: the driver, the kernels of all levels, DuckDB's library and vornq."""

from pathlib import Path

_folder = Path(__file__).parent


def driver_path() -> Path:
    """The ADBC driver, for driver managers of this and other languages."""
    return next(_folder.glob("lib*/**/libadbc_driver_vorn.so"))


def program_path() -> Path:
    """The program vornq."""
    return _folder / "bin/vornq"
