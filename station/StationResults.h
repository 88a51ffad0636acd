// What a plan run produced: per unit, per step.
#pragma once

#include "Expectation.h"
#include "StepReport.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <vector>

struct StepResult_T
{
    QString name;
    QStringList command;
    QString verdict;  // the report's, or timeout
    StepReport_T report;
    QByteArray text;    // the whole report as the unit printed it
    QByteArray errors;  // what the unit's command printed on standard error
    int exitStatus = -1;
    double seconds = 0;
    std::vector<ExpectationResult_T> expectations;
    bool met = false;
};

struct UnitResult_T
{
    QString unit;
    std::vector<StepResult_T> steps;
    bool met = false;
};

struct StationResults_T
{
    QString plan;
    QDateTime started;  // UTC
    QString host;       // the station's
    std::vector<UnitResult_T> units;
    bool met = false;
    double seconds = 0;

    // Steps run on all units, and how many of them missed an expectation.
    void CountSteps(size_t& steps, size_t& unmet) const
    {
        steps = unmet = 0;
        for (const UnitResult_T& unit : units)
            for (const StepResult_T& step : unit.steps)
            {
                ++steps;
                unmet += step.met ? 0 : 1;
            }
    }
};
