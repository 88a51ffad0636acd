#include "JunitWriter.h"

#include "SaveFile.h"

#include <QXmlStreamWriter>

#include <algorithm>

namespace
{
QString Seconds(double seconds)
{
    return QString::number(seconds, 'f', 3);
}
}

bool CJunitWriter::Refused(const UnitResult_T& unit)
{
    // A unit that was reached, but whose every step is not run, was held back by the plan's requirements.
    return unit.unreachable.isEmpty() && !unit.steps.empty() &&
           std::all_of(unit.steps.begin(), unit.steps.end(),
                       [](const StepResult_T& step) { return step.verdict == c_NotRunVerdict; });
}

QString CJunitWriter::Output(const StepResult_T& step)
{
    if (step.earlier.empty())
        return QString::fromUtf8(step.text);
    QString text;
    const int tries = static_cast<int>(step.earlier.size()) + 1;
    for (const StepResult_T& before : step.earlier)
    {
        QString firstUnmet;
        for (const ExpectationResult_T& expectation : before.expectations)
            if (!expectation.met && firstUnmet.isEmpty())
                firstUnmet =
                    QString(": %1 expected %2, measured %3")
                        .arg(expectation.Label(), expectation.expected,
                             expectation.measured.isValid() ? expectation.measured.toString() : QString("nothing"));
        text += QString("--- try %1 of %2, %3, not met%4\n")
                    .arg(before.tryNumber)
                    .arg(tries)
                    .arg(before.verdict, firstUnmet);
        text += QString::fromUtf8(before.text);
    }
    text += QString("--- try %1 of %2, %3, %4\n")
                .arg(step.tryNumber)
                .arg(tries)
                .arg(step.verdict, step.met ? "met" : "not met");
    return text + QString::fromUtf8(step.text);
}

QString CJunitWriter::XmlText(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i)
    {
        const QChar c = text[i];
        const ushort code = c.unicode();
        const bool pair = c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        if (pair)
        {
            result += c;
            result += text[++i];
        }
        else if ((code >= 0x20 && code < 0xD800) || (code >= 0xE000 && code < 0xFFFE) || code == '\t' || code == '\n')
            result += c;
        else if (code != '\r')
            result += QChar(0xFFFD);
    }
    return result;
}

void CJunitWriter::Suite(QXmlStreamWriter& xml, const UnitResult_T& unit) const
{
    int failures = 0;
    int skipped = 0;
    double seconds = 0;
    for (const StepResult_T& step : unit.steps)
    {
        const bool notRun = !step.Ran();
        skipped += notRun ? 1 : 0;
        failures += step.met || notRun ? 0 : 1;
        seconds += step.seconds;
    }
    xml.writeStartElement("testsuite");
    const bool error = !unit.error.isEmpty();
    xml.writeAttribute("name", XmlText(unit.unit));
    xml.writeAttribute("tests", QString::number(unit.steps.size() + (error ? 1 : 0)));
    xml.writeAttribute("failures", QString::number(failures));
    xml.writeAttribute("errors", error ? "1" : "0");
    xml.writeAttribute("skipped", QString::number(skipped));
    xml.writeAttribute("time", Seconds(seconds));
    if (error)
    {
        // The plan's files: a unit whose steps did not run still shows in a CI's list.
        xml.writeStartElement("testcase");
        xml.writeAttribute("classname", XmlText(unit.unit));
        xml.writeAttribute("name", Refused(unit) ? "requires" : "send");
        xml.writeAttribute("time", Seconds(0));
        xml.writeStartElement("error");
        xml.writeAttribute("type", Refused(unit) ? "requires" : "send");
        xml.writeAttribute("message", XmlText(unit.error));
        xml.writeCharacters(XmlText(unit.error));
        xml.writeEndElement();
        xml.writeEndElement();
    }
    for (const StepResult_T& step : unit.steps)
    {
        xml.writeStartElement("testcase");
        xml.writeAttribute("classname", XmlText(unit.unit));
        xml.writeAttribute("name", XmlText(step.name));
        xml.writeAttribute("time", Seconds(step.seconds));
        if (!step.Ran())
        {
            QString message = QString("not run: %1 is unreachable: %2").arg(unit.unit, unit.unreachable);
            if (step.verdict == c_SkippedVerdict)
                message = "skipped: an earlier step was not met and the plan stops on a failure";
            else if (unit.unreachable.isEmpty())
                message = unit.error;
            xml.writeStartElement("skipped");
            xml.writeAttribute("message", XmlText(message));
            xml.writeEndElement();
        }
        for (const ExpectationResult_T& expectation : step.expectations)
        {
            if (expectation.met)
                continue;
            const QString measured =
                expectation.measured.isValid() ? expectation.measured.toString() : QString("nothing measured");
            const QString message =
                QString("%1: expected %2, measured %3").arg(expectation.Label(), expectation.expected, measured);
            xml.writeStartElement("failure");
            xml.writeAttribute("type", expectation.key);
            xml.writeAttribute("message", XmlText(message));
            xml.writeCharacters(XmlText(message));
            xml.writeEndElement();
        }
        xml.writeTextElement("system-out", XmlText(Output(step)));
        if (!step.errors.isEmpty())
            xml.writeTextElement("system-err", XmlText(QString::fromUtf8(step.errors)));
        xml.writeEndElement();
    }
    xml.writeEndElement();
}

QByteArray CJunitWriter::Document(const StationResults_T& results) const
{
    QByteArray document;
    QXmlStreamWriter xml(&document);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    // Steps that never ran are counted per unit, as skipped: this element has no place for them.
    const StepCounts_T counts = results.Count();
    size_t errors = 0;
    for (const UnitResult_T& unit : results.units)
        errors += unit.error.isEmpty() ? 0 : 1;
    xml.writeStartElement("testsuites");
    xml.writeAttribute("name", XmlText(results.plan));
    xml.writeAttribute("tests", QString::number(counts.steps + errors));
    xml.writeAttribute("failures", QString::number(counts.unmet));
    xml.writeAttribute("errors", QString::number(errors));
    xml.writeAttribute("time", Seconds(results.seconds));
    for (const UnitResult_T& unit : results.units)
        Suite(xml, unit);
    xml.writeEndElement();
    xml.writeEndDocument();
    return document;
}

bool CJunitWriter::Write(const QString& path, const StationResults_T& results, QString& error) const
{
    return SaveFile(path, Document(results), error);
}
