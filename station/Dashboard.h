// The static HTML dashboard: index.html with the yields, FPY and LPY per day,
// the failure Pareto and the capability table; a control chart page per
// measurement; units.html and a page per unit with its runs and echo plots.
// Self-contained: nothing is fetched. Written like the HTML report, into a
// folder it owns and replaces whole.
#pragma once

#include "AnalyticsRecords.h"
#include "DashboardRecords.h"

#include <QString>

#include <vector>

class CResultsDb;

class CDashboard
{
public:
    explicit CDashboard(CResultsDb& db) : m_Db(db) {}

    // False with a message when the database or the folder fails.
    bool Write(const QString& dir, const AnalyticsFilter_T& filter, DashboardSummary_T& summary, QString& error) const;

    // PAGES: the window of the unit pages, UNITS how many there are.
    static QString Index(const AnalyticsFilter_T& filter, const YieldReport_T& yield,
                         const std::vector<CapabilityRow_T>& capability, const AnalyticsFilter_T& pages,
                         long long units);
    // ROW: the measurement's row of the capability table, counted from one.
    // A point links to its unit's page when it lies in the window of PAGES.
    static QString ControlPage(const AnalyticsFilter_T& filter, const ControlChart_T& chart, size_t row,
                               const AnalyticsFilter_T& pages);
    // Without --since, unit pages cover this many days up to the newest run:
    // a page for every unit of a long history would take most of the time.
    static int UnitDays() { return 1; }
    static QString ControlPageName(size_t row);
    // ROWS: UnitRow() of every unit.
    static QString UnitsPage(const AnalyticsFilter_T& filter, const QString& rows, long long units);
    static QString UnitRow(const DashboardUnit_T& unit);

    // The points a control chart draws: the latest ones.
    static size_t MaxPoints() { return 500; }

private:
    static QString Window(const AnalyticsFilter_T& filter);
    static QString YieldSection(const YieldReport_T& yield);
    static QString ParetoSection(const std::vector<ParetoRow_T>& pareto);
    static QString CapabilitySection(const std::vector<CapabilityRow_T>& capability);
    static QString FlagTable(const ControlChart_T& chart, size_t first, const AnalyticsFilter_T& pages);

    CResultsDb& m_Db;
};
