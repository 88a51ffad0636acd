#include "ResultsReader.h"

#include "ResultsDb.h"
#include "RunRows.h"
#include "StepRows.h"

#include <map>

bool CResultsReader::History(const QByteArray& serial, UnitHistory_T& history, QString& error) const
{
    history = UnitHistory_T();
    history.serial = serial;
    std::vector<RunRecord_T> runs;
    if (!CRunRows::RunsOfSerial(m_Db, serial, runs, error))
        return false;
    std::map<QString, QString> stations;
    for (const RunRecord_T& run : runs)
    {
        HistoryRun_T entry;
        entry.run = run;
        if (stations.count(run.sessionId) == 0)
        {
            SessionRecord_T session;
            bool found = false;
            if (!CRunRows::LoadSession(m_Db, run.sessionId, session, found, error))
                return false;
            stations[run.sessionId] = session.host;
        }
        entry.station = stations[run.sessionId];
        if (!CStepRows::LoadRecords(m_Db, run.id, entry.steps, error))
            return false;
        history.runs.push_back(entry);
    }
    return true;
}

bool CResultsReader::LoadSession(const QString& sessionId, StationResults_T& results, QString& error) const
{
    results = StationResults_T();
    SessionRecord_T session;
    bool found = false;
    if (!CRunRows::LoadSession(m_Db, sessionId, session, found, error))
        return false;
    if (!found)
    {
        error = m_Db.Message(QString("it holds no session %1").arg(sessionId));
        return false;
    }
    std::vector<RunRecord_T> runs;
    if (!CRunRows::RunsOfSession(m_Db, sessionId, runs, error))
        return false;
    Fill(session, results);
    for (const RunRecord_T& run : runs)
    {
        UnitResult_T unit;
        Fill(run, unit);
        std::vector<StepResult_T> rows;
        std::vector<QPair<int, int>> keys;
        if (!CStepRows::Load(m_Db, run.id, rows, error, &keys))
            return false;
        // A retried step's rows share its index: the last try holds the ones before it.
        for (size_t i = 0; i < rows.size(); ++i)
        {
            rows[i].tryNumber = keys[i].second;
            if (i > 0 && keys[i].first == keys[i - 1].first && !unit.steps.empty())
            {
                StepResult_T earlier = std::move(unit.steps.back());
                rows[i].earlier = std::move(earlier.earlier);
                rows[i].earlier.push_back(std::move(earlier));
                unit.steps.back() = std::move(rows[i]);
            }
            else
                unit.steps.push_back(std::move(rows[i]));
        }
        results.units.push_back(unit);
    }
    return true;
}

void CResultsReader::Fill(const SessionRecord_T& session, StationResults_T& results)
{
    results.plan = session.plan;
    results.started = session.started;
    results.host = session.host;
    results.met = session.met;
    results.seconds = session.seconds;
}

void CResultsReader::Fill(const RunRecord_T& run, UnitResult_T& unit)
{
    unit.unit = run.unit;
    unit.met = run.met;
    unit.error = run.unitError;
    unit.unreachable = run.unreachable;
    unit.serial = run.serial;
    // An unreachable unit's run is stored as aborted too, but it never started.
    unit.aborted = run.result == "aborted" && run.unreachable.isEmpty();
}

bool CResultsReader::SessionOfRun(const QString& runId, QString& sessionId, QString& error) const
{
    RunRecord_T run;
    bool found = false;
    if (!CRunRows::LoadRun(m_Db, runId, run, found, error))
        return false;
    if (!found)
    {
        error = m_Db.Message(QString("it holds no run %1").arg(runId));
        return false;
    }
    sessionId = run.sessionId;
    return true;
}
