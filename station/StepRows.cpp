#include "StepRows.h"

#include "ReportParser.h"
#include "ResultsDb.h"
#include "SqlValue.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>
#include <QtEndian>

#include <algorithm>

using namespace SqlValue;

namespace
{
const QString c_Step = "run_id = ? AND step_index = ? AND try_number = ?";

QString JsonList(const QStringList& list)
{
    return QJsonDocument(QJsonArray::fromStringList(list)).toJson(QJsonDocument::Compact);
}

QStringList ReadJsonList(const QVariant& text)
{
    QStringList list;
    for (const QJsonValue& value : QJsonDocument::fromJson(text.toString().toUtf8()).array())
        list << value.toString();
    return list;
}

// A range expectation's limits from its text: "MIN..MAX" or one number.
void Limits(const ExpectationResult_T& expectation, QVariant& low, QVariant& high)
{
    low = high = NullNumber();
    if (expectation.key == "verdict")
        return;
    const int dots = expectation.expected.indexOf("..");
    bool lowOk = false;
    bool highOk = false;
    const double min = expectation.expected.left(dots < 0 ? -1 : dots).toDouble(&lowOk);
    const double max = expectation.expected.mid(dots < 0 ? 0 : dots + 2).toDouble(&highOk);
    if (lowOk)
        low = min;
    if (highOk)
        high = max;
}

QString ValueType(const QVariant& value)
{
    switch (static_cast<QMetaType::Type>(value.type()))
    {
    case QMetaType::UnknownType:
        return QString();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return "integer";
    case QMetaType::Double:
        return "real";
    default:
        return "text";
    }
}

QVariant ReadValue(const QVariant& type, const QVariant& value, const QVariant& text)
{
    if (type.toString() == "integer")
        return QVariant(static_cast<qlonglong>(value.toDouble()));
    if (type.toString() == "real")
        return QVariant(value.toDouble());
    if (type.toString() == "text")
        return QVariant(text.toString());
    return QVariant();
}
}

QByteArray CStepRows::PackSamples(const std::vector<int>& samples)
{
    QByteArray packed(static_cast<int>(samples.size() * 4), '\0');
    for (size_t i = 0; i < samples.size(); ++i)
        qToLittleEndian<qint32>(samples[i], packed.data() + i * 4);
    return qCompress(packed);
}

std::vector<int> CStepRows::UnpackSamples(const QByteArray& packed)
{
    const QByteArray raw = qUncompress(packed);
    std::vector<int> samples(static_cast<size_t>(raw.size() / 4));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = qFromLittleEndian<qint32>(raw.constData() + i * 4);
    return samples;
}

bool CStepRows::Insert(CResultsDb& db, const QString& runId, int index, int tryNumber, const StepResult_T& step,
                       QString& error)
{
    const QVariantList key = {runId, index, tryNumber};
    QSqlQuery query(db.Connection());
    // A re-sent step is already there with all its rows.
    if (!db.Exec(query, "SELECT COUNT(*) FROM steps WHERE " + c_Step, key, error) || !query.next())
        return false;
    if (query.value(0).toInt() > 0)
        return true;
    if (!db.Exec(query,
                 "INSERT INTO steps (run_id, step_index, try_number, name, command, verdict, met, exit_status, "
                 "seconds, report, stderr) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                 key + QVariantList{Text(step.name), Text(JsonList(step.command)), Text(step.verdict), Flag(step.met),
                                    step.exitStatus, step.seconds, Bytes(step.text), Bytes(step.errors)},
                 error))
        return false;
    return InsertMeasurements(db, key, step, error) && InsertBlocks(db, key, step, error);
}

bool CStepRows::InsertMeasurements(CResultsDb& db, const QVariantList& key, const StepResult_T& step, QString& error)
{
    QSqlQuery query(db.Connection());
    for (size_t i = 0; i < step.expectations.size(); ++i)
    {
        const ExpectationResult_T& expectation = step.expectations[i];
        const QString type = ValueType(expectation.measured);
        QVariant low;
        QVariant high;
        Limits(expectation, low, high);
        if (!db.Exec(
                query,
                "INSERT INTO measurements (run_id, step_index, try_number, position, expectation, from_index, "
                "expected, value_type, value, value_text, low, high, met) "
                "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                key + QVariantList{static_cast<int>(i), Text(expectation.key), expectation.from,
                                   Text(expectation.expected), type.isEmpty() ? NullText() : type,
                                   type == "integer" || type == "real" ? expectation.measured.toDouble() : NullNumber(),
                                   type == "text" ? Text(expectation.measured.toString()) : NullText(), low, high,
                                   Flag(expectation.met)},
                error))
            return false;
    }
    return true;
}

bool CStepRows::InsertBlocks(CResultsDb& db, const QVariantList& key, const StepResult_T& step, QString& error)
{
    QSqlQuery query(db.Connection());
    for (size_t i = 0; i < step.report.blocks.size(); ++i)
    {
        const SampleBlock_T& block = step.report.blocks[i];
        if (!db.Exec(query,
                     "INSERT INTO sample_blocks (run_id, step_index, try_number, block_index, block_format, "
                     "complete, well_formed, lines, sample_count, samples) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                     key + QVariantList{static_cast<int>(i), block.commaSeparated ? "comma" : "three-digit",
                                        Flag(block.complete), Flag(block.wellFormed), Text(JsonList(block.lines)),
                                        static_cast<qlonglong>(block.samples.size()), PackSamples(block.samples)},
                     error))
            return false;
    }
    return true;
}

bool CStepRows::LoadMeasurements(CResultsDb& db, const QString& runId,
                                 std::vector<std::pair<QPair<int, int>, MeasurementRecord_T>>& measurements,
                                 QString& error)
{
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT step_index, try_number, expectation, from_index, expected, value_type, value, value_text, "
                 "low, high, met FROM measurements WHERE run_id = ? ORDER BY step_index, try_number, position",
                 {runId}, error))
        return false;
    measurements.clear();
    while (query.next())
    {
        MeasurementRecord_T m;
        m.key = query.value(2).toString();
        m.from = query.value(3).toInt();
        m.expected = query.value(4).toString();
        m.value = ReadValue(query.value(5), query.value(6), query.value(7));
        m.low = query.value(8).isNull() ? QVariant() : QVariant(query.value(8).toDouble());
        m.high = query.value(9).isNull() ? QVariant() : QVariant(query.value(9).toDouble());
        m.met = query.value(10).toInt() != 0;
        measurements.push_back({qMakePair(query.value(0).toInt(), query.value(1).toInt()), m});
    }
    return true;
}

bool CStepRows::LoadRecords(CResultsDb& db, const QString& runId, std::vector<StepRecord_T>& steps, QString& error)
{
    std::vector<std::pair<QPair<int, int>, MeasurementRecord_T>> measurements;
    if (!LoadMeasurements(db, runId, measurements, error))
        return false;
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT step_index, try_number, name, verdict, met FROM steps WHERE run_id = ? "
                 "ORDER BY step_index, try_number",
                 {runId}, error))
        return false;
    steps.clear();
    while (query.next())
    {
        const QPair<int, int> key(query.value(0).toInt(), query.value(1).toInt());
        StepRecord_T step;
        step.index = key.first;
        step.tryNumber = key.second;
        step.name = query.value(2).toString();
        step.verdict = query.value(3).toString();
        step.met = query.value(4).toInt() != 0;
        for (const auto& measurement : measurements)
            if (measurement.first == key)
                step.measurements.push_back(measurement.second);
        steps.push_back(step);
    }
    for (StepRecord_T& step : steps)
        step.tries = static_cast<int>(std::count_if(
            steps.begin(), steps.end(), [&](const StepRecord_T& other) { return other.index == step.index; }));
    return true;
}

bool CStepRows::Load(CResultsDb& db, const QString& runId, std::vector<StepResult_T>& steps, QString& error,
                     std::vector<QPair<int, int>>* keys)
{
    std::vector<std::pair<QPair<int, int>, MeasurementRecord_T>> measurements;
    if (!LoadMeasurements(db, runId, measurements, error))
        return false;
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT step_index, try_number, name, command, verdict, met, exit_status, seconds, report, stderr "
                 "FROM steps WHERE run_id = ? ORDER BY step_index, try_number",
                 {runId}, error))
        return false;
    steps.clear();
    if (keys)
        keys->clear();
    const CReportParser parser;
    while (query.next())
    {
        const QPair<int, int> key(query.value(0).toInt(), query.value(1).toInt());
        StepResult_T step;
        step.name = query.value(2).toString();
        step.command = ReadJsonList(query.value(3));
        step.verdict = query.value(4).toString();
        step.met = query.value(5).toInt() != 0;
        step.exitStatus = query.value(6).toInt();
        step.seconds = query.value(7).toDouble();
        step.text = query.value(8).toByteArray();
        step.errors = query.value(9).toByteArray();
        step.report = parser.Parse(step.text);
        for (const auto& measurement : measurements)
            if (measurement.first == key)
                step.expectations.push_back(measurement.second.Result());
        steps.push_back(step);
        if (keys)
            keys->push_back(key);
    }
    return true;
}
