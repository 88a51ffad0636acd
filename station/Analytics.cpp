#include "Analytics.h"

#include "CapabilityQuery.h"
#include "ResultsDb.h"
#include "SqlValue.h"

#include <QSqlQuery>

#include <cmath>

namespace
{
std::optional<double> Number(const QVariant& value)
{
    if (value.isNull())
        return std::nullopt;
    return value.toDouble();
}

// Whether the last COUNT points all lie beyond LIMIT sigma on one side, at
// least NEEDED of them, the newest among them.
bool Beyond(const std::vector<double>& recent, double centre, double sigma, size_t count, size_t needed, double limit)
{
    if (recent.size() < needed)
        return false;
    const double newest = recent.back() - centre;
    if (std::fabs(newest) <= limit * sigma)
        return false;
    size_t beyond = 0;
    for (size_t i = recent.size() > count ? recent.size() - count : 0; i < recent.size(); ++i)
    {
        const double distance = recent[i] - centre;
        if ((newest > 0 ? distance : -distance) > limit * sigma)
            ++beyond;
    }
    return beyond >= needed;
}

bool OneSide(const std::vector<double>& recent, double centre, size_t count)
{
    if (recent.size() < count)
        return false;
    bool above = true;
    bool below = true;
    for (size_t i = recent.size() - count; i < recent.size(); ++i)
    {
        above = above && recent[i] > centre;
        below = below && recent[i] < centre;
    }
    return above || below;
}

bool Trending(const std::vector<double>& recent, size_t count)
{
    if (recent.size() < count)
        return false;
    bool rising = true;
    bool falling = true;
    for (size_t i = recent.size() - count + 1; i < recent.size(); ++i)
    {
        rising = rising && recent[i] > recent[i - 1];
        falling = falling && recent[i] < recent[i - 1];
    }
    return rising || falling;
}
}

QString CAnalytics::Conditions(const AnalyticsFilter_T& filter, QVariantList& values, const QString& prefix)
{
    QString sql = "1 = 1";
    if (!filter.plan.isEmpty())
    {
        sql += QString(" AND %1plan_name = ?").arg(prefix);
        values << SqlValue::Text(filter.plan);
    }
    // Times are stored as ISO 8601 UTC text of one width, so they compare as text.
    if (filter.since.isValid())
    {
        sql += QString(" AND %1started >= ?").arg(prefix);
        values << SqlValue::Time(filter.since);
    }
    if (filter.until.isValid())
    {
        sql += QString(" AND %1started < ?").arg(prefix);
        values << SqlValue::Time(filter.until);
    }
    if (!filter.withVirtual)
        sql += QString(" AND %1is_virtual = 0").arg(prefix);
    return sql;
}

bool CAnalytics::Prepare(QString& error) const
{
    if (m_Prepared || !m_Db.Postgresql())
        return true;
    QSqlQuery query(m_Db.Connection());
    m_Prepared = m_Db.Exec(query, "SELECT set_config('work_mem', '64MB', false)", {}, error);
    return m_Prepared;
}

bool CAnalytics::Yield(const AnalyticsFilter_T& filter, const QString& by, YieldReport_T& report, QString& error) const
{
    report = YieldReport_T();
    if (!by.isEmpty() && by != "day" && by != "station" && by != "product")
    {
        error = QString("cannot group yields by '%1': by day, station or product").arg(by);
        return false;
    }
    std::vector<YieldRow_T> total;
    if (!Prepare(error) || !YieldRows(filter, QString(), total, error) ||
        (!by.isEmpty() && !YieldRows(filter, by, report.groups, error)))
        return false;
    if (!total.empty())
        report.total = total.front();
    report.total.group.clear();
    return Pareto(filter, report.pareto, error);
}

bool CAnalytics::YieldRows(const AnalyticsFilter_T& filter, const QString& by, std::vector<YieldRow_T>& rows,
                           QString& error) const
{
    const QString real = m_Db.Postgresql() ? "DOUBLE PRECISION" : "REAL";
    // A unit counts where its attempt 1 started, a run where it started.
    const auto part = [&](const QString& table, const QString& counts, QVariantList& values) {
        const QString group = by == "day"       ? "SUBSTR(x.started, 1, 10)"
                              : by == "station" ? "s.host"
                              : by == "product" ? "x.product"
                                                : "''";
        return "SELECT " + group + " AS g, " + counts + " FROM " + table + " x" +
               (by == "station" ? " JOIN sessions s ON s.id = x.session_id" : "") + " WHERE " +
               Conditions(filter, values, "x.");
    };
    QVariantList values;
    const QString units = part("unit_outcomes",
                               "1 AS u, 0 AS r, 0 AS p, CASE WHEN passed_at = 1 THEN 1 ELSE 0 END AS f1, "
                               "CASE WHEN passed_at <= 2 THEN 1 ELSE 0 END AS f2, CASE WHEN passed_at <= 3 THEN 1 "
                               "ELSE 0 END AS f3, CASE WHEN passed_at IS NOT NULL THEN 1 ELSE 0 END AS fl",
                               values);
    const QString runs = part("runs", "0, 1, CASE WHEN result = 'passed' THEN 1 ELSE 0 END, 0, 0, 0, 0", values) +
                         " AND x.serial IS NOT NULL AND x.result <> 'aborted'";
    const QString share = "CAST(SUM(%1) AS " + real + ") / NULLIF(SUM(u), 0)";
    const QString sql = "SELECT g, SUM(u), SUM(r), SUM(p), " + share.arg("f1") + ", " + share.arg("f2") + ", " +
                        share.arg("f3") + ", " + share.arg("fl") + ", CAST(SUM(p) AS " + real +
                        ") / NULLIF(SUM(r), 0) FROM (" + units + " UNION ALL " + runs + ") y GROUP BY g ORDER BY g";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    rows.clear();
    while (query.next())
    {
        YieldRow_T row;
        row.group = query.value(0).toString();
        row.units = query.value(1).toLongLong();
        row.runs = query.value(2).toLongLong();
        row.passedRuns = query.value(3).toLongLong();
        row.fpy = Number(query.value(4));
        row.spy = Number(query.value(5));
        row.tpy = Number(query.value(6));
        row.lpy = Number(query.value(7));
        row.runYield = Number(query.value(8));
        rows.push_back(row);
    }
    return true;
}

bool CAnalytics::Pareto(const AnalyticsFilter_T& filter, std::vector<ParetoRow_T>& rows, QString& error) const
{
    QVariantList values;
    const QString sql = "SELECT plan_name, step, key, COUNT(*) AS failures FROM first_failures WHERE " +
                        CAnalytics::Conditions(filter, values) +
                        " GROUP BY plan_name, step, key ORDER BY failures DESC, plan_name, step, key";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    rows.clear();
    while (query.next())
        rows.push_back({query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                        query.value(3).toLongLong()});
    return true;
}

bool CAnalytics::Capability(const AnalyticsFilter_T& filter, bool passedOnly, std::vector<CapabilityRow_T>& rows,
                            QString& error) const
{
    QVariantList values;
    if (!Prepare(error))
        return false;
    // Materialised, so that each measurement's sums are taken once, not once
    // for every index that names them.
    const QString sql = "WITH m AS MATERIALIZED (" +
                        CCapabilityQuery::Measurements(filter, passedOnly, m_Db.Postgresql(), values) +
                        ") SELECT * FROM (SELECT plan_name, step, expectation, from_index, n, mean, s, sw, lsl, usl, " +
                        CCapabilityQuery::Indexes() +
                        ", failures FROM m) r "
                        // PostgreSQL orders by an output column only by its bare name.
                        "ORDER BY CASE WHEN cpk IS NULL THEN 1 ELSE 0 END, cpk, plan_name, step, expectation, "
                        "from_index";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    rows.clear();
    while (query.next())
    {
        CapabilityRow_T row;
        row.id = ReadId(query);
        row.n = query.value(4).toLongLong();
        row.mean = Number(query.value(5));
        row.s = Number(query.value(6));
        row.sw = Number(query.value(7));
        row.lsl = Number(query.value(8));
        row.usl = Number(query.value(9));
        row.cp = Number(query.value(10));
        row.cpk = Number(query.value(11));
        row.pp = Number(query.value(12));
        row.ppk = Number(query.value(13));
        row.failures = query.value(14).toLongLong();
        rows.push_back(row);
    }
    return true;
}

QString CAnalytics::Points(const AnalyticsFilter_T& filter, const MeasurementId_T* id, QVariantList& values)
{
    const QString order = "plan_name, step, expectation, from_index, started, run_id, step_index, position";
    QString movingRange;
    if (filter.withVirtual)
        movingRange = "ABS(value - LAG(value) OVER (PARTITION BY plan_name, step, expectation, from_index ORDER BY " +
                      order.section(", ", 4) + "))";
    else
    {
        // Real units' points know the one before them; it counts inside the window only.
        movingRange = "CASE WHEN previous_started IS NOT NULL";
        if (filter.since.isValid())
        {
            movingRange += " AND previous_started >= ?";
            values << SqlValue::Time(filter.since);
        }
        movingRange += " THEN ABS(value - previous_value) END";
    }
    QString where = Conditions(filter, values);
    if (id)
    {
        where += " AND step = ? AND expectation = ? AND from_index = ?";
        values << SqlValue::Text(id->step) << SqlValue::Text(id->key) << id->from;
    }
    return "SELECT plan_name, step, expectation, from_index, serial_bytes, run_id, started, value, " + movingRange +
           " AS moving_range FROM measurement_points WHERE " + where + " ORDER BY " + order;
}

bool CAnalytics::OnlyPlan(const AnalyticsFilter_T& filter, MeasurementId_T& id, QString& error) const
{
    QVariantList values;
    const QString sql = "SELECT DISTINCT plan_name FROM measurement_points WHERE " + Conditions(filter, values) +
                        " AND step = ? AND expectation = ? AND from_index = ? ORDER BY plan_name";
    values << SqlValue::Text(id.step) << SqlValue::Text(id.key) << id.from;
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    QStringList plans;
    while (query.next())
        plans << query.value(0).toString();
    // A series is one plan's: two plans' values in one time line would hide each other's drift.
    if (plans.size() > 1)
    {
        error = QString("%1 %2 is measured by %3 plans (%4): name one with --plan")
                    .arg(id.step, id.key)
                    .arg(plans.size())
                    .arg(plans.join(", "));
        return false;
    }
    id.plan = plans.value(0);
    return true;
}

bool CAnalytics::Baseline(const AnalyticsFilter_T& filter, int fromPoint, ControlChart_T& chart, QString& error) const
{
    // The chart starts at FROMPOINT: the moving range into its first point is not its own.
    QVariantList values;
    const QString ranges = Points(filter, &chart.id, values);
    values << chart.baseline - 1 << fromPoint;
    const QString points = Points(filter, &chart.id, values);
    values << chart.baseline << fromPoint - 1;
    const QString sql = "SELECT a.*, (SELECT AVG(moving_range) FROM (" + ranges +
                        " LIMIT ? OFFSET ?) b) FROM (SELECT AVG(value), COUNT(*) FROM (" + points +
                        " LIMIT ? OFFSET ?) p) a";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error) || !query.next())
        return false;
    if (query.value(1).toLongLong() < 2 || query.value(2).isNull())
        return true;
    const double centre = query.value(0).toDouble();
    const double mr = query.value(2).toDouble();
    chart.centre = centre;
    chart.ucl = centre + 2.66 * mr;
    chart.lcl = centre - 2.66 * mr;
    chart.mrCentre = mr;
    chart.mrUcl = 3.267 * mr;
    return true;
}

bool CAnalytics::Control(const AnalyticsFilter_T& filter, const MeasurementId_T& id, int fromPoint, int baseline,
                         ControlChart_T& chart, QString& error) const
{
    chart = ControlChart_T();
    chart.id = id;
    chart.baseline = baseline;
    if (fromPoint < 1 || baseline < 2)
    {
        error = "the first point is 1 or later and a baseline needs 2 points or more";
        return false;
    }
    if (!Prepare(error))
        return false;
    AnalyticsFilter_T measured = filter;
    if (!id.plan.isEmpty())
        measured.plan = id.plan;
    if (measured.plan.isEmpty() && !OnlyPlan(measured, chart.id, error))
        return false;
    measured.plan = chart.id.plan;
    QVariantList values;
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query, Points(measured, &id, values), values, error))
        return false;
    for (long long k = 1; query.next(); ++k)
        if (k >= fromPoint)
        {
            AddPoint(query, k, chart);
            if (k == fromPoint)
                chart.points.back().movingRange.reset();
        }
    query.finish();
    if (!Baseline(measured, fromPoint, chart, error))
        return false;
    ApplyRules(chart);
    return true;
}

bool CAnalytics::Controls(const AnalyticsFilter_T& filter, int baseline, const Chart_T& each, QString& error) const
{
    if (baseline < 2)
    {
        error = "a baseline needs 2 points or more";
        return false;
    }
    if (!Prepare(error))
        return false;
    // The limits first: a streaming query holds its connection to the end.
    std::vector<ControlChart_T> limits;
    if (!Baselines(filter, baseline, limits, error))
        return false;
    // All the charts in one pass over the points, a measurement after another.
    QVariantList values;
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query, Points(filter, nullptr, values), values, error))
        return false;
    ControlChart_T chart;
    size_t next = 0;
    const auto flush = [&]() {
        if (chart.points.empty())
            return true;
        while (next < limits.size() && !Same(limits[next].id, chart.id))
            ++next;
        if (next < limits.size())
        {
            chart.centre = limits[next].centre;
            chart.ucl = limits[next].ucl;
            chart.lcl = limits[next].lcl;
            chart.mrCentre = limits[next].mrCentre;
            chart.mrUcl = limits[next].mrUcl;
        }
        ApplyRules(chart);
        return each(chart, error);
    };
    while (query.next())
    {
        const MeasurementId_T id = ReadId(query);
        if (chart.points.empty() || !Same(id, chart.id))
        {
            if (!flush())
                return false;
            chart = ControlChart_T();
            chart.id = id;
            chart.baseline = baseline;
        }
        AddPoint(query, static_cast<long long>(chart.points.size()) + 1, chart);
    }
    return flush();
}

bool CAnalytics::Baselines(const AnalyticsFilter_T& filter, int baseline, std::vector<ControlChart_T>& charts,
                           QString& error) const
{
    QVariantList values;
    const QString sql = "SELECT plan_name, step, expectation, from_index FROM measurement_points WHERE " +
                        Conditions(filter, values) +
                        " GROUP BY plan_name, step, expectation, from_index ORDER BY plan_name, step, expectation, "
                        "from_index";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    charts.clear();
    while (query.next())
    {
        ControlChart_T chart;
        chart.id = ReadId(query);
        chart.baseline = baseline;
        charts.push_back(chart);
    }
    query.finish();
    for (ControlChart_T& chart : charts)
    {
        AnalyticsFilter_T measured = filter;
        measured.plan = chart.id.plan;
        if (!Baseline(measured, 1, chart, error))
            return false;
    }
    return true;
}

MeasurementId_T CAnalytics::ReadId(const QSqlQuery& query)
{
    return {query.value(0).toString(), query.value(1).toString(), query.value(2).toString(), query.value(3).toInt()};
}

bool CAnalytics::Same(const MeasurementId_T& one, const MeasurementId_T& other)
{
    return one.plan == other.plan && one.step == other.step && one.key == other.key && one.from == other.from;
}

void CAnalytics::AddPoint(const QSqlQuery& query, long long index, ControlChart_T& chart)
{
    ControlPoint_T point;
    point.serial = query.value(4).toByteArray();
    point.runId = query.value(5).toString();
    point.time = SqlValue::ReadTime(query.value(6));
    point.value = query.value(7).toDouble();
    point.movingRange = Number(query.value(8));
    point.index = index;
    chart.points.push_back(point);
}

void CAnalytics::ApplyRules(ControlChart_T& chart)
{
    if (!chart.centre || !chart.mrCentre)
        return;
    const double centre = *chart.centre;
    // The individuals chart's limits are three sigma: 2.66 MR.
    const double sigma = 2.66 * *chart.mrCentre / 3;
    std::vector<double> recent;
    for (ControlPoint_T& point : chart.points)
    {
        recent.push_back(point.value);
        if (recent.size() > 8)
            recent.erase(recent.begin());
        point.rules.clear();
        if (point.value > *chart.ucl || point.value < *chart.lcl)
            point.rules << "beyond-3-sigma";
        if (Beyond(recent, centre, sigma, 3, 2, 2))
            point.rules << "2-of-3-beyond-2-sigma";
        if (Beyond(recent, centre, sigma, 5, 4, 1))
            point.rules << "4-of-5-beyond-1-sigma";
        if (OneSide(recent, centre, 8))
            point.rules << "8-on-one-side";
        if (Trending(recent, 6))
            point.rules << "6-trending";
    }
}
