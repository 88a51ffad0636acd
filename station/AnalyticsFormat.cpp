#include "AnalyticsFormat.h"

#include "HistoryFormat.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace
{
QString Text(const std::optional<double>& value)
{
    return value ? QString::number(*value, 'g', 6) : QString("-");
}

QString Share(const std::optional<double>& value)
{
    return value ? QString::number(*value * 100, 'f', 1) + "%" : QString("-");
}

QString Printable(const QString& text)
{
    return CHistoryFormat::Printable(text);
}

QJsonObject YieldObject(const YieldRow_T& row)
{
    return QJsonObject{{"units", row.units},
                       {"runs", row.runs},
                       {"passed_runs", row.passedRuns},
                       {"fpy", CAnalyticsFormat::Figure(row.fpy)},
                       {"spy", CAnalyticsFormat::Figure(row.spy)},
                       {"tpy", CAnalyticsFormat::Figure(row.tpy)},
                       {"lpy", CAnalyticsFormat::Figure(row.lpy)},
                       {"run_yield", CAnalyticsFormat::Figure(row.runYield)}};
}

QStringList YieldCells(const QString& group, const YieldRow_T& row)
{
    return {group,
            QString::number(row.units),
            QString::number(row.runs),
            Share(row.fpy),
            Share(row.spy),
            Share(row.tpy),
            Share(row.lpy),
            Share(row.runYield)};
}
}

QJsonValue CAnalyticsFormat::Figure(const std::optional<double>& value)
{
    // Sums in another order may differ in the last bits between engines.
    return value ? QJsonValue(QString::number(*value, 'g', 10).toDouble()) : QJsonValue();
}

QString CAnalyticsFormat::Columns(const std::vector<QStringList>& rows)
{
    std::vector<int> widths;
    for (const QStringList& row : rows)
        for (int i = 0; i < row.size(); ++i)
        {
            if (widths.size() <= static_cast<size_t>(i))
                widths.push_back(0);
            widths[static_cast<size_t>(i)] = std::max(widths[static_cast<size_t>(i)], row[i].size());
        }
    QString text;
    for (const QStringList& row : rows)
    {
        QString line;
        for (int i = 0; i < row.size(); ++i)
            line += i + 1 < row.size() ? row[i].leftJustified(widths[static_cast<size_t>(i)] + 2) : row[i];
        text += line + "\n";
    }
    return text;
}

QString CAnalyticsFormat::Label(const QString& key, int from)
{
    return from > 0 ? QString("%1 from %2").arg(key).arg(from) : key;
}

QByteArray CAnalyticsFormat::YieldJson(const YieldReport_T& report, const QString& by)
{
    QJsonObject root{{"total", YieldObject(report.total)}};
    if (!by.isEmpty())
    {
        QJsonArray groups;
        for (const YieldRow_T& row : report.groups)
        {
            QJsonObject object = YieldObject(row);
            object.insert(by, row.group);
            groups.append(object);
        }
        root.insert("by", by);
        root.insert("groups", groups);
    }
    QJsonArray pareto;
    for (const ParetoRow_T& row : report.pareto)
        pareto.append(
            QJsonObject{{"plan", row.plan}, {"step", row.step}, {"key", row.key}, {"failures", row.failures}});
    root.insert("pareto", pareto);
    return QJsonDocument(root).toJson();
}

QString CAnalyticsFormat::YieldTable(const YieldReport_T& report, const QString& by)
{
    std::vector<QStringList> rows = {
        {by.isEmpty() ? QString() : by, "units", "runs", "FPY", "SPY", "TPY", "LPY", "run yield"},
        YieldCells("all", report.total)};
    for (const YieldRow_T& row : report.groups)
        rows.push_back(YieldCells(Printable(row.group), row));
    QString text = Columns(rows);
    if (report.pareto.empty())
        return text + "\nNo failed run.\n";
    std::vector<QStringList> pareto = {{"failures", "plan", "step", "first unmet"}};
    for (const ParetoRow_T& row : report.pareto)
        pareto.push_back({QString::number(row.failures), Printable(row.plan), Printable(row.step), Printable(row.key)});
    return text + "\nFailures by first failing step:\n" + Columns(pareto);
}

QByteArray CAnalyticsFormat::CapabilityJson(const std::vector<CapabilityRow_T>& rows)
{
    QJsonArray measurements;
    for (const CapabilityRow_T& row : rows)
        measurements.append(QJsonObject{{"plan", row.id.plan},
                                        {"step", row.id.step},
                                        {"key", row.id.key},
                                        {"from", row.id.from},
                                        {"n", row.n},
                                        {"mean", Figure(row.mean)},
                                        {"s", Figure(row.s)},
                                        {"sw", Figure(row.sw)},
                                        {"lsl", Figure(row.lsl)},
                                        {"usl", Figure(row.usl)},
                                        {"cp", Figure(row.cp)},
                                        {"cpk", Figure(row.cpk)},
                                        {"pp", Figure(row.pp)},
                                        {"ppk", Figure(row.ppk)},
                                        {"failures", row.failures}});
    return QJsonDocument(QJsonObject{{"measurements", measurements}}).toJson();
}

QString CAnalyticsFormat::CapabilityTable(const std::vector<CapabilityRow_T>& rows)
{
    if (rows.empty())
        return "No numeric measurement.\n";
    std::vector<QStringList> table = {
        {"plan", "step", "key", "n", "mean", "s", "sw", "LSL", "USL", "Cp", "Cpk", "Pp", "Ppk", "failures"}};
    for (const CapabilityRow_T& row : rows)
        table.push_back({Printable(row.id.plan), Printable(row.id.step), Printable(Label(row.id.key, row.id.from)),
                         QString::number(row.n), Text(row.mean), Text(row.s), Text(row.sw), Text(row.lsl),
                         Text(row.usl), Text(row.cp), Text(row.cpk), Text(row.pp), Text(row.ppk),
                         QString::number(row.failures)});
    return Columns(table);
}

QByteArray CAnalyticsFormat::ControlJson(const ControlChart_T& chart)
{
    QJsonArray points;
    QJsonArray flagged;
    for (const ControlPoint_T& point : chart.points)
    {
        const QJsonObject object{{"point", point.index},         {"serial", QString::fromUtf8(point.serial)},
                                 {"run_id", point.runId},        {"time", point.time.toString(Qt::ISODateWithMs)},
                                 {"value", Figure(point.value)}, {"moving_range", Figure(point.movingRange)}};
        points.append(object);
        if (!point.rules.isEmpty())
            flagged.append(QJsonObject{
                {"point", point.index}, {"run_id", point.runId}, {"rules", QJsonArray::fromStringList(point.rules)}});
    }
    const QJsonObject root{
        {"plan", chart.id.plan},
        {"step", chart.id.step},
        {"key", chart.id.key},
        {"from", chart.id.from},
        {"baseline", chart.baseline},
        {"individuals",
         QJsonObject{{"centre", Figure(chart.centre)}, {"ucl", Figure(chart.ucl)}, {"lcl", Figure(chart.lcl)}}},
        {"moving_range", QJsonObject{{"centre", Figure(chart.mrCentre)}, {"ucl", Figure(chart.mrUcl)}}},
        {"points", points},
        {"flagged", flagged}};
    return QJsonDocument(root).toJson();
}

QString CAnalyticsFormat::ControlTable(const ControlChart_T& chart)
{
    QString text = QString("%1 / %2: %3 point(s)\n")
                       .arg(Printable(chart.id.step), Printable(Label(chart.id.key, chart.id.from)))
                       .arg(chart.points.size());
    if (chart.centre)
        text += QString("Individuals: centre %1, UCL %2, LCL %3; moving range: centre %4, UCL %5 (baseline of %6)\n")
                    .arg(Text(chart.centre), Text(chart.ucl), Text(chart.lcl), Text(chart.mrCentre), Text(chart.mrUcl))
                    .arg(chart.baseline);
    else
        text += "No limits: the baseline holds fewer than two points.\n";
    if (chart.points.empty())
        return text;
    std::vector<QStringList> rows = {{"point", "serial", "run", "time", "value", "MR", "rules"}};
    for (const ControlPoint_T& point : chart.points)
        rows.push_back({QString::number(point.index), Printable(QString::fromUtf8(point.serial)), point.runId,
                        point.time.toString(Qt::ISODateWithMs), Text(point.value), Text(point.movingRange),
                        point.rules.join(", ")});
    return text + "\n" + Columns(rows);
}
