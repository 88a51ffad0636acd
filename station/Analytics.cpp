#include "Analytics.h"

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
    QString group;
    if (by == "day")
        group = "SUBSTR(started, 1, 10)";
    else if (by == "station" || by == "product")
        group = by;
    else if (!by.isEmpty())
    {
        error = QString("cannot group yields by '%1': by day, station or product").arg(by);
        return false;
    }
    std::vector<YieldRow_T> total;
    if (!Prepare(error) || !YieldRows(filter, "''", total, error) ||
        (!group.isEmpty() && !YieldRows(filter, group, report.groups, error)))
        return false;
    if (!total.empty())
        report.total = total.front();
    report.total.group.clear();
    return Pareto(filter, report.pareto, error);
}

bool CAnalytics::YieldRows(const AnalyticsFilter_T& filter, const QString& group, std::vector<YieldRow_T>& rows,
                           QString& error) const
{
    QVariantList values;
    const QString where = CAnalytics::Conditions(filter, values);
    const QString real = m_Db.Postgresql() ? "DOUBLE PRECISION" : "REAL";
    // A unit is its attempt 1, which knows the attempt it first passed at.
    const QString units = "SUM(CASE WHEN attempt = 1 THEN 1 ELSE 0 END)";
    const QString share =
        "CAST(SUM(CASE WHEN attempt = 1 AND %1 THEN 1 ELSE 0 END) AS " + real + ") / NULLIF(" + units + ", 0)";
    const QString sql =
        "SELECT " + group + " AS g, " + units + ", COUNT(*), SUM(CASE WHEN result = 'passed' THEN 1 ELSE 0 END), " +
        share.arg("passed_at = 1") + ", " + share.arg("passed_at <= 2") + ", " + share.arg("passed_at <= 3") + ", " +
        share.arg("passed_at IS NOT NULL") + ", CAST(SUM(CASE WHEN result = 'passed' THEN 1 ELSE 0 END) AS " + real +
        ") / NULLIF(COUNT(*), 0) FROM unit_yields WHERE " + where + " GROUP BY g ORDER BY g";
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
    const QString where = CAnalytics::Conditions(filter, values) + (passedOnly ? " AND result = 'passed'" : "");
    // One sort a measurement gives its moving ranges, its overall mean and its latest limits.
    const QString index = "CASE WHEN lsl IS NULL THEN (usl - mean) / (3 * NULLIF(%1, 0)) "
                          "WHEN usl IS NULL OR mean - lsl < usl - mean THEN (mean - lsl) / (3 * NULLIF(%1, 0)) "
                          "ELSE (usl - mean) / (3 * NULLIF(%1, 0)) END";
    const QString spread = "CASE WHEN lsl IS NOT NULL AND usl IS NOT NULL THEN (usl - lsl) / (6 * NULLIF(%1, 0)) END";
    const QString sql =
        "SELECT * FROM (SELECT plan_name, step, expectation, from_index, n, mean, s, sw, lsl, usl, " +
        spread.arg("sw") + " AS cp, " + index.arg("sw") + " AS cpk, " + spread.arg("s") + " AS pp, " + index.arg("s") +
        " AS ppk, failures FROM ("
        "SELECT plan_name, step, expectation, from_index, COUNT(*) AS n, AVG(value) AS mean, "
        "CASE WHEN MIN(value) = MAX(value) AND COUNT(*) > 1 THEN 0.0 "
        "ELSE SQRT(SUM((value - centre) * (value - centre)) / NULLIF(COUNT(*) - 1, 0)) END AS s, "
        "CASE WHEN MIN(value) = MAX(value) AND COUNT(*) > 1 THEN 0.0 ELSE AVG(moving_range) / 1.128 END AS sw, "
        "MAX(lsl) AS lsl, MAX(usl) AS usl, SUM(CASE WHEN met = 0 THEN 1 ELSE 0 END) AS failures FROM ("
        "SELECT plan_name, step, expectation, from_index, value, met, AVG(value) OVER w AS centre, "
        "ABS(value - LAG(value) OVER w) AS moving_range, LAST_VALUE(low) OVER w AS lsl, "
        "LAST_VALUE(high) OVER w AS usl FROM measurement_values WHERE " +
        where +
        " WINDOW w AS (PARTITION BY plan_name, step, expectation, from_index ORDER BY started, run_id, step_index "
        "ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING)) v "
        "GROUP BY plan_name, step, expectation, from_index) c) r "
        // PostgreSQL orders by an output column only by its bare name.
        "ORDER BY CASE WHEN cpk IS NULL THEN 1 ELSE 0 END, cpk, plan_name, step, expectation, from_index";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    rows.clear();
    while (query.next())
    {
        CapabilityRow_T row;
        row.id = {query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                  query.value(3).toInt()};
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
    QVariantList values;
    const QString where = CAnalytics::Conditions(measured, values);
    values << SqlValue::Text(id.step) << SqlValue::Text(id.key) << id.from << fromPoint;
    const int end = fromPoint + baseline;
    values = QVariantList{end, end, end} + values;
    const QString sql = "SELECT serial, run_id, started, value, moving_range, k, "
                        "AVG(CASE WHEN k < ? THEN value END) OVER () AS centre, "
                        "AVG(CASE WHEN k < ? THEN moving_range END) OVER () AS mr_centre, "
                        "COUNT(CASE WHEN k < ? THEN 1 END) OVER () AS baseline_n FROM ("
                        "SELECT p.*, ABS(value - LAG(value) OVER (ORDER BY k)) AS moving_range FROM ("
                        "SELECT serial, run_id, started, value, "
                        "ROW_NUMBER() OVER (ORDER BY started, run_id, step_index) AS k FROM measurement_values WHERE " +
                        where + " AND step = ? AND expectation = ? AND from_index = ?) p WHERE k >= ?) q ORDER BY k";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    while (query.next())
        AddPoint(query, 0, chart);
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
    QVariantList values{baseline + 1, baseline + 1, baseline + 1};
    const QString where = Conditions(filter, values);
    const QString measurement = "PARTITION BY plan_name, step, expectation, from_index";
    // All the charts in one pass over the view, a measurement after another.
    const QString sql =
        "SELECT plan_name, step, expectation, from_index, serial, run_id, started, value, moving_range, k, "
        "AVG(CASE WHEN k < ? THEN value END) OVER c AS centre, "
        "AVG(CASE WHEN k < ? THEN moving_range END) OVER c AS mr_centre, "
        "COUNT(CASE WHEN k < ? THEN 1 END) OVER c AS baseline_n FROM ("
        "SELECT p.*, ABS(value - LAG(value) OVER (" + measurement + " ORDER BY k)) AS moving_range FROM ("
        "SELECT plan_name, step, expectation, from_index, serial, run_id, started, value, "
        "ROW_NUMBER() OVER (" + measurement + " ORDER BY started, run_id, step_index) AS k "
        "FROM measurement_values WHERE " + where + ") p) q "
        "WINDOW c AS (" + measurement + " ORDER BY k ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING) "
        "ORDER BY plan_name, step, expectation, from_index, k";
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    ControlChart_T chart;
    const auto flush = [&]() {
        if (chart.points.empty())
            return true;
        ApplyRules(chart);
        return each(chart, error);
    };
    while (query.next())
    {
        const MeasurementId_T id{query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                                 query.value(3).toInt()};
        if (chart.points.empty() || id.plan != chart.id.plan || id.step != chart.id.step || id.key != chart.id.key ||
            id.from != chart.id.from)
        {
            if (!flush())
                return false;
            chart = ControlChart_T();
            chart.id = id;
            chart.baseline = baseline;
        }
        AddPoint(query, 4, chart);
    }
    return flush();
}

void CAnalytics::AddPoint(const QSqlQuery& query, int first, ControlChart_T& chart)
{
    ControlPoint_T point;
    point.serial = query.value(first).toString().toUtf8();
    point.runId = query.value(first + 1).toString();
    point.time = SqlValue::ReadTime(query.value(first + 2));
    point.value = query.value(first + 3).toDouble();
    point.movingRange = Number(query.value(first + 4));
    point.index = query.value(first + 5).toLongLong();
    if (chart.points.empty() && query.value(first + 8).toLongLong() >= 2 && !query.value(first + 7).isNull())
    {
        const double centre = query.value(first + 6).toDouble();
        const double mr = query.value(first + 7).toDouble();
        chart.centre = centre;
        chart.ucl = centre + 2.66 * mr;
        chart.lcl = centre - 2.66 * mr;
        chart.mrCentre = mr;
        chart.mrUcl = 3.267 * mr;
    }
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
