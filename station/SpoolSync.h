// Moves what was spooled while PostgreSQL could not be reached into the
// database, exactly once: rows are added there if absent, and leave the
// spool only after the database committed them.
#pragma once

#include <QString>

class CResultsDb;

class CSpoolSync
{
public:
    // MOVED counts the runs now in TARGET.
    static bool Sync(CResultsDb& spool, CResultsDb& target, int& moved, QString& error);

private:
    static bool MoveSession(CResultsDb& spool, CResultsDb& target, const QString& id, int& moved, QString& error);
    static bool Forget(CResultsDb& spool, const QString& sessionId, const QStringList& runIds, QString& error);
};
