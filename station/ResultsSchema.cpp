#include "ResultsSchema.h"

namespace
{
// Each entry brings the database from its index to the next version.
// %BLOB% and %REAL% are the engine's names for bytes and doubles.
const char* const c_Versions[] = {
    R"(CREATE TABLE schema_version (version INTEGER NOT NULL);
INSERT INTO schema_version (version) VALUES (0);
CREATE TABLE sessions (
  id TEXT PRIMARY KEY,
  host TEXT NOT NULL,
  station_version TEXT NOT NULL,
  plan TEXT NOT NULL,
  plan_sha256 TEXT NOT NULL,
  started TEXT NOT NULL,
  ended TEXT,
  seconds %REAL%,
  jobs INTEGER NOT NULL,
  met INTEGER
);
CREATE TABLE runs (
  id TEXT PRIMARY KEY,
  session_id TEXT NOT NULL REFERENCES sessions (id),
  slot INTEGER NOT NULL,
  unit TEXT NOT NULL,
  is_virtual INTEGER NOT NULL,
  serial TEXT,
  serial_bytes %BLOB%,
  serial_source TEXT NOT NULL,
  product TEXT NOT NULL,
  application_version TEXT NOT NULL,
  platform_version TEXT NOT NULL,
  product_identification TEXT NOT NULL,
  operator_name TEXT NOT NULL,
  plan_name TEXT NOT NULL,
  plan_sha256 TEXT NOT NULL,
  started TEXT NOT NULL,
  ended TEXT,
  attempt INTEGER,
  result TEXT NOT NULL,
  met INTEGER NOT NULL
);
CREATE INDEX runs_by_serial ON runs (serial, plan_sha256);
CREATE INDEX runs_by_session ON runs (session_id);
CREATE TABLE steps (
  run_id TEXT NOT NULL REFERENCES runs (id),
  step_index INTEGER NOT NULL,
  try_number INTEGER NOT NULL,
  name TEXT NOT NULL,
  command TEXT NOT NULL,
  verdict TEXT NOT NULL,
  met INTEGER NOT NULL,
  exit_status INTEGER NOT NULL,
  seconds %REAL% NOT NULL,
  report %BLOB% NOT NULL,
  stderr %BLOB% NOT NULL,
  PRIMARY KEY (run_id, step_index, try_number)
);
CREATE TABLE measurements (
  run_id TEXT NOT NULL,
  step_index INTEGER NOT NULL,
  try_number INTEGER NOT NULL,
  position INTEGER NOT NULL,
  expectation TEXT NOT NULL,
  from_index INTEGER NOT NULL,
  expected TEXT NOT NULL,
  value_type TEXT,
  value %REAL%,
  value_text TEXT,
  low %REAL%,
  high %REAL%,
  met INTEGER NOT NULL,
  PRIMARY KEY (run_id, step_index, try_number, position),
  FOREIGN KEY (run_id, step_index, try_number) REFERENCES steps (run_id, step_index, try_number)
);
CREATE TABLE sample_blocks (
  run_id TEXT NOT NULL,
  step_index INTEGER NOT NULL,
  try_number INTEGER NOT NULL,
  block_index INTEGER NOT NULL,
  block_format TEXT NOT NULL,
  complete INTEGER NOT NULL,
  well_formed INTEGER NOT NULL,
  lines TEXT NOT NULL,
  sample_count INTEGER NOT NULL,
  samples %BLOB% NOT NULL,
  PRIMARY KEY (run_id, step_index, try_number, block_index),
  FOREIGN KEY (run_id, step_index, try_number) REFERENCES steps (run_id, step_index, try_number)
))",
    // What the result files say of a unit beside its steps.
    R"(ALTER TABLE runs ADD COLUMN unit_error TEXT NOT NULL DEFAULT '';
ALTER TABLE runs ADD COLUMN unreachable TEXT NOT NULL DEFAULT '')",
};
}

int CResultsSchema::Version()
{
    return static_cast<int>(sizeof c_Versions / sizeof c_Versions[0]);
}

QStringList CResultsSchema::Migration(int from, bool postgresql)
{
    QStringList statements;
    for (int version = from; version < Version(); ++version)
    {
        QString text = c_Versions[version];
        text.replace("%BLOB%", postgresql ? "BYTEA" : "BLOB");
        text.replace("%REAL%", postgresql ? "DOUBLE PRECISION" : "REAL");
        for (const QString& statement : text.split(";\n"))
            statements << statement.trimmed();
        statements << QString("UPDATE schema_version SET version = %1").arg(version + 1);
    }
    return statements;
}
