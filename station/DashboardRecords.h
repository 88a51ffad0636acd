// What a unit's dashboard page shows: its runs in the window asked for, each
// step's every try with its measurements and sample blocks.
#pragma once

#include "ResultsRecords.h"
#include "StepReport.h"

#include <QByteArray>
#include <QString>

#include <vector>

struct DashboardStep_T
{
    StepRecord_T step;
    int tryNumber = 1;
    std::vector<SampleBlock_T> blocks;
};

struct DashboardRun_T
{
    RunRecord_T run;  // attempt: counted over the whole history, invalid for an aborted run
    QString station;
    std::vector<DashboardStep_T> steps;  // by step, then try
};

struct DashboardUnit_T
{
    QByteArray serial;
    std::vector<DashboardRun_T> runs;  // oldest first
};

// What a dashboard holds once written.
struct DashboardSummary_T
{
    long long units = 0;  // unit pages
    size_t charts = 0;    // control chart pages, one a measurement
};
