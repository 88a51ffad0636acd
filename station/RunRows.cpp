#include "RunRows.h"

#include "ResultsDb.h"
#include "RunFacts.h"
#include "SqlValue.h"

#include <QSqlQuery>

using namespace SqlValue;

namespace
{
const QString c_SessionColumns = "id, host, station_version, plan, plan_sha256, started, ended, seconds, jobs, met";
const QString c_RunColumns = "id, session_id, slot, unit, is_virtual, serial, serial_bytes, serial_source, product, "
                             "application_version, platform_version, product_identification, operator_name, "
                             "plan_name, plan_sha256, started, ended, attempt, result, met, unit_error, unreachable";
// Run inserts wait for each other, so that two counting one serial's attempts
// do not both miss the other.
const int c_RunLock = 0x50bf;

QVariant SerialText(const QByteArray& serial)
{
    return serial.isEmpty() ? NullText() : Text(QString::fromUtf8(serial));
}

RunRecord_T ReadRun(const QSqlQuery& query)
{
    RunRecord_T run;
    run.id = query.value(0).toString();
    run.sessionId = query.value(1).toString();
    run.slot = query.value(2).toInt();
    run.unit = query.value(3).toString();
    run.isVirtual = query.value(4).toInt() != 0;
    run.serial = query.value(6).toByteArray();
    run.serialSource = query.value(7).toString();
    run.product = query.value(8).toString();
    run.applicationVersion = query.value(9).toString();
    run.platformVersion = query.value(10).toString();
    run.productIdentification = query.value(11).toString();
    run.operatorName = query.value(12).toString();
    run.planName = query.value(13).toString();
    run.planSha256 = query.value(14).toString();
    run.started = ReadTime(query.value(15));
    run.ended = ReadTime(query.value(16));
    run.attempt = query.value(17).isNull() ? QVariant() : QVariant(query.value(17).toInt());
    run.result = query.value(18).toString();
    run.met = query.value(19).toInt() != 0;
    run.unitError = query.value(20).toString();
    run.unreachable = query.value(21).toString();
    return run;
}
}

bool CRunRows::InsertSession(CResultsDb& db, const SessionRecord_T& session, QString& error)
{
    QSqlQuery query(db.Connection());
    return db.Exec(
        query,
        "INSERT INTO sessions (" + c_SessionColumns + ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING",
        {session.id, Text(session.host), Text(session.stationVersion), Text(session.plan), Text(session.planSha256),
         Time(session.started), Time(session.ended), session.ended.isValid() ? QVariant(session.seconds) : NullNumber(),
         session.jobs, session.ended.isValid() ? Flag(session.met) : QVariant(QVariant::Int)},
        error);
}

bool CRunRows::FinishSession(CResultsDb& db, const SessionRecord_T& session, QString& error)
{
    QSqlQuery query(db.Connection());
    return db.Exec(query, "UPDATE sessions SET ended = ?, seconds = ?, met = ? WHERE id = ? AND ended IS NULL",
                   {Time(session.ended), session.seconds, Flag(session.met), session.id}, error);
}

bool CRunRows::LoadSession(CResultsDb& db, const QString& id, SessionRecord_T& session, bool& found, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, "SELECT " + c_SessionColumns + " FROM sessions WHERE id = ?", {id}, error))
        return false;
    found = query.next();
    if (!found)
        return true;
    session.id = query.value(0).toString();
    session.host = query.value(1).toString();
    session.stationVersion = query.value(2).toString();
    session.plan = query.value(3).toString();
    session.planSha256 = query.value(4).toString();
    session.started = ReadTime(query.value(5));
    session.ended = ReadTime(query.value(6));
    session.seconds = query.value(7).toDouble();
    session.jobs = query.value(8).toInt();
    session.met = query.value(9).toInt() != 0;
    return true;
}

bool CRunRows::InsertRun(CResultsDb& db, RunRecord_T& run, QString& error)
{
    QSqlQuery query(db.Connection());
    if (db.Postgresql() && !db.Exec(query, QString("SELECT pg_advisory_xact_lock(%1)").arg(c_RunLock), {}, error))
        return false;
    if (!run.attempt.isValid() && !run.serial.isEmpty())
    {
        if (!db.Exec(query,
                     "SELECT COUNT(*) FROM runs WHERE serial = ? AND serial_bytes = ? AND plan_sha256 = ? AND "
                     "result <> 'aborted' AND started < ? AND id <> ?",
                     {SerialText(run.serial), run.serial, Text(run.planSha256), Time(run.started), run.id}, error) ||
            !query.next())
            return false;
        run.attempt = query.value(0).toInt() + 1;
    }
    return db.Exec(
        query,
        "INSERT INTO runs (" + c_RunColumns +
            ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING",
        {run.id,
         run.sessionId,
         run.slot,
         Text(run.unit),
         Flag(run.isVirtual),
         SerialText(run.serial),
         run.serial.isEmpty() ? QVariant(QVariant::ByteArray) : QVariant(run.serial),
         Text(run.serialSource),
         Text(run.product),
         Text(run.applicationVersion),
         Text(run.platformVersion),
         Text(run.productIdentification),
         Text(run.operatorName),
         Text(run.planName),
         Text(run.planSha256),
         Time(run.started),
         Time(run.ended),
         run.attempt.isValid() ? run.attempt : QVariant(QVariant::Int),
         Text(run.result),
         Flag(run.met),
         Text(run.unitError),
         Text(run.unreachable)},
        error);
}

bool CRunRows::FinishRun(CResultsDb& db, const RunRecord_T& run, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "UPDATE runs SET result = ?, met = ?, ended = ?, unit_error = ?, unreachable = ? "
                 "WHERE id = ? AND ended IS NULL",
                 {Text(run.result), Flag(run.met), Time(run.ended), Text(run.unitError), Text(run.unreachable), run.id},
                 error))
        return false;
    return query.numRowsAffected() == 0 || CRunFacts::Publish(db, run.id, error);
}

bool CRunRows::SelectRuns(CResultsDb& db, const QString& where, const QVariantList& values,
                          std::vector<RunRecord_T>& runs, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, "SELECT " + c_RunColumns + " FROM runs " + where, values, error))
        return false;
    runs.clear();
    while (query.next())
        runs.push_back(ReadRun(query));
    return true;
}

bool CRunRows::LoadRun(CResultsDb& db, const QString& id, RunRecord_T& run, bool& found, QString& error)
{
    std::vector<RunRecord_T> runs;
    if (!SelectRuns(db, "WHERE id = ?", {id}, runs, error))
        return false;
    found = !runs.empty();
    if (found)
        run = runs.front();
    return true;
}

bool CRunRows::RunsOfSession(CResultsDb& db, const QString& sessionId, std::vector<RunRecord_T>& runs, QString& error)
{
    return SelectRuns(db, "WHERE session_id = ? ORDER BY slot, started, id", {sessionId}, runs, error);
}

bool CRunRows::RunsOfSerial(CResultsDb& db, const QByteArray& serial, std::vector<RunRecord_T>& runs, QString& error)
{
    return SelectRuns(db, "WHERE serial = ? AND serial_bytes = ? ORDER BY started, id", {SerialText(serial), serial},
                      runs, error);
}

bool CRunRows::LatestRunOfPlan(CResultsDb& db, const QByteArray& serial, const QString& planName, RunRecord_T& run,
                               bool& found, QString& error)
{
    std::vector<RunRecord_T> runs;
    if (!SelectRuns(db,
                    "WHERE serial = ? AND serial_bytes = ? AND plan_name = ? ORDER BY started DESC, id DESC LIMIT 1",
                    {SerialText(serial), serial, planName}, runs, error))
        return false;
    found = !runs.empty();
    if (found)
        run = runs.front();
    return true;
}

bool CRunRows::PlanSeen(CResultsDb& db, const QString& planName, bool& seen, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, "SELECT COUNT(*) FROM runs WHERE plan_name = ?", {planName}, error) || !query.next())
        return false;
    seen = query.value(0).toLongLong() > 0;
    return true;
}

bool CRunRows::SessionIds(CResultsDb& db, QStringList& ids, QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, "SELECT id FROM sessions ORDER BY started, id", {}, error))
        return false;
    ids.clear();
    while (query.next())
        ids << query.value(0).toString();
    return true;
}
