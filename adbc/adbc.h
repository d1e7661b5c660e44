// ADBC 1.1, Arrow Database Connectivity, as a driver sees it: the records, the table of functions, and the numbers and
// names that both sides use.
//
// A driver is a shared library with one entry, AdbcDriverInit.  The entry fills the table.  A program, or the driver
// manager of its language, then calls the functions of the table.  The records have the layout of the public standard.
// This header has the guard of the standard's header, so a source may include both.
//
// The caller owns the records that it passes, and clears them before the first call.  The release function of a record
// frees what the driver has put into the record.  Every status is 0 or one of ADBC_STATUS_*.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vorn/store/arrow_interface.h>

#ifndef ADBC
  #define ADBC

  #ifdef __cplusplus
extern "C" {
  #endif

typedef uint8_t AdbcStatusCode;

  #define ADBC_STATUS_OK               0
  #define ADBC_STATUS_UNKNOWN          1
  #define ADBC_STATUS_NOT_IMPLEMENTED  2
  #define ADBC_STATUS_NOT_FOUND        3
  #define ADBC_STATUS_ALREADY_EXISTS   4
  #define ADBC_STATUS_INVALID_ARGUMENT 5
  #define ADBC_STATUS_INVALID_STATE    6
  #define ADBC_STATUS_INVALID_DATA     7
  #define ADBC_STATUS_INTEGRITY        8
  #define ADBC_STATUS_INTERNAL         9
  #define ADBC_STATUS_IO               10
  #define ADBC_STATUS_CANCELLED        11
  #define ADBC_STATUS_TIMEOUT          12
  #define ADBC_STATUS_UNAUTHENTICATED  13
  #define ADBC_STATUS_UNAUTHORIZED     14

struct AdbcDriver;

  // Why a call failed.  A caller of version 1.1 sets vendor_code to the number below before the call, to say that the
  // record has its last two fields.  Version 1.0 has neither.
  #define ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA INT32_MIN
struct AdbcError {
  char *message;
  int32_t vendor_code;
  char sqlstate[5];
  void (*release)(struct AdbcError *error);
  void *private_data;
  struct AdbcDriver *private_driver;
};
  #define ADBC_ERROR_1_0_0_SIZE (offsetof(struct AdbcError, private_data))
  #define ADBC_ERROR_1_1_0_SIZE (sizeof(struct AdbcError))

// More about an error.  The memory belongs to the error.
struct AdbcErrorDetail {
  const char *key;
  const uint8_t *value;
  size_t value_length;
};

struct AdbcDatabase {
  void *private_data; // null before New and after Release
  struct AdbcDriver *private_driver;
};
struct AdbcConnection {
  void *private_data;
  struct AdbcDriver *private_driver;
};
struct AdbcStatement {
  void *private_data;
  struct AdbcDriver *private_driver;
};

// Parts of a result, as bytes for ConnectionReadPartition of any connection with the same tables.
struct AdbcPartitions {
  size_t num_partitions;
  const uint8_t **partitions;
  const size_t *partition_lengths;
  void *private_data;
  void (*release)(struct AdbcPartitions *partitions);
};

  #define ADBC_VERSION_1_0_0 1000000
  #define ADBC_VERSION_1_1_0 1001000

struct AdbcDriver {
  void *private_data;
  void *private_manager;
  AdbcStatusCode (*release)(struct AdbcDriver *driver, struct AdbcError *error);

  AdbcStatusCode (*DatabaseInit)(struct AdbcDatabase *, struct AdbcError *);
  AdbcStatusCode (*DatabaseNew)(struct AdbcDatabase *, struct AdbcError *);
  AdbcStatusCode (*DatabaseSetOption)(struct AdbcDatabase *, const char *key, const char *value, struct AdbcError *);
  AdbcStatusCode (*DatabaseRelease)(struct AdbcDatabase *, struct AdbcError *);

  AdbcStatusCode (*ConnectionCommit)(struct AdbcConnection *, struct AdbcError *);
  AdbcStatusCode (*ConnectionGetInfo)(struct AdbcConnection *, const uint32_t *codes, size_t count,
                                      struct ArrowArrayStream *out, struct AdbcError *);
  AdbcStatusCode (*ConnectionGetObjects)(struct AdbcConnection *, int depth, const char *catalog, const char *schema,
                                         const char *table, const char **table_types, const char *column,
                                         struct ArrowArrayStream *out, struct AdbcError *);
  AdbcStatusCode (*ConnectionGetTableSchema)(struct AdbcConnection *, const char *catalog, const char *schema,
                                             const char *table, struct ArrowSchema *out, struct AdbcError *);
  AdbcStatusCode (*ConnectionGetTableTypes)(struct AdbcConnection *, struct ArrowArrayStream *out, struct AdbcError *);
  AdbcStatusCode (*ConnectionInit)(struct AdbcConnection *, struct AdbcDatabase *, struct AdbcError *);
  AdbcStatusCode (*ConnectionNew)(struct AdbcConnection *, struct AdbcError *);
  AdbcStatusCode (*ConnectionSetOption)(struct AdbcConnection *, const char *key, const char *value,
                                        struct AdbcError *);
  AdbcStatusCode (*ConnectionReadPartition)(struct AdbcConnection *, const uint8_t *partition, size_t bytes,
                                            struct ArrowArrayStream *out, struct AdbcError *);
  AdbcStatusCode (*ConnectionRelease)(struct AdbcConnection *, struct AdbcError *);
  AdbcStatusCode (*ConnectionRollback)(struct AdbcConnection *, struct AdbcError *);

  AdbcStatusCode (*StatementBind)(struct AdbcStatement *, struct ArrowArray *, struct ArrowSchema *,
                                  struct AdbcError *);
  AdbcStatusCode (*StatementBindStream)(struct AdbcStatement *, struct ArrowArrayStream *, struct AdbcError *);
  AdbcStatusCode (*StatementExecuteQuery)(struct AdbcStatement *, struct ArrowArrayStream *out, int64_t *rows_affected,
                                          struct AdbcError *);
  AdbcStatusCode (*StatementExecutePartitions)(struct AdbcStatement *, struct ArrowSchema *out, struct AdbcPartitions *,
                                               int64_t *rows_affected, struct AdbcError *);
  AdbcStatusCode (*StatementGetParameterSchema)(struct AdbcStatement *, struct ArrowSchema *out, struct AdbcError *);
  AdbcStatusCode (*StatementNew)(struct AdbcConnection *, struct AdbcStatement *, struct AdbcError *);
  AdbcStatusCode (*StatementPrepare)(struct AdbcStatement *, struct AdbcError *);
  AdbcStatusCode (*StatementRelease)(struct AdbcStatement *, struct AdbcError *);
  AdbcStatusCode (*StatementSetOption)(struct AdbcStatement *, const char *key, const char *value, struct AdbcError *);
  AdbcStatusCode (*StatementSetSqlQuery)(struct AdbcStatement *, const char *query, struct AdbcError *);
  AdbcStatusCode (*StatementSetSubstraitPlan)(struct AdbcStatement *, const uint8_t *plan, size_t bytes,
                                              struct AdbcError *);

  // From here on of version 1.1.  A caller of version 1.0 has no room for these fields.
  int (*ErrorGetDetailCount)(const struct AdbcError *);
  struct AdbcErrorDetail (*ErrorGetDetail)(const struct AdbcError *, int index);
  const struct AdbcError *(*ErrorFromArrayStream)(struct ArrowArrayStream *, AdbcStatusCode *status);

  AdbcStatusCode (*DatabaseGetOption)(struct AdbcDatabase *, const char *key, char *value, size_t *length,
                                      struct AdbcError *);
  AdbcStatusCode (*DatabaseGetOptionBytes)(struct AdbcDatabase *, const char *key, uint8_t *value, size_t *length,
                                           struct AdbcError *);
  AdbcStatusCode (*DatabaseGetOptionDouble)(struct AdbcDatabase *, const char *key, double *value, struct AdbcError *);
  AdbcStatusCode (*DatabaseGetOptionInt)(struct AdbcDatabase *, const char *key, int64_t *value, struct AdbcError *);
  AdbcStatusCode (*DatabaseSetOptionBytes)(struct AdbcDatabase *, const char *key, const uint8_t *value, size_t length,
                                           struct AdbcError *);
  AdbcStatusCode (*DatabaseSetOptionDouble)(struct AdbcDatabase *, const char *key, double value, struct AdbcError *);
  AdbcStatusCode (*DatabaseSetOptionInt)(struct AdbcDatabase *, const char *key, int64_t value, struct AdbcError *);

  AdbcStatusCode (*ConnectionCancel)(struct AdbcConnection *, struct AdbcError *);
  AdbcStatusCode (*ConnectionGetOption)(struct AdbcConnection *, const char *key, char *value, size_t *length,
                                        struct AdbcError *);
  AdbcStatusCode (*ConnectionGetOptionBytes)(struct AdbcConnection *, const char *key, uint8_t *value, size_t *length,
                                             struct AdbcError *);
  AdbcStatusCode (*ConnectionGetOptionDouble)(struct AdbcConnection *, const char *key, double *value,
                                              struct AdbcError *);
  AdbcStatusCode (*ConnectionGetOptionInt)(struct AdbcConnection *, const char *key, int64_t *value,
                                           struct AdbcError *);
  AdbcStatusCode (*ConnectionGetStatistics)(struct AdbcConnection *, const char *catalog, const char *schema,
                                            const char *table, char approximate, struct ArrowArrayStream *out,
                                            struct AdbcError *);
  AdbcStatusCode (*ConnectionGetStatisticNames)(struct AdbcConnection *, struct ArrowArrayStream *out,
                                                struct AdbcError *);
  AdbcStatusCode (*ConnectionSetOptionBytes)(struct AdbcConnection *, const char *key, const uint8_t *value,
                                             size_t length, struct AdbcError *);
  AdbcStatusCode (*ConnectionSetOptionDouble)(struct AdbcConnection *, const char *key, double value,
                                              struct AdbcError *);
  AdbcStatusCode (*ConnectionSetOptionInt)(struct AdbcConnection *, const char *key, int64_t value, struct AdbcError *);

  AdbcStatusCode (*StatementCancel)(struct AdbcStatement *, struct AdbcError *);
  AdbcStatusCode (*StatementExecuteSchema)(struct AdbcStatement *, struct ArrowSchema *out, struct AdbcError *);
  AdbcStatusCode (*StatementGetOption)(struct AdbcStatement *, const char *key, char *value, size_t *length,
                                       struct AdbcError *);
  AdbcStatusCode (*StatementGetOptionBytes)(struct AdbcStatement *, const char *key, uint8_t *value, size_t *length,
                                            struct AdbcError *);
  AdbcStatusCode (*StatementGetOptionDouble)(struct AdbcStatement *, const char *key, double *value,
                                             struct AdbcError *);
  AdbcStatusCode (*StatementGetOptionInt)(struct AdbcStatement *, const char *key, int64_t *value, struct AdbcError *);
  AdbcStatusCode (*StatementSetOptionBytes)(struct AdbcStatement *, const char *key, const uint8_t *value,
                                            size_t length, struct AdbcError *);
  AdbcStatusCode (*StatementSetOptionDouble)(struct AdbcStatement *, const char *key, double value, struct AdbcError *);
  AdbcStatusCode (*StatementSetOptionInt)(struct AdbcStatement *, const char *key, int64_t value, struct AdbcError *);
};
  #define ADBC_DRIVER_1_0_0_SIZE (offsetof(struct AdbcDriver, ErrorGetDetailCount))
  #define ADBC_DRIVER_1_1_0_SIZE (sizeof(struct AdbcDriver))

  // Options, and the texts of boolean ones.
  #define ADBC_OPTION_VALUE_ENABLED                "true"
  #define ADBC_OPTION_VALUE_DISABLED               "false"
  #define ADBC_OPTION_URI                          "uri"
  #define ADBC_CONNECTION_OPTION_AUTOCOMMIT        "adbc.connection.autocommit"
  #define ADBC_CONNECTION_OPTION_READ_ONLY         "adbc.connection.readonly"
  #define ADBC_CONNECTION_OPTION_CURRENT_CATALOG   "adbc.connection.catalog"
  #define ADBC_CONNECTION_OPTION_CURRENT_DB_SCHEMA "adbc.connection.db_schema"
  #define ADBC_CONNECTION_OPTION_ISOLATION_LEVEL   "adbc.connection.transaction.isolation_level"
  #define ADBC_OPTION_ISOLATION_LEVEL_DEFAULT      "adbc.connection.transaction.isolation.default"
  #define ADBC_STATEMENT_OPTION_INCREMENTAL        "adbc.statement.exec.incremental"
  #define ADBC_STATEMENT_OPTION_PROGRESS           "adbc.statement.exec.progress"
  #define ADBC_STATEMENT_OPTION_MAX_PROGRESS       "adbc.statement.exec.max_progress"
  #define ADBC_STATEMENT_OPTION_BIND_BY_NAME       "adbc.statement.bind_by_name"
  #define ADBC_INGEST_OPTION_TARGET_TABLE          "adbc.ingest.target_table"
  #define ADBC_INGEST_OPTION_TARGET_CATALOG        "adbc.ingest.target_catalog"
  #define ADBC_INGEST_OPTION_TARGET_DB_SCHEMA      "adbc.ingest.target_db_schema"
  #define ADBC_INGEST_OPTION_TEMPORARY             "adbc.ingest.temporary"
  #define ADBC_INGEST_OPTION_MODE                  "adbc.ingest.mode"
  #define ADBC_INGEST_OPTION_MODE_CREATE           "adbc.ingest.mode.create"
  #define ADBC_INGEST_OPTION_MODE_APPEND           "adbc.ingest.mode.append"
  #define ADBC_INGEST_OPTION_MODE_REPLACE          "adbc.ingest.mode.replace"
  #define ADBC_INGEST_OPTION_MODE_CREATE_APPEND    "adbc.ingest.mode.create_append"

  // Codes of ConnectionGetInfo.
  #define ADBC_INFO_VENDOR_NAME         0
  #define ADBC_INFO_VENDOR_VERSION      1
  #define ADBC_INFO_VENDOR_SQL          3
  #define ADBC_INFO_VENDOR_SUBSTRAIT    4
  #define ADBC_INFO_DRIVER_NAME         100
  #define ADBC_INFO_DRIVER_VERSION      101
  #define ADBC_INFO_DRIVER_ADBC_VERSION 103

  // How deep ConnectionGetObjects goes.
  #define ADBC_OBJECT_DEPTH_ALL        0
  #define ADBC_OBJECT_DEPTH_CATALOGS   1
  #define ADBC_OBJECT_DEPTH_DB_SCHEMAS 2
  #define ADBC_OBJECT_DEPTH_TABLES     3
  #define ADBC_OBJECT_DEPTH_COLUMNS    ADBC_OBJECT_DEPTH_ALL

  // Keys of ConnectionGetStatistics.
  #define ADBC_STATISTIC_DISTINCT_COUNT_KEY 1
  #define ADBC_STATISTIC_NULL_COUNT_KEY     5
  #define ADBC_STATISTIC_ROW_COUNT_KEY      6

  #ifdef __cplusplus
}
  #endif

#endif // ADBC

#ifdef __cplusplus
extern "C" {
#endif

// The entry of the driver under the two names by which driver managers look for it.  Fills the table for a version,
// ADBC_VERSION_1_0_0 or ADBC_VERSION_1_1_0.  Another version is ADBC_STATUS_NOT_IMPLEMENTED.
__attribute__((visibility("default"))) AdbcStatusCode AdbcDriverInit(int version, void *driver,
                                                                     struct AdbcError *error);
__attribute__((visibility("default"))) AdbcStatusCode AdbcDriverVornInit(int version, void *driver,
                                                                         struct AdbcError *error);

#ifdef __cplusplus
}
#endif
