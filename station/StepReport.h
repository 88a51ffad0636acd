// What one run of sonarbench on a unit printed, taken apart.
#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

struct SampleBlock_T
{
    std::vector<int> samples;
    bool commaSeparated = false;
    bool complete = true;    // the end marker came
    bool wellFormed = true;  // every value read as a number
    QStringList lines;       // Parameters, Element / Centre Freq / RxBand, Samples / Buffer Bytes
};

struct StepReport_T
{
    // passed, failed, performed, unrecognised (the help was printed) or none
    QString verdict = "none";
    QString commandLine;  // as the unit echoed it after the hyphen line
    QStringList errors;   // every "ERROR: " line, in order
    QList<QPair<QString, QString>> unitData;
    std::optional<double> reading;
    std::vector<SampleBlock_T> blocks;
};
