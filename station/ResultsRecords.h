// What the results database keeps about a station invocation and about each
// unit's run, beside the steps themselves (StationResults.h).
#pragma once

#include "Expectation.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <vector>

struct SessionRecord_T
{
    QString id;  // a UUID; BeginSession makes one when empty
    QString host;
    QString stationVersion;
    QString plan;  // the plan as the result files name it
    QString planSha256;
    QDateTime started;  // UTC; BeginSession takes the time when invalid
    QDateTime ended;
    double seconds = 0;
    int jobs = 1;
    bool met = false;
};

struct RunRecord_T
{
    QString id;  // a UUID; BeginRun makes one when empty
    QString sessionId;
    int slot = 0;  // the unit's position on the command line
    QString unit;  // a profile or ssh:HOST
    bool isVirtual = false;
    QByteArray serial;     // as the unit or the operator gave it; empty when missing
    QString serialSource;  // unit, operator or missing
    QString product;
    QString applicationVersion;
    QString platformVersion;
    QString productIdentification;
    QString operatorName;
    QString planName;
    QString planSha256;
    QDateTime started;
    QDateTime ended;
    QVariant attempt;            // this serial's attempt on this plan; invalid without a serial
    QString result = "aborted";  // passed, failed or aborted
    bool met = false;
    QString unitError;    // UnitResult_T::error
    QString unreachable;  // UnitResult_T::unreachable
};

// A unit's history, as the database holds it.
struct MeasurementRecord_T
{
    QString key;
    int from = 0;
    QString expected;
    QVariant value;  // a number, a verdict, or invalid when nothing was measured
    QVariant low;    // invalid when open
    QVariant high;
    bool met = false;
    // As the run judged it, for the pages and reports that show a run's steps.
    ExpectationResult_T Result() const
    {
        ExpectationResult_T result;
        result.key = key;
        result.from = from;
        result.expected = expected;
        result.measured = value;
        result.met = met;
        return result;
    }
};

struct StepRecord_T
{
    int index = 0;
    int tryNumber = 1;
    int tries = 1;  // how many rows the step's index has
    QString name;
    QString verdict;
    bool met = false;
    std::vector<MeasurementRecord_T> measurements;
};

struct HistoryRun_T
{
    RunRecord_T run;
    QString station;  // the station's host name
    std::vector<StepRecord_T> steps;
};

struct UnitHistory_T
{
    QByteArray serial;
    std::vector<HistoryRun_T> runs;  // oldest first
};
