#include "RunFacts.h"

#include "ResultsDb.h"

#include <QSqlQuery>

namespace
{
// Publishing runs wait for each other on PostgreSQL, so that two runs of one
// unit or measurement ending together each see the other's rows.
const int c_FactsLock = 0x50c0;

const QString c_LastTry = "NOT EXISTS (SELECT 1 FROM steps later WHERE later.run_id = %1.run_id AND "
                          "later.step_index = %1.step_index AND later.try_number > %1.try_number)";
const QString c_SameSeries = "q.plan_name = p.plan_name AND q.step = p.step AND q.expectation = p.expectation AND "
                             "q.from_index = p.from_index AND q.is_virtual = 0";
const QString c_Key = "(%1.started, %1.run_id, %1.step_index, %1.position)";
const QString c_Previous =
    "UPDATE measurement_points AS p SET (previous_value, previous_started) = (SELECT q.value, q.started "
    "FROM measurement_points q WHERE " +
    c_SameSeries + " AND " + c_Key.arg("q") + " < " + c_Key.arg("p") +
    " ORDER BY q.started DESC, q.run_id DESC, q.step_index DESC, q.position DESC LIMIT 1) "
    "WHERE p.run_id = ? AND p.is_virtual = 0";
}

bool CRunFacts::Publish(CResultsDb& db, const QString& runId, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, "SELECT result, serial IS NOT NULL FROM runs WHERE id = ?", {runId}, error))
        return false;
    if (!query.next() || query.value(0).toString() == "aborted")
        return true;
    const bool failed = query.value(0).toString() == "failed";
    const bool serial = query.value(1).toBool();
    query.finish();
    if (db.Postgresql() && !db.Exec(query, QString("SELECT pg_advisory_xact_lock(%1)").arg(c_FactsLock), {}, error))
        return false;
    return (!serial || Attempts(db, runId, error)) && (!failed || FirstFailure(db, runId, error)) &&
           Points(db, runId, error) && Chain(db, runId, error);
}

bool CRunFacts::Attempts(CResultsDb& db, const QString& runId, QString& error)
{
    // The unit's runs of this plan, renumbered: this one may have started before others that ended first.
    const QString unit = "serial = (SELECT serial FROM runs WHERE id = ?) AND serial_bytes = (SELECT serial_bytes "
                         "FROM runs WHERE id = ?) AND plan_name = (SELECT plan_name FROM runs WHERE id = ?) AND "
                         "result <> 'aborted'";
    const QString same = "q.serial = runs.serial AND q.serial_bytes = runs.serial_bytes AND q.plan_name = "
                         "runs.plan_name AND q.result <> 'aborted'";
    QSqlQuery query(db.Connection());
    const QVariantList ids{runId, runId, runId};
    return db.Exec(query,
                   "UPDATE runs SET plan_attempt = (SELECT COUNT(*) FROM runs q WHERE " + same +
                       " AND (q.started, q.id) <= (runs.started, runs.id)) WHERE " + unit,
                   ids, error) &&
           db.Exec(query,
                   "UPDATE runs SET passed_at = (SELECT MIN(q.plan_attempt) FROM runs q WHERE " + same +
                       " AND q.result = 'passed') WHERE " + unit,
                   ids, error);
}

bool CRunFacts::FirstFailure(CResultsDb& db, const QString& runId, QString& error)
{
    QSqlQuery query(db.Connection());
    query.setForwardOnly(true);
    // The first step whose last try failed, and that try's first unmet expectation.
    if (!db.Exec(query,
                 "SELECT st.step_index, st.name, COALESCE((SELECT CASE WHEN m.from_index > 0 THEN m.expectation || "
                 "' from ' || CAST(m.from_index AS TEXT) ELSE m.expectation END FROM measurements m "
                 "WHERE m.run_id = st.run_id AND m.step_index = st.step_index AND m.try_number = st.try_number "
                 "AND m.met = 0 ORDER BY m.position LIMIT 1), st.verdict) FROM steps st "
                 "WHERE st.run_id = ? AND st.met = 0 AND " +
                     c_LastTry.arg("st") + " ORDER BY st.step_index LIMIT 1",
                 {runId}, error))
        return false;
    if (!query.next())
        return true;
    const QVariantList values{query.value(0).toInt(), query.value(1).toString(), query.value(2).toString(), runId};
    query.finish();
    return db.Exec(query,
                   "UPDATE runs SET failed_step_index = ?, failed_step = ?, failed_key = ? "
                   "WHERE id = ? AND result = 'failed'",
                   values, error);
}

bool CRunFacts::Points(CResultsDb& db, const QString& runId, QString& error)
{
    QSqlQuery query(db.Connection());
    return db.Exec(query,
                   "INSERT INTO measurement_points (run_id, step_index, position, try_number, plan_name, step, "
                   "expectation, from_index, started, serial, serial_bytes, is_virtual, result, value, low, high, met) "
                   "SELECT m.run_id, m.step_index, m.position, m.try_number, r.plan_name, st.name, m.expectation, "
                   "m.from_index, r.started, r.serial, r.serial_bytes, r.is_virtual, r.result, m.value, m.low, "
                   "m.high, m.met FROM runs r "
                   "JOIN measurements m ON m.run_id = r.id "
                   "JOIN steps st ON st.run_id = m.run_id AND st.step_index = m.step_index "
                   "AND st.try_number = m.try_number "
                   "WHERE r.id = ? AND r.serial IS NOT NULL AND m.value_type IN ('integer', 'real') "
                   "AND m.value IS NOT NULL AND " +
                       c_LastTry.arg("m") + " ON CONFLICT DO NOTHING",
                   {runId}, error);
}

bool CRunFacts::Chain(CResultsDb& db, const QString& runId, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, c_Previous, {runId}, error))
        return false;
    // A run that started before runs already stored is the new previous
    // point of the first point after each of its own.
    QString next;
    for (const char* column : {"run_id", "step_index", "position"})
        next += QString(", (SELECT q.%1 FROM measurement_points q WHERE ").arg(column) + c_SameSeries + " AND " +
                c_Key.arg("q") + " > " + c_Key.arg("p") +
                " ORDER BY q.started, q.run_id, q.step_index, q.position LIMIT 1)";
    if (!db.Exec(query, "SELECT p.run_id" + next + " FROM measurement_points p WHERE p.run_id = ? AND p.is_virtual = 0",
                 {runId}, error))
        return false;
    QList<QVariantList> later;
    while (query.next())
        if (!query.value(1).isNull() && query.value(1).toString() != runId)
            later << QVariantList{query.value(1), query.value(2), query.value(3)};
    query.finish();
    for (const QVariantList& key : later)
        if (!db.Exec(
                query,
                QString(c_Previous).replace("p.run_id = ?", "p.run_id = ? AND p.step_index = ? AND p.position = ?"),
                key, error))
            return false;
    return true;
}
