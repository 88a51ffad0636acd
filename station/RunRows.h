// Sessions and runs as rows of the results database, both ways. Rows are
// added if absent, so that a spooled run sent twice is stored once.
#pragma once

#include "ResultsRecords.h"

#include <QStringList>

class CResultsDb;

class CRunRows
{
public:
    static bool InsertSession(CResultsDb& db, const SessionRecord_T& session, QString& error);
    static bool FinishSession(CResultsDb& db, const SessionRecord_T& session, QString& error);
    // False with a message when it fails; FOUND says whether the row exists.
    static bool LoadSession(CResultsDb& db, const QString& id, SessionRecord_T& session, bool& found, QString& error);

    // Inside a transaction: counts this serial's earlier attempts on the plan
    // (runs not aborted) when RUN has no attempt yet.
    static bool InsertRun(CResultsDb& db, RunRecord_T& run, QString& error);
    static bool FinishRun(CResultsDb& db, const RunRecord_T& run, QString& error);
    static bool LoadRun(CResultsDb& db, const QString& id, RunRecord_T& run, bool& found, QString& error);
    static bool RunsOfSession(CResultsDb& db, const QString& sessionId, std::vector<RunRecord_T>& runs, QString& error);
    static bool RunsOfSerial(CResultsDb& db, const QByteArray& serial, std::vector<RunRecord_T>& runs, QString& error);
    // This serial's latest run of the plan named PLAN_NAME; FOUND says whether there is one.
    static bool LatestRunOfPlan(CResultsDb& db, const QByteArray& serial, const QString& planName, RunRecord_T& run,
                                bool& found, QString& error);
    // Whether any run of the plan named PLAN_NAME is stored.
    static bool PlanSeen(CResultsDb& db, const QString& planName, bool& seen, QString& error);
    static bool SessionIds(CResultsDb& db, QStringList& ids, QString& error);

private:
    static bool SelectRuns(CResultsDb& db, const QString& where, const QVariantList& values,
                           std::vector<RunRecord_T>& runs, QString& error);
};
