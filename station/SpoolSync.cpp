#include "SpoolSync.h"

#include "ResultsDb.h"
#include "RunFacts.h"
#include "RunRows.h"
#include "StepRows.h"

#include <QSqlQuery>

bool CSpoolSync::Sync(CResultsDb& spool, CResultsDb& target, int& moved, QString& error)
{
    moved = 0;
    QStringList sessions;
    if (!CRunRows::SessionIds(spool, sessions, error))
        return false;
    for (const QString& id : sessions)
        if (!MoveSession(spool, target, id, moved, error))
            return false;
    return true;
}

bool CSpoolSync::MoveSession(CResultsDb& spool, CResultsDb& target, const QString& id, int& moved, QString& error)
{
    // The spool stays locked until its rows are gone, so that a station
    // spooling at the same time waits rather than adding to a run being moved.
    return spool.Transaction(
        [&](QString& error) {
            SessionRecord_T session;
            bool found = false;
            std::vector<RunRecord_T> runs;
            if (!CRunRows::LoadSession(spool, id, session, found, error) ||
                !CRunRows::RunsOfSession(spool, id, runs, error))
                return false;
            if (!found)
                return true;
            QStringList runIds;
            const bool sent = target.Transaction(
                [&](QString& error) {
                    if (!CRunRows::InsertSession(target, session, error) ||
                        (session.ended.isValid() && !CRunRows::FinishSession(target, session, error)))
                        return false;
                    for (RunRecord_T& run : runs)
                    {
                        std::vector<StepResult_T> steps;
                        std::vector<QPair<int, int>> keys;
                        // The spool counted attempts without the database's runs.
                        run.attempt = QVariant();
                        if (!CStepRows::Load(spool, run.id, steps, error, &keys) ||
                            !CRunRows::InsertRun(target, run, error) ||
                            (run.ended.isValid() && !CRunRows::FinishRun(target, run, error)))
                            return false;
                        for (size_t i = 0; i < steps.size(); ++i)
                            if (!CStepRows::Insert(target, run.id, keys[i].first, keys[i].second, steps[i], error))
                                return false;
                        // Its result came with its row, before its steps.
                        if (run.ended.isValid() && !CRunFacts::Publish(target, run.id, error))
                            return false;
                        runIds << run.id;
                    }
                    return true;
                },
                error);
            if (!sent)
                return false;
            moved += runIds.size();
            return Forget(spool, id, runIds, error);
        },
        error);
}

bool CSpoolSync::Forget(CResultsDb& spool, const QString& sessionId, const QStringList& runIds, QString& error)
{
    QSqlQuery query(spool.Connection());
    for (const QString& run : runIds)
        for (const char* table : {"measurement_points", "measurements", "sample_blocks", "steps"})
            if (!spool.Exec(query, QString("DELETE FROM %1 WHERE run_id = ?").arg(table), {run}, error))
                return false;
    return spool.Exec(query, "DELETE FROM runs WHERE session_id = ?", {sessionId}, error) &&
           spool.Exec(query, "DELETE FROM sessions WHERE id = ?", {sessionId}, error);
}
