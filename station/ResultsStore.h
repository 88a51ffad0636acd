// Where the station stores its results as it goes: a session per station
// invocation, a run per unit, each step committed as it finishes. Any thread
// may call it. A PostgreSQL database out of reach, at the start or later,
// sends the results to the local spool instead, to be synchronised later.
#pragma once

#include "DbTarget.h"
#include "DbThread.h"
#include "ResultsRecords.h"
#include "StationResults.h"

#include <cstdio>
#include <map>
#include <memory>

class CResultsDb;

class CResultsStore
{
public:
    // MESSAGES (may be null) hears of spooling and synchronisation.
    explicit CResultsStore(FILE* messages = stderr);
    ~CResultsStore();

    // False with one line naming the database when it cannot be used. A
    // PostgreSQL server out of reach is no failure: the spool takes over.
    bool Open(const CDbTarget& target, QString& error);
    bool Spooling() const { return m_Spooling; }

    // Fill in the record's id (a UUID) and start time when they are empty.
    bool BeginSession(SessionRecord_T& session, QString& error);
    // Stored as aborted until FinishRun; fills in the attempt number.
    bool BeginRun(RunRecord_T& run, QString& error);
    bool AddStep(const QString& runId, int index, const StepResult_T& step, QString& error);
    // RESULT is passed, failed or aborted.
    bool FinishRun(const QString& runId, const QString& result, bool met, QString& error);
    // The same with what the result files say of the unit beside its steps
    // (met, error, unreachable), so that they can be written again from the database.
    bool FinishRun(const QString& runId, const QString& result, const UnitResult_T& unit, QString& error);
    bool FinishSession(double seconds, bool met, QString& error);

    // Reads of the database itself, never of the spool: false when it is out of reach.
    bool LatestRunOfPlan(const QByteArray& serial, const QString& planName, RunRecord_T& run, bool& found,
                         QString& error);
    bool PlanSeen(const QString& planName, bool& seen, QString& error);

    // Moves the spool's runs into TARGET; MOVED counts them.
    static bool Sync(const CDbTarget& target, int& moved, QString& error);

private:
    using Work_T = std::function<bool(CResultsDb&, QString&)>;
    bool Write(const Work_T& work, QString& error);
    bool Read(const Work_T& work, QString& error);
    bool WriteToSpool(const Work_T& work, QString& error);
    bool StartSpool(const QString& reason, QString& error);
    void SyncSpool();
    void Say(const QString& message) const;

    FILE* m_Messages;
    CDbTarget m_Target;
    bool m_Spooling = false;
    SessionRecord_T m_Session;
    std::map<QString, RunRecord_T> m_Runs;  // what the spool needs to take over mid-run
    std::unique_ptr<CResultsDb> m_Db;
    std::unique_ptr<CResultsDb> m_Spool;
    CDbThread m_Thread;  // opens, uses and closes both connections
};
