#include "HistoryFormat.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace
{
QString Time(const QDateTime& time)
{
    return time.isValid() ? time.toUTC().toString(Qt::ISODateWithMs) : QString();
}

QJsonValue TimeValue(const QDateTime& time)
{
    return time.isValid() ? QJsonValue(Time(time)) : QJsonValue();
}

QString Number(const QVariant& value)
{
    if (!value.isValid())
        return "-";
    if (value.type() == QVariant::String)
        return value.toString();
    return QString::number(value.toDouble(), 'g', 12);
}

QJsonObject Step(const StepRecord_T& step)
{
    QJsonArray measurements;
    for (const MeasurementRecord_T& m : step.measurements)
    {
        QJsonObject object{{"key", m.key},
                           {"expected", m.expected},
                           {"value", QJsonValue::fromVariant(m.value)},
                           {"low", QJsonValue::fromVariant(m.low)},
                           {"high", QJsonValue::fromVariant(m.high)},
                           {"met", m.met}};
        if (m.from > 0)
            object.insert("from", m.from);
        measurements.append(object);
    }
    QJsonObject object{
        {"name", step.name}, {"verdict", step.verdict}, {"met", step.met}, {"measurements", measurements}};
    if (step.tries > 1)
        object.insert("try", step.tryNumber);
    return object;
}

QJsonObject Run(const HistoryRun_T& entry)
{
    const RunRecord_T& run = entry.run;
    QJsonArray steps;
    for (const StepRecord_T& step : entry.steps)
        steps.append(Step(step));
    return QJsonObject{
        {"id", run.id},
        {"start", TimeValue(run.started)},
        {"end", TimeValue(run.ended)},
        {"station", entry.station},
        {"operator", run.operatorName},
        {"unit", run.unit},
        {"slot", run.slot},
        {"serial_source", run.serialSource},
        {"plan", run.planName},
        {"plan_sha256", run.planSha256},
        {"attempt", QJsonValue::fromVariant(run.attempt)},
        {"result", run.result},
        {"product", run.product},
        {"versions", QJsonObject{{"application", run.applicationVersion}, {"platform", run.platformVersion}}},
        {"virtual", run.isVirtual},
        {"steps", steps}};
}

// Rows of cells, each column as wide as its widest cell.
QString Columns(const std::vector<QStringList>& rows, const QString& indent)
{
    std::vector<int> widths;
    for (const QStringList& row : rows)
        for (int i = 0; i < row.size(); ++i)
        {
            widths.resize(std::max(widths.size(), static_cast<size_t>(i + 1)), 0);
            widths[i] = std::max(widths[i], static_cast<int>(row[i].size()));
        }
    QString text;
    for (const QStringList& row : rows)
    {
        QString line = indent;
        for (int i = 0; i < row.size(); ++i)
            line += i + 1 < row.size() ? row[i].leftJustified(widths[i] + 2) : row[i];
        text += line + "\n";
    }
    return text;
}
}

QString CHistoryFormat::Printable(const QString& text)
{
    QString result;
    for (const QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            result += QString("\\x%1").arg(c.unicode(), 2, 16, QChar('0'));
        else
            result += c;
    return result;
}

QByteArray CHistoryFormat::Json(const UnitHistory_T& history)
{
    QJsonArray runs;
    for (const HistoryRun_T& run : history.runs)
        runs.append(Run(run));
    const QJsonObject root{{"serial", QString::fromUtf8(history.serial)}, {"runs", runs}};
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

QString CHistoryFormat::Table(const UnitHistory_T& history)
{
    QString text =
        QString("Serial %1: %2 run(s)\n").arg(Printable(QString::fromUtf8(history.serial))).arg(history.runs.size());
    for (const HistoryRun_T& entry : history.runs)
    {
        const RunRecord_T& run = entry.run;
        text += QString("\nRun %1, attempt %2: %3%4\n")
                    .arg(run.id, run.attempt.isValid() ? run.attempt.toString() : QString("-"), run.result.toUpper(),
                         run.isVirtual ? ", virtual unit" : "");
        const std::vector<QStringList> facts = {
            {"Time", QString("%1 to %2").arg(Time(run.started), run.ended.isValid() ? Time(run.ended) : "(none)")},
            {"Station", Printable(entry.station) + ", slot " + QString::number(run.slot) + ", " + Printable(run.unit)},
            {"Operator", Printable(run.operatorName)},
            {"Plan", Printable(run.planName) + ", SHA-256 " + run.planSha256},
            {"Product", Printable(run.product)},
            {"Versions",
             "application " + Printable(run.applicationVersion) + ", platform " + Printable(run.platformVersion)}};
        text += Columns(facts, "  ");
        std::vector<QStringList> rows = {{"STEP", "VERDICT", "MET", "MEASURED", "VALUE", "LOW", "HIGH", "MET"}};
        for (const StepRecord_T& step : entry.steps)
        {
            const QString name =
                step.tries > 1
                    ? Printable(step.name) + QString(", try %1 of %2").arg(step.tryNumber).arg(step.tries)
                    : Printable(step.name);
            const QStringList head = {name, Printable(step.verdict), step.met ? "yes" : "NO"};
            if (step.measurements.empty())
                rows.push_back(head);
            for (size_t i = 0; i < step.measurements.size(); ++i)
            {
                const MeasurementRecord_T& m = step.measurements[i];
                const QString key = m.from > 0 ? QString("%1 from %2").arg(m.key).arg(m.from) : m.key;
                rows.push_back((i == 0 ? head : QStringList{"", "", ""}) +
                               QStringList{Printable(key), Printable(Number(m.value)), Number(m.low), Number(m.high),
                                           m.met ? "yes" : "NO"});
            }
        }
        text += "\n" + Columns(rows, "  ");
    }
    return text;
}
