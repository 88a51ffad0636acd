// What the analytics read out of the results database: yields, the failure
// Pareto, capability and control charts. The database computes them; these
// only carry the answers to the commands and the dashboard.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// Which runs a question is about.
struct AnalyticsFilter_T
{
    QString plan;     // plan_name; empty: every plan
    QDateTime since;  // UTC, inclusive; invalid: open
    QDateTime until;  // UTC, exclusive; invalid: open
    bool withVirtual = false;
};

// Shares are fractions from 0 to 1, empty when no unit or run counts.
struct YieldRow_T
{
    QString group;  // the day (YYYY-MM-DD), station or product; empty for the whole window
    long long units = 0;
    long long runs = 0;
    long long passedRuns = 0;
    std::optional<double> fpy;
    std::optional<double> spy;
    std::optional<double> tpy;
    std::optional<double> lpy;
    std::optional<double> runYield;
};

// A failed run's first failing step and that step's first unmet expectation.
struct ParetoRow_T
{
    QString plan;
    QString step;
    QString key;  // an expectation's label, e.g. "peak from 32"
    long long failures = 0;
};

struct YieldReport_T
{
    YieldRow_T total;
    std::vector<YieldRow_T> groups;   // with --by, in the group's order
    std::vector<ParetoRow_T> pareto;  // most first
};

// A numeric measurement: a plan's step, an expectation key and its sample window.
struct MeasurementId_T
{
    QString plan;
    QString step;
    QString key;  // without the window: "peak"
    int from = 0;
};

struct CapabilityRow_T
{
    MeasurementId_T id;
    long long n = 0;
    std::optional<double> mean;
    std::optional<double> s;   // overall, n - 1
    std::optional<double> sw;  // within: mean moving range / 1.128
    std::optional<double> lsl;
    std::optional<double> usl;
    std::optional<double> cp;
    std::optional<double> cpk;
    std::optional<double> pp;
    std::optional<double> ppk;
    long long failures = 0;  // values outside the limits
};

struct ControlPoint_T
{
    long long index = 0;  // in time order over the runs asked for, 1 the first
    QByteArray serial;
    QString runId;
    QDateTime time;  // the run's start, UTC
    double value = 0;
    std::optional<double> movingRange;  // none for the first point
    QStringList rules;                  // the rules whose pattern this point completes
};

// Individuals and moving-range charts.
struct ControlChart_T
{
    MeasurementId_T id;
    int baseline = 20;  // points the centre lines and limits come from
    std::vector<ControlPoint_T> points;
    std::optional<double> centre;  // empty with fewer than two baseline points
    std::optional<double> ucl;
    std::optional<double> lcl;
    std::optional<double> mrCentre;
    std::optional<double> mrUcl;
};
