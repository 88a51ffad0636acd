#include "DashboardUnits.h"

#include "Analytics.h"

#include "ResultsDb.h"
#include "SqlValue.h"
#include "StepRows.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>

#include <cmath>

using namespace SqlValue;

namespace
{
// Every query of a batch walks its runs in this order, so their rows line up.
const QString c_RunOrder = "r.serial, r.serial_bytes, r.started, r.id";

QVariant Serial(const QString& text)
{
    return Text(text);
}

QVariant Number(const QVariant& value)
{
    return value.isNull() ? QVariant() : QVariant(value.toDouble());
}

QStringList JsonList(const QVariant& text)
{
    QStringList list;
    for (const QJsonValue& value : QJsonDocument::fromJson(text.toString().toUtf8()).array())
        list << value.toString();
    return list;
}
}

QString CDashboardUnits::Conditions(const AnalyticsFilter_T& filter, QVariantList& values)
{
    return "r.serial IS NOT NULL AND " + CAnalytics::Conditions(filter, values, "r.");
}

QString CDashboardUnits::Between(const Key_T& first, const Key_T& last, QVariantList& values)
{
    // The plain range lets an index on serial find the batch; the rest tells
    // apart serials whose bytes differ but read as the same text.
    values << Serial(first.text) << Serial(last.text) << Serial(first.text) << Serial(first.text) << first.bytes
           << Serial(last.text) << Serial(last.text) << last.bytes;
    return " AND r.serial >= ? AND r.serial <= ? AND (r.serial > ? OR (r.serial = ? AND r.serial_bytes >= ?))"
           " AND (r.serial < ? OR (r.serial = ? AND r.serial_bytes <= ?))";
}

bool CDashboardUnits::NextKeys(const AnalyticsFilter_T& filter, const Key_T* after, std::vector<Key_T>& keys,
                               QString& error) const
{
    QVariantList values;
    QString sql = "SELECT r.serial, r.serial_bytes FROM runs r WHERE " + Conditions(filter, values);
    if (after)
    {
        sql += " AND r.serial >= ? AND (r.serial > ? OR (r.serial = ? AND r.serial_bytes > ?))";
        values << Serial(after->text) << Serial(after->text) << Serial(after->text) << after->bytes;
    }
    sql += " GROUP BY r.serial, r.serial_bytes ORDER BY r.serial, r.serial_bytes LIMIT ?";
    values << m_Batch;
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query, sql, values, error))
        return false;
    keys.clear();
    while (query.next())
        keys.push_back({query.value(0).toString(), query.value(1).toByteArray()});
    return true;
}

bool CDashboardUnits::Newest(const AnalyticsFilter_T& filter, QDateTime& started, QString& error) const
{
    QVariantList values;
    QSqlQuery query(m_Db.Connection());
    if (!m_Db.Exec(query, "SELECT MAX(r.started) FROM runs r WHERE " + Conditions(filter, values), values, error) ||
        !query.next())
        return false;
    started = ReadTime(query.value(0));
    return true;
}

bool CDashboardUnits::ForEach(const AnalyticsFilter_T& filter, const Page_T& page, QString& error) const
{
    std::vector<Key_T> keys;
    if (!NextKeys(filter, nullptr, keys, error))
        return false;
    while (!keys.empty())
    {
        const Key_T last = keys.back();
        if (!ReadBatch(filter, keys.front(), last, page, error) || !NextKeys(filter, &last, keys, error))
            return false;
    }
    return true;
}

bool CDashboardUnits::ReadRuns(const QString& where, const QVariantList& values, std::vector<DashboardUnit_T>& units,
                               QString& error) const
{
    // A run's attempt counts over the unit's whole history, not the window.
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query,
                   "SELECT r.id, r.serial_bytes, r.unit, r.is_virtual, r.product, r.plan_name, r.started, r.result, "
                   "r.met, r.unit_error, r.unreachable, s.host, r.plan_attempt FROM runs r "
                   "JOIN sessions s ON s.id = r.session_id WHERE " +
                       where + " ORDER BY " + c_RunOrder,
                   values, error))
        return false;
    units.clear();
    while (query.next())
    {
        const QByteArray serial = query.value(1).toByteArray();
        if (units.empty() || units.back().serial != serial)
            units.push_back({serial, {}});
        DashboardRun_T run;
        run.run.id = query.value(0).toString();
        run.run.serial = serial;
        run.run.unit = query.value(2).toString();
        run.run.isVirtual = query.value(3).toInt() != 0;
        run.run.product = query.value(4).toString();
        run.run.planName = query.value(5).toString();
        run.run.started = ReadTime(query.value(6));
        run.run.result = query.value(7).toString();
        run.run.met = query.value(8).toInt() != 0;
        run.run.unitError = query.value(9).toString();
        run.run.unreachable = query.value(10).toString();
        run.station = query.value(11).toString();
        run.run.attempt = query.value(12).isNull() ? QVariant() : QVariant(query.value(12).toInt());
        units.back().runs.push_back(run);
    }
    return true;
}

bool CDashboardUnits::ReadSteps(const QString& where, const QVariantList& values, std::vector<DashboardUnit_T>& units,
                                QString& error) const
{
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query,
                   "SELECT st.run_id, st.step_index, st.try_number, st.name, st.verdict, st.met, m.expectation, "
                   "m.from_index, m.expected, m.value_type, m.value, m.value_text, m.low, m.high, m.met "
                   "FROM steps st JOIN runs r ON r.id = st.run_id LEFT JOIN measurements m ON m.run_id = st.run_id "
                   "AND m.step_index = st.step_index AND m.try_number = st.try_number WHERE " +
                       where + " ORDER BY " + c_RunOrder + ", st.step_index, st.try_number, m.position",
                   values, error))
        return false;
    size_t u = 0;
    size_t r = 0;
    while (query.next())
    {
        const QString runId = query.value(0).toString();
        // Rows come in the runs' order: step forward to this one's run.
        while (u < units.size() && (r >= units[u].runs.size() || units[u].runs[r].run.id != runId))
        {
            if (r + 1 < units[u].runs.size())
                ++r;
            else
            {
                ++u;
                r = 0;
            }
        }
        if (u >= units.size())
            break;
        std::vector<DashboardStep_T>& steps = units[u].runs[r].steps;
        const int index = query.value(1).toInt();
        const int tryNumber = query.value(2).toInt();
        if (steps.empty() || steps.back().step.index != index || steps.back().tryNumber != tryNumber)
        {
            DashboardStep_T step;
            step.step.index = index;
            step.tryNumber = tryNumber;
            step.step.name = query.value(3).toString();
            step.step.verdict = query.value(4).toString();
            step.step.met = query.value(5).toInt() != 0;
            steps.push_back(step);
        }
        if (query.value(6).isNull())
            continue;
        MeasurementRecord_T m;
        m.key = query.value(6).toString();
        m.from = query.value(7).toInt();
        m.expected = query.value(8).toString();
        const QString type = query.value(9).toString();
        const double value = query.value(10).toDouble();
        // A whole number as such, when it is one a long long holds.
        const bool whole = std::fabs(value) < 9e18;
        m.value = type == "integer" && whole            ? QVariant(static_cast<qlonglong>(value))
                  : type == "integer" || type == "real" ? QVariant(value)
                  : type == "text"                      ? QVariant(query.value(11).toString())
                                                        : QVariant();
        m.low = Number(query.value(12));
        m.high = Number(query.value(13));
        m.met = query.value(14).toInt() != 0;
        steps.back().step.measurements.push_back(m);
    }
    return true;
}

bool CDashboardUnits::ReadBatch(const AnalyticsFilter_T& filter, const Key_T& first, const Key_T& last,
                                const Page_T& page, QString& error) const
{
    QVariantList values;
    QString where = Conditions(filter, values);
    where += Between(first, last, values);
    std::vector<DashboardUnit_T> units;
    if (!ReadRuns(where, values, units, error) || !ReadSteps(where, values, units, error))
        return false;
    QHash<QString, std::pair<size_t, size_t>> runs;  // run id: unit, run
    for (size_t u = 0; u < units.size(); ++u)
        for (size_t r = 0; r < units[u].runs.size(); ++r)
            runs.insert(units[u].runs[r].run.id, {u, r});
    // Samples are the bulk: each unit goes out as soon as its last block came.
    QSqlQuery query(m_Db.Connection());
    query.setForwardOnly(true);
    if (!m_Db.Exec(query,
                   "SELECT b.run_id, b.step_index, b.try_number, b.block_format, b.complete, b.well_formed, b.lines, "
                   "b.samples FROM sample_blocks b JOIN runs r ON r.id = b.run_id WHERE " +
                       where + " ORDER BY " + c_RunOrder + ", b.step_index, b.try_number, b.block_index",
                   values, error))
        return false;
    size_t done = 0;
    const auto finish = [&](size_t until) {
        for (; done < until; ++done)
        {
            if (!page(units[done], error))
                return false;
            units[done] = DashboardUnit_T();
        }
        return true;
    };
    while (query.next())
    {
        const auto at = runs.constFind(query.value(0).toString());
        if (at == runs.constEnd() || at->first < done)
            continue;
        if (!finish(at->first))
            return false;
        for (DashboardStep_T& step : units[at->first].runs[at->second].steps)
            if (step.step.index == query.value(1).toInt() && step.tryNumber == query.value(2).toInt())
            {
                SampleBlock_T block;
                block.commaSeparated = query.value(3).toString() == "comma";
                block.complete = query.value(4).toInt() != 0;
                block.wellFormed = query.value(5).toInt() != 0;
                block.lines = JsonList(query.value(6));
                block.samples = CStepRows::UnpackSamples(query.value(7).toByteArray());
                step.blocks.push_back(block);
                break;
            }
    }
    return finish(units.size());
}
