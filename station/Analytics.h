// Yields, the failure Pareto, capability and control charts, read from the
// results database's analytics views. The database does the counting and the
// sums; rows are streamed, never loaded whole.
#pragma once

#include "AnalyticsRecords.h"

#include <QString>
#include <QVariantList>

#include <functional>
#include <vector>

class CResultsDb;
class QSqlQuery;

class CAnalytics
{
public:
    explicit CAnalytics(CResultsDb& db) : m_Db(db) {}

    // BY: "" (total only), "day", "station" or "product".
    bool Yield(const AnalyticsFilter_T& filter, const QString& by, YieldReport_T& report, QString& error) const;
    // Worst Cpk first, those without one last.
    bool Capability(const AnalyticsFilter_T& filter, bool passedOnly, std::vector<CapabilityRow_T>& rows,
                    QString& error) const;
    // The points of ID in time order from point FROMPOINT (1: the first),
    // limits from the BASELINE points that start there.
    bool Control(const AnalyticsFilter_T& filter, const MeasurementId_T& id, int fromPoint, int baseline,
                 ControlChart_T& chart, QString& error) const;
    // Every measurement's chart from its first point, one at a time,
    // ordered by plan, step, expectation and window.
    using Chart_T = std::function<bool(const ControlChart_T& chart, QString& error)>;
    bool Controls(const AnalyticsFilter_T& filter, int baseline, const Chart_T& each, QString& error) const;

    // Flags CHART's points with the rules whose pattern each completes.
    static void ApplyRules(ControlChart_T& chart);
    // The conditions FILTER puts on a view (or a table named by PREFIX, "r.")
    // with plan_name, started and is_virtual, for after a WHERE; their values go to VALUES.
    static QString Conditions(const AnalyticsFilter_T& filter, QVariantList& values, const QString& prefix = QString());

private:
    // Gives PostgreSQL the memory to sort a million values without spilling to disk.
    bool Prepare(QString& error) const;
    // BY: as Yield's.
    bool YieldRows(const AnalyticsFilter_T& filter, const QString& by, std::vector<YieldRow_T>& rows,
                   QString& error) const;
    // The points of FILTER's measurements (of ID only, when given) in time
    // order, each with its moving range over the points asked for.
    static QString Points(const AnalyticsFilter_T& filter, const MeasurementId_T* id, QVariantList& values);
    // The one plan that measures ID in FILTER's runs, into ID; none is no error.
    bool OnlyPlan(const AnalyticsFilter_T& filter, MeasurementId_T& id, QString& error) const;
    // CHART's centre lines and limits from its baseline points from FROMPOINT on.
    bool Baseline(const AnalyticsFilter_T& filter, int fromPoint, ControlChart_T& chart, QString& error) const;
    // Every measurement of FILTER's runs, in the order of the points, with its limits.
    bool Baselines(const AnalyticsFilter_T& filter, int baseline, std::vector<ControlChart_T>& charts,
                   QString& error) const;
    // Plan, step, key and window from a row's first four columns.
    static MeasurementId_T ReadId(const QSqlQuery& query);
    static bool Same(const MeasurementId_T& one, const MeasurementId_T& other);
    static void AddPoint(const QSqlQuery& query, long long index, ControlChart_T& chart);
    bool Pareto(const AnalyticsFilter_T& filter, std::vector<ParetoRow_T>& rows, QString& error) const;

    CResultsDb& m_Db;
    mutable bool m_Prepared = false;
};
