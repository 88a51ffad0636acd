// The station's command line.
#pragma once

#include "DbTarget.h"
#include "UnitTarget.h"

#include <QString>
#include <QStringList>

#include <vector>

struct StationOptions_T
{
    QString plan;
    std::vector<CUnitTarget> units;  // in the order given
    int jobs = 0;
    QString json;  // "-": standard output
    QString junit;
    QString report;
    CDbTarget db;          // --db, else the default
    QString operatorName;  // --operator, else the login name
    bool help = false;     // --help or -h: the usage, nothing run
};

class CCommandLine
{
public:
    // ARGUMENTS are those after "run"; BYTES, when given, the same words as
    // they came, so that a serial keeps bytes that are not text. False with a
    // one-line message for a usage error, a misspelt profile or an output that
    // cannot be written.
    bool Parse(const QStringList& arguments, StationOptions_T& options, QString& error,
               const QList<QByteArray>& bytes = {}) const;
    // The login name of whoever runs the station.
    static QString LoginName();

    static const char* Usage();

private:
    static QString DefaultVunit();
    // PROFILES: each option (--unit, --lot) and its profile.
    static bool CheckProfiles(const std::vector<std::pair<QString, QString>>& profiles, const QString& vunit,
                              QString& error);
    static bool Finish(StationOptions_T& options, bool dbGiven, QString& error);
};
