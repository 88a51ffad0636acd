#include "CapabilityQuery.h"

#include "Analytics.h"
#include "SqlValue.h"

namespace
{
const QString c_Series = "q.plan_name = c.plan_name AND q.step = c.step AND q.expectation = c.expectation "
                         "AND q.from_index = c.from_index";
const QString c_Newest = " ORDER BY q.started DESC, q.run_id DESC, q.step_index DESC, q.position DESC LIMIT 1";
}

QString CCapabilityQuery::Points(const AnalyticsFilter_T& filter, bool passedOnly, const QString& prefix,
                                 QVariantList& values)
{
    return CAnalytics::Conditions(filter, values, prefix) +
           (passedOnly ? QString(" AND %1result = 'passed'").arg(prefix) : "");
}

QString CCapabilityQuery::Measurements(const AnalyticsFilter_T& filter, bool passedOnly, bool postgresql,
                                       QVariantList& values)
{
    // Real units of every result: each point knows the one before it, so the
    // moving ranges are a plain sum. Any other choice of runs orders them anew.
    const bool chained = !filter.withVirtual && !passedOnly;
    QString movingRange;
    QString from;
    QVariantList rangeValues;
    QVariantList fromValues;
    const QString where = Points(filter, passedOnly, "", fromValues);
    if (chained)
    {
        movingRange = "CASE WHEN previous_started IS NOT NULL";
        if (filter.since.isValid())
        {
            movingRange += " AND previous_started >= ?";
            rangeValues << SqlValue::Time(filter.since);
        }
        movingRange += " THEN ABS(value - previous_value) END";
        from = "measurement_points WHERE " + where;
    }
    else
    {
        movingRange = "moving_range";
        from = "(SELECT plan_name, step, expectation, from_index, value, met, ABS(value - LAG(value) OVER ("
               "PARTITION BY plan_name, step, expectation, from_index ORDER BY started, run_id, step_index, position"
               ")) AS moving_range FROM measurement_points WHERE " +
               where + ") v";
    }
    // A sum of squares alone loses digits to a large mean: PostgreSQL's own
    // deviation does not; on SQLite the deviations from the mean are a second
    // pass over each measurement's own index range.
    const QString flat = "c.least = c.most AND c.n > 1";
    QString sql =
        "SELECT c.plan_name, c.step, c.expectation, c.from_index, c.n, c.mean, CASE WHEN " + flat + " THEN 0.0 ELSE ";
    if (postgresql)
        sql += "c.deviation";
    else
        sql += "SQRT((SELECT SUM((q.value - c.mean) * (q.value - c.mean)) FROM measurement_points q WHERE " + c_Series +
               " AND " + Points(filter, passedOnly, "q.", values) + ") / NULLIF(c.n - 1, 0))";
    sql += " END AS s, CASE WHEN " + flat + " THEN 0.0 ELSE c.mr / 1.128 END AS sw";
    for (const char* limit : {"low", "high"})
        sql += QString(", (SELECT q.%1 FROM measurement_points q WHERE ").arg(limit) + c_Series + " AND " +
               Points(filter, passedOnly, "q.", values) + c_Newest +
               (limit == QString("low") ? ") AS lsl" : ") AS usl");
    values << rangeValues << fromValues;
    return sql +
           ", c.failures FROM (SELECT plan_name, step, expectation, from_index, COUNT(*) AS n, "
           "AVG(value) AS mean, MIN(value) AS least, MAX(value) AS most, " +
           (postgresql ? "STDDEV_SAMP(value) AS deviation, " : "") + "AVG(" + movingRange +
           ") AS mr, SUM(CASE WHEN met = 0 THEN 1 ELSE 0 END) AS failures FROM " + from +
           " GROUP BY plan_name, step, expectation, from_index) c";
}

QString CCapabilityQuery::Indexes()
{
    const QString index = "CASE WHEN lsl IS NULL THEN (usl - mean) / (3 * NULLIF(%1, 0)) "
                          "WHEN usl IS NULL OR mean - lsl < usl - mean THEN (mean - lsl) / (3 * NULLIF(%1, 0)) "
                          "ELSE (usl - mean) / (3 * NULLIF(%1, 0)) END";
    const QString spread = "CASE WHEN lsl IS NOT NULL AND usl IS NOT NULL THEN (usl - lsl) / (6 * NULLIF(%1, 0)) END";
    return spread.arg("sw") + " AS cp, " + index.arg("sw") + " AS cpk, " + spread.arg("s") + " AS pp, " +
           index.arg("s") + " AS ppk";
}
