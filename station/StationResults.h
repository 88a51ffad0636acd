// What a plan run produced: per unit, per step.
#pragma once

#include "Expectation.h"
#include "StepReport.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <vector>

// The verdict of a step that never started because its unit could not be reached.
const char* const c_NotRunVerdict = "not-run";
// The verdict of a step left out after an unmet one, by the plan's stop-on-fail.
const char* const c_SkippedVerdict = "skipped";

struct StepResult_T
{
    QString name;
    QStringList command;
    QString verdict;  // the report's, timeout, or not-run
    StepReport_T report;
    QByteArray text;    // the whole report as the unit printed it
    QByteArray errors;  // what the unit's command printed on standard error
    int exitStatus = -1;
    double seconds = 0;
    std::vector<ExpectationResult_T> expectations;
    bool met = false;
    int tryNumber = 1;                  // the last try's, from 1
    int triesAllowed = 1;               // by the plan: its retries and one; not stored
    std::vector<StepResult_T> earlier;  // the unmet tries before the last, in order

    // Neither not run nor skipped.
    bool Ran() const { return verdict != c_NotRunVerdict && verdict != c_SkippedVerdict; }
};

struct UnitResult_T
{
    QString unit;
    std::vector<StepResult_T> steps;
    bool met = false;
    // Why its steps did not run (files not sent, a required plan not passed),
    // or what of the plan's files is left on it.
    QString error;
    QString unreachable;  // why the unit could not be reached; its steps are then not run
    QByteArray serial;    // as the operator or the unit gave it; empty when neither did
    // Lost or stopped before the plan's end.
    bool aborted = false;
};

struct StepCounts_T
{
    size_t steps = 0;
    size_t met = 0;
    size_t unmet = 0;   // run and missed an expectation
    size_t notRun = 0;  // on a unit that could not be reached or was refused, or skipped after a stop
};

struct StationResults_T
{
    QString plan;
    QDateTime started;  // UTC
    QString host;       // the station's
    std::vector<UnitResult_T> units;
    bool met = false;
    double seconds = 0;

    StepCounts_T Count() const
    {
        StepCounts_T counts;
        for (const UnitResult_T& unit : units)
            for (const StepResult_T& step : unit.steps)
            {
                ++counts.steps;
                if (!step.Ran())
                    ++counts.notRun;
                else
                    ++(step.met ? counts.met : counts.unmet);
            }
        return counts;
    }
};
