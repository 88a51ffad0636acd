#include "JunitWriter.h"

#include "SaveFile.h"

#include <QXmlStreamWriter>

namespace
{
QString Seconds(double seconds)
{
    return QString::number(seconds, 'f', 3);
}
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
        const bool notRun = step.verdict == c_NotRunVerdict;
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
        xml.writeAttribute("name", "send");
        xml.writeAttribute("time", Seconds(0));
        xml.writeStartElement("error");
        xml.writeAttribute("type", "send");
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
        if (step.verdict == c_NotRunVerdict)
        {
            xml.writeStartElement("skipped");
            xml.writeAttribute("message",
                               XmlText(QString("not run: %1 is unreachable: %2").arg(unit.unit, unit.unreachable)));
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
        xml.writeTextElement("system-out", XmlText(QString::fromUtf8(step.text)));
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
