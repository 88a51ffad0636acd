// The tables of the results database, versioned: the same on SQLite and
// PostgreSQL but for the names of two types.
#pragma once

#include <QStringList>

class CResultsSchema
{
public:
    // The version this station writes and reads.
    static int Version();
    // What brings a database of version FROM (0: empty) to Version().
    static QStringList Migration(int from, bool postgresql);
};
