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
    QString json;
    QString junit;
    QString report;
};

class CCommandLine
{
public:
    // ARGUMENTS are those after "run". False with a message for a usage error.
    bool Parse(const QStringList& arguments, StationOptions_T& options, QString& error) const;

    static const char* Usage();

private:
    static QString DefaultVunit();
};
