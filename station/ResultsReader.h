// Reads stored results back: a unit's history, or a whole session as the
// result files were written from it.
#pragma once

#include "ResultsRecords.h"
#include "StationResults.h"

class CResultsDb;

class CResultsReader
{
public:
    explicit CResultsReader(CResultsDb& db) : m_Db(db) {}

    // Every run of SERIAL, oldest first.
    bool History(const QByteArray& serial, UnitHistory_T& history, QString& error) const;
    // The session's units in their command line order, each step's report
    // parsed again from its stored text.
    bool LoadSession(const QString& sessionId, StationResults_T& results, QString& error) const;
    bool SessionOfRun(const QString& runId, QString& sessionId, QString& error) const;

    // The one place where stored rows become the result files' fields.
    static void Fill(const SessionRecord_T& session, StationResults_T& results);
    static void Fill(const RunRecord_T& run, UnitResult_T& unit);

private:
    CResultsDb& m_Db;
};
