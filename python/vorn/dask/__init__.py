"""SQL on a cluster: ``dask.distributed`` runs the parts of a plan where the data lies.

    import distributed
    import vorn.dask

    client = distributed.Client(...)
    trips = vorn.dask.read("trips/part-*.vorn")
    airports = vorn.dask.read("airports.vorn")
    vorn.dask.sql(
        "select origin, avg(delay) from trips join airports on destination = iata group by origin",
        trips=trips, airports=airports,
    ).compute()

The plan is the one of a single process.  Scans, filters, joins with a small table and partial aggregates run in each
partition.  Two large tables are joined by an exchange: rows go to tasks by the hash of their keys, encoded as they
are.  Scheduling, retries, the transport and the dashboard are those of Dask.
"""

from ._query import Query, sql
from ._tables import Table, from_parquet, read

__all__ = ["Query", "Table", "from_parquet", "read", "sql"]
