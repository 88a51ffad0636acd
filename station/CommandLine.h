// The station's command line.
#pragma once

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
    bool help = false;  // --help or -h: the usage, nothing run
};

class CCommandLine
{
public:
    // ARGUMENTS are those after "run". False with a one-line message for a
    // usage error, a misspelt profile or an output that cannot be written.
    bool Parse(const QStringList& arguments, StationOptions_T& options, QString& error) const;

    static const char* Usage();

private:
    static QString DefaultVunit();
    static bool CheckProfiles(const QStringList& profiles, const QString& vunit, QString& error);
    static bool CheckFile(const QString& option, const QString& path, QString& error);
    static bool CheckOutputs(const StationOptions_T& options, QString& error);
};
