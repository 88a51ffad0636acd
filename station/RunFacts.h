// What the analytics read of a run once it has ended, written beside its
// rows in the same transaction: its first failure and its measurement points.
#pragma once

#include <QString>

class CResultsDb;

class CRunFacts
{
public:
    // For the run RUNID, whose result and steps are stored. Again for the
    // same run changes nothing.
    static bool Publish(CResultsDb& db, const QString& runId, QString& error);

private:
    static bool Attempts(CResultsDb& db, const QString& runId, QString& error);
    static bool FirstFailure(CResultsDb& db, const QString& runId, QString& error);
    static bool Points(CResultsDb& db, const QString& runId, QString& error);
    static bool Chain(CResultsDb& db, const QString& runId, QString& error);
};
