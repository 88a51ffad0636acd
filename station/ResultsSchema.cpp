#include "ResultsSchema.h"

#include "CapabilityQuery.h"

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
    // The analytics, as views a factory's own tools can read too (docs/analytics.md).
    // The indexes give the attempts in order without a sort, and a step's
    // name and verdict without reading its report: "try_number + 0" keeps
    // SQLite from preferring the primary key, which reads the steps' rows.
    R"(CREATE INDEX runs_by_unit ON runs (serial, serial_bytes, plan_name, started, id);
CREATE INDEX steps_by_try ON steps (run_id, step_index, try_number, met, name, verdict);
CREATE INDEX steps_unmet ON steps (run_id, step_index, try_number) WHERE met = 0;
CREATE VIEW unit_attempts AS
SELECT r.id AS run_id, r.serial, r.plan_name, r.product, s.host AS station, r.is_virtual, r.started, r.result,
  ROW_NUMBER() OVER (PARTITION BY r.serial, r.serial_bytes, r.plan_name ORDER BY r.started, r.id) AS attempt,
  r.serial_bytes
FROM runs r JOIN sessions s ON s.id = r.session_id
WHERE r.serial IS NOT NULL AND r.result <> 'aborted';
CREATE VIEW unit_yields AS
SELECT a.*, MIN(CASE WHEN a.result = 'passed' THEN a.attempt END)
  OVER (PARTITION BY a.serial, a.serial_bytes, a.plan_name) AS passed_at
FROM unit_attempts a;
CREATE VIEW step_last_tries AS
SELECT st.run_id, st.step_index, st.name, st.try_number AS tries, st.verdict, st.met
FROM steps st
WHERE NOT EXISTS (SELECT 1 FROM steps later WHERE later.run_id = st.run_id AND later.step_index = st.step_index
                  AND later.try_number > st.try_number);
CREATE VIEW measurement_values AS
SELECT a.run_id, a.serial, a.plan_name, a.product, a.station, a.is_virtual, a.started, a.result, a.attempt,
  m.step_index, st.name AS step, m.expectation, m.from_index, m.value, m.low, m.high, m.met
FROM unit_attempts a
JOIN measurements m ON m.run_id = a.run_id
JOIN steps st ON st.run_id = m.run_id AND st.step_index = m.step_index AND st.try_number + 0 = m.try_number
WHERE m.value_type IN ('integer', 'real')
  AND NOT EXISTS (SELECT 1 FROM steps later WHERE later.run_id = m.run_id AND later.step_index = m.step_index
                  AND later.try_number > m.try_number);
CREATE VIEW first_failures AS
SELECT run_id, serial, plan_name, product, station, is_virtual, started, step_index, step, key
FROM (SELECT r.id AS run_id, r.serial, r.plan_name, r.product, s.host AS station, r.is_virtual, r.started,
        st.step_index, st.name AS step,
        COALESCE((SELECT CASE WHEN m.from_index > 0 THEN m.expectation || ' from ' || CAST(m.from_index AS TEXT)
                           ELSE m.expectation END
                  FROM measurements m
                  WHERE m.run_id = st.run_id AND m.step_index = st.step_index AND m.try_number = st.try_number
                    AND m.met = 0
                  ORDER BY m.position LIMIT 1), st.verdict) AS key,
        ROW_NUMBER() OVER (PARTITION BY r.id ORDER BY st.step_index) AS failing
      FROM runs r
      JOIN sessions s ON s.id = r.session_id
      JOIN steps st ON st.run_id = r.id AND st.met = 0
      WHERE r.serial IS NOT NULL AND r.result = 'failed'
        AND NOT EXISTS (SELECT 1 FROM steps later WHERE later.run_id = st.run_id
                        AND later.step_index = st.step_index AND later.try_number > st.try_number)) f
WHERE failing = 1;
CREATE VIEW yield_by_day AS
SELECT SUBSTR(started, 1, 10) AS day, plan_name,
  SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END) AS units, COUNT(*) AS runs,
  SUM(CASE WHEN result = 'passed' THEN 1 ELSE 0 END) AS passed_runs,
  CAST(SUM(CASE WHEN attempt = 1 AND passed_at = 1 THEN 1 ELSE 0 END) AS %REAL%)
    / NULLIF(SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END), 0) AS fpy,
  CAST(SUM(CASE WHEN attempt = 1 AND passed_at <= 2 THEN 1 ELSE 0 END) AS %REAL%)
    / NULLIF(SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END), 0) AS spy,
  CAST(SUM(CASE WHEN attempt = 1 AND passed_at <= 3 THEN 1 ELSE 0 END) AS %REAL%)
    / NULLIF(SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END), 0) AS tpy,
  CAST(SUM(CASE WHEN attempt = 1 AND passed_at IS NOT NULL THEN 1 ELSE 0 END) AS %REAL%)
    / NULLIF(SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END), 0) AS lpy,
  CAST(SUM(CASE WHEN result = 'passed' THEN 1 ELSE 0 END) AS %REAL%) / COUNT(*) AS run_yield
FROM unit_yields
WHERE is_virtual = 0
GROUP BY SUBSTR(started, 1, 10), plan_name;
CREATE VIEW failure_pareto AS
SELECT plan_name, step, key, COUNT(*) AS failures
FROM first_failures WHERE is_virtual = 0
GROUP BY plan_name, step, key;
CREATE VIEW measurement_capability AS
SELECT plan_name, step, expectation, from_index, n, mean, s, sw, lsl, usl,
  CASE WHEN lsl IS NOT NULL AND usl IS NOT NULL THEN (usl - lsl) / (6 * NULLIF(sw, 0)) END AS cp,
  CASE WHEN lsl IS NULL THEN (usl - mean) / (3 * NULLIF(sw, 0))
       WHEN usl IS NULL OR mean - lsl < usl - mean THEN (mean - lsl) / (3 * NULLIF(sw, 0))
       ELSE (usl - mean) / (3 * NULLIF(sw, 0)) END AS cpk,
  CASE WHEN lsl IS NOT NULL AND usl IS NOT NULL THEN (usl - lsl) / (6 * NULLIF(s, 0)) END AS pp,
  CASE WHEN lsl IS NULL THEN (usl - mean) / (3 * NULLIF(s, 0))
       WHEN usl IS NULL OR mean - lsl < usl - mean THEN (mean - lsl) / (3 * NULLIF(s, 0))
       ELSE (usl - mean) / (3 * NULLIF(s, 0)) END AS ppk,
  failures
FROM (SELECT plan_name, step, expectation, from_index, COUNT(*) AS n, AVG(value) AS mean,
        CASE WHEN MIN(value) = MAX(value) AND COUNT(*) > 1 THEN 0.0
             ELSE SQRT(SUM((value - centre) * (value - centre)) / NULLIF(COUNT(*) - 1, 0)) END AS s,
        CASE WHEN MIN(value) = MAX(value) AND COUNT(*) > 1 THEN 0.0 ELSE AVG(moving_range) / 1.128 END AS sw,
        MAX(lsl) AS lsl, MAX(usl) AS usl, SUM(CASE WHEN met = 0 THEN 1 ELSE 0 END) AS failures
      FROM (SELECT plan_name, step, expectation, from_index, value, met,
              AVG(value) OVER w AS centre,
              ABS(value - LAG(value) OVER w) AS moving_range,
              LAST_VALUE(low) OVER w AS lsl, LAST_VALUE(high) OVER w AS usl
            FROM measurement_values WHERE is_virtual = 0
            WINDOW w AS (PARTITION BY plan_name, step, expectation, from_index ORDER BY started, run_id, step_index
                         ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING)) v
      GROUP BY plan_name, step, expectation, from_index) c)",
    // The analytics' windows read these in their own order, without touching
    // the step rows (which hold the reports) or sorting the runs.
    R"(CREATE INDEX steps_last_try ON steps (run_id, step_index, try_number, name, verdict, met);
CREATE INDEX runs_attempts ON runs (serial, serial_bytes, plan_name, started, id, result, is_virtual, product, session_id);
CREATE INDEX measurements_values ON measurements (run_id, step_index, try_number, value_type, expectation, from_index, value, low, high, met))",
    // Facts fixed when a run ends, so the analytics read them without
    // reassembling runs from steps: the attempts of the run's unit, a failed
    // run's first failure, and each numeric measurement of a last try as a
    // point of its series with the point before it among real units (the
    // moving range), kept right by CRunFacts whatever order runs end in.
    // The older history gets them here once.
    R"(ALTER TABLE runs ADD COLUMN failed_step_index INTEGER;
ALTER TABLE runs ADD COLUMN failed_step TEXT;
ALTER TABLE runs ADD COLUMN failed_key TEXT;
ALTER TABLE runs ADD COLUMN plan_attempt INTEGER;
ALTER TABLE runs ADD COLUMN passed_at INTEGER;
UPDATE runs SET failed_step_index = f.step_index, failed_step = f.step, failed_key = f.key
FROM first_failures f WHERE f.run_id = runs.id;
UPDATE runs SET plan_attempt = a.attempt FROM unit_attempts a WHERE a.run_id = runs.id;
UPDATE runs SET passed_at = u.passed_at
FROM (SELECT serial, serial_bytes, plan_name, MIN(plan_attempt) AS passed_at FROM runs
      WHERE result = 'passed' AND plan_attempt IS NOT NULL GROUP BY serial, serial_bytes, plan_name) u
WHERE u.serial = runs.serial AND u.serial_bytes = runs.serial_bytes AND u.plan_name = runs.plan_name
  AND runs.plan_attempt IS NOT NULL;
CREATE TABLE measurement_points (
  run_id TEXT NOT NULL,
  step_index INTEGER NOT NULL,
  position INTEGER NOT NULL,
  try_number INTEGER NOT NULL,
  plan_name TEXT NOT NULL,
  step TEXT NOT NULL,
  expectation TEXT NOT NULL,
  from_index INTEGER NOT NULL,
  started TEXT NOT NULL,
  serial TEXT NOT NULL,
  serial_bytes %BLOB%,
  is_virtual INTEGER NOT NULL,
  result TEXT NOT NULL,
  value %REAL% NOT NULL,
  low %REAL%,
  high %REAL%,
  met INTEGER NOT NULL,
  previous_value %REAL%,
  previous_started TEXT,
  PRIMARY KEY (run_id, step_index, position)
);
INSERT INTO measurement_points (run_id, step_index, position, try_number, plan_name, step, expectation, from_index,
  started, serial, serial_bytes, is_virtual, result, value, low, high, met)
SELECT m.run_id, m.step_index, m.position, m.try_number, r.plan_name, st.name, m.expectation, m.from_index,
  r.started, r.serial, r.serial_bytes, r.is_virtual, r.result, m.value, m.low, m.high, m.met
FROM runs r
JOIN measurements m ON m.run_id = r.id
JOIN steps st ON st.run_id = m.run_id AND st.step_index = m.step_index AND st.try_number + 0 = m.try_number
WHERE r.serial IS NOT NULL AND r.result <> 'aborted' AND m.value_type IN ('integer', 'real') AND m.value IS NOT NULL
  AND NOT EXISTS (SELECT 1 FROM steps later WHERE later.run_id = m.run_id AND later.step_index = m.step_index
                  AND later.try_number > m.try_number);
UPDATE measurement_points SET previous_value = c.previous_value, previous_started = c.previous_started
FROM (SELECT run_id, step_index, position,
        LAG(value) OVER w AS previous_value, LAG(started) OVER w AS previous_started
      FROM measurement_points WHERE is_virtual = 0
      WINDOW w AS (PARTITION BY plan_name, step, expectation, from_index
                   ORDER BY started, run_id, step_index, position)) c
WHERE c.run_id = measurement_points.run_id AND c.step_index = measurement_points.step_index
  AND c.position = measurement_points.position AND c.previous_started IS NOT NULL;
CREATE INDEX points_in_order ON measurement_points (plan_name, step, expectation, from_index, started, run_id,
  step_index, position, is_virtual, result, value, previous_value, previous_started, met, low, high, serial_bytes);
CREATE INDEX runs_failures ON runs (plan_name, started, is_virtual, failed_step, failed_key) WHERE result = 'failed';
CREATE INDEX runs_units ON runs (plan_name, started, is_virtual, product, session_id, passed_at) WHERE plan_attempt = 1;
DROP INDEX measurements_values;
DROP VIEW failure_pareto;
DROP VIEW first_failures;
DROP VIEW measurement_capability;
DROP VIEW measurement_values;
DROP VIEW yield_by_day;
CREATE VIEW unit_outcomes AS
SELECT serial, plan_name, started, id AS run_id, product, session_id, is_virtual, passed_at, serial_bytes
FROM runs WHERE plan_attempt = 1;
CREATE VIEW yield_by_day AS
SELECT day, plan_name, SUM(units) AS units, SUM(runs) AS runs, SUM(passed_runs) AS passed_runs,
  CAST(SUM(fpy) AS %REAL%) / NULLIF(SUM(units), 0) AS fpy, CAST(SUM(spy) AS %REAL%) / NULLIF(SUM(units), 0) AS spy,
  CAST(SUM(tpy) AS %REAL%) / NULLIF(SUM(units), 0) AS tpy, CAST(SUM(lpy) AS %REAL%) / NULLIF(SUM(units), 0) AS lpy,
  CAST(SUM(passed_runs) AS %REAL%) / NULLIF(SUM(runs), 0) AS run_yield
FROM (SELECT SUBSTR(started, 1, 10) AS day, plan_name, 1 AS units, 0 AS runs, 0 AS passed_runs,
        CASE WHEN passed_at = 1 THEN 1 ELSE 0 END AS fpy, CASE WHEN passed_at <= 2 THEN 1 ELSE 0 END AS spy,
        CASE WHEN passed_at <= 3 THEN 1 ELSE 0 END AS tpy, CASE WHEN passed_at IS NOT NULL THEN 1 ELSE 0 END AS lpy
      FROM unit_outcomes WHERE is_virtual = 0
      UNION ALL
      SELECT SUBSTR(started, 1, 10), plan_name, 0, 1, CASE WHEN result = 'passed' THEN 1 ELSE 0 END, 0, 0, 0, 0
      FROM runs WHERE serial IS NOT NULL AND result <> 'aborted' AND is_virtual = 0) d
GROUP BY day, plan_name;
CREATE VIEW first_failures AS
SELECT r.id AS run_id, r.serial, r.plan_name, r.product, s.host AS station, r.is_virtual, r.started,
  r.failed_step_index AS step_index, r.failed_step AS step, r.failed_key AS key
FROM runs r JOIN sessions s ON s.id = r.session_id
WHERE r.result = 'failed' AND r.serial IS NOT NULL AND r.failed_step IS NOT NULL;
CREATE VIEW failure_pareto AS
SELECT plan_name, step, key, COUNT(*) AS failures
FROM first_failures WHERE is_virtual = 0
GROUP BY plan_name, step, key;
CREATE VIEW measurement_values AS
SELECT p.run_id, p.serial, p.plan_name, a.product, a.station, p.is_virtual, p.started, p.result, a.attempt,
  p.step_index, p.step, p.expectation, p.from_index, p.value, p.low, p.high, p.met
FROM measurement_points p JOIN unit_attempts a ON a.run_id = p.run_id;
CREATE VIEW measurement_capability AS
WITH c AS MATERIALIZED (%CAPABILITY%)
SELECT plan_name, step, expectation, from_index, n, mean, s, sw, lsl, usl, %INDEXES%, failures FROM c)",
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
        QVariantList none;
        text.replace("%CAPABILITY%", CCapabilityQuery::Measurements(AnalyticsFilter_T(), false, postgresql, none));
        text.replace("%INDEXES%", CCapabilityQuery::Indexes());
        for (const QString& statement : text.split(";\n"))
            statements << statement.trimmed();
        statements << QString("UPDATE schema_version SET version = %1").arg(version + 1);
    }
    return statements;
}
