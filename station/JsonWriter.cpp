#include "JsonWriter.h"

#include "SaveFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace
{
QJsonArray Strings(const QStringList& list)
{
    return QJsonArray::fromStringList(list);
}
}

QJsonObject CJsonWriter::Step(const StepResult_T& step) const
{
    QJsonObject unitData;
    for (const auto& field : step.report.unitData)
        unitData.insert(field.first, field.second);
    QJsonArray samples;
    QJsonArray blocks;
    for (const SampleBlock_T& block : step.report.blocks)
    {
        QJsonArray values;
        for (int sample : block.samples)
            values.append(sample);
        samples.append(values);
        blocks.append(QJsonObject{{"format", block.commaSeparated ? "comma" : "three-digit"},
                                  {"complete", block.complete},
                                  {"well_formed", block.wellFormed},
                                  {"lines", Strings(block.lines)}});
    }
    QJsonArray expectations;
    for (const ExpectationResult_T& expectation : step.expectations)
    {
        QJsonObject object{{"key", expectation.key},
                           {"expected", expectation.expected},
                           {"measured", QJsonValue::fromVariant(expectation.measured)},
                           {"met", expectation.met}};
        if (expectation.from > 0)
            object.insert("from", expectation.from);
        expectations.append(object);
    }
    QJsonObject object{{"name", step.name},
                       {"command", Strings(step.command)},
                       {"verdict", step.verdict},
                       {"errors", Strings(step.report.errors)},
                       {"unit_data", unitData},
                       {"reading", step.report.reading ? QJsonValue(*step.report.reading) : QJsonValue()},
                       {"samples", samples},
                       {"blocks", blocks},
                       {"seconds", step.seconds},
                       {"exit_status", step.exitStatus},
                       {"report", QString::fromUtf8(step.text)},
                       {"stderr", QString::fromUtf8(step.errors)},
                       {"expectations", expectations},
                       {"met", step.met}};
    if (!step.earlier.empty())
    {
        QJsonArray earlier;
        for (const StepResult_T& before : step.earlier)
        {
            QJsonObject tried = Step(before);
            tried.insert("try", before.tryNumber);
            earlier.append(tried);
        }
        object.insert("try", step.tryNumber);
        object.insert("earlier_tries", earlier);
    }
    return object;
}

QByteArray CJsonWriter::Document(const StationResults_T& results) const
{
    QJsonArray units;
    for (const UnitResult_T& unit : results.units)
    {
        QJsonArray steps;
        for (const StepResult_T& step : unit.steps)
            steps.append(Step(step));
        QJsonObject object{{"unit", unit.unit}, {"met", unit.met}, {"steps", steps}};
        if (!unit.error.isEmpty())
            object.insert("error", unit.error);
        if (!unit.unreachable.isEmpty())
            object.insert("unreachable", unit.unreachable);
        units.append(object);
    }
    const QJsonObject root{{"plan", results.plan}, {"met", results.met}, {"units", units}};
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool CJsonWriter::Write(const QString& path, const StationResults_T& results, QString& error) const
{
    return SaveFile(path, Document(results), error);
}
