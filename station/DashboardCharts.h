// The dashboard's charts as inline SVG: first-pass and last-pass yield per
// day, and a measurement's individuals and moving-range charts with the
// points a rule flagged numbered on them.
#pragma once

#include "AnalyticsRecords.h"

#include <QString>

#include <vector>

class CDashboardCharts
{
public:
    // DAYS: one row a day, oldest first.
    static QString Yield(const std::vector<YieldRow_T>& days);
    // Draws CHART's points from FIRST on; flagged ones carry their number in
    // FLAGS order, counted from one.
    static QString Control(const ControlChart_T& chart, size_t first);

private:
    struct Frame_T;
    static QString Axes(const Frame_T& frame, const QString& yLabel);
    static QString Level(const Frame_T& frame, double value, const QString& name, const char* colour);
    static QString Lines(const Frame_T& frame, const std::vector<std::optional<double>>& values, const char* colour,
                         const QString& name);
    static QString Individuals(const ControlChart_T& chart, size_t first, double top);
    static QString MovingRanges(const ControlChart_T& chart, size_t first, double top);
};
