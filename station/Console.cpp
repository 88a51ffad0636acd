#include "Console.h"

#include <algorithm>

namespace
{
QString Seconds(double seconds)
{
    return QString::number(seconds, 'f', 2);
}

// "1 step", "2 steps"
QString Count(size_t count, const char* thing)
{
    return QString("%1 %2%3").arg(QString::number(count), thing, count == 1 ? "" : "s");
}

// A unit lost mid-plan ran some of its steps.
size_t NotRun(const UnitResult_T& unit)
{
    return static_cast<size_t>(std::count_if(unit.steps.begin(), unit.steps.end(),
                                             [](const StepResult_T& step) { return step.verdict == c_NotRunVerdict; }));
}
}

QString CConsole::Measured(const QVariant& measured)
{
    if (!measured.isValid())
        return "nothing";
    // A mean reads best to a few digits; the JSON file keeps every one.
    if (measured.type() == QVariant::Double)
        return QString::number(measured.toDouble(), 'g', 6);
    return OneLine(measured.toString());
}

QString CConsole::OneLine(const QString& text)
{
    QString line = text;
    for (QChar& c : line)
        if (c.category() == QChar::Other_Control)
            c = ' ';
    return line.trimmed();
}

QString CConsole::FirstUnmet(const StepResult_T& step)
{
    for (const ExpectationResult_T& expectation : step.expectations)
        if (!expectation.met)
            return QString("%1 expected %2, measured %3")
                .arg(expectation.Label(), OneLine(expectation.expected), Measured(expectation.measured));
    return QString();
}

QString CConsole::StepLine(const QString& unit, const StepResult_T& step)
{
    QString outcome = step.met ? "met" : "NOT MET";
    const QString unmet = FirstUnmet(step);
    if (!unmet.isEmpty())
        outcome += ": " + unmet;
    QString line =
        QString("%1 %2: %3, %4 (%5 s)").arg(unit, step.name, OneLine(step.verdict), outcome, Seconds(step.seconds));
    // Outside text is joined on, never passed through arg() before a number.
    if (step.triesAllowed > 1)
        line += QString(", try %1 of %2").arg(step.tryNumber).arg(step.triesAllowed);
    return line;
}

QString CConsole::UnreachableLine(const UnitResult_T& unit)
{
    return QString("%1: unreachable, %2 not run (%3)")
        .arg(unit.unit, Count(NotRun(unit), "step"), OneLine(unit.unreachable));
}

QString CConsole::Serial(const UnitResult_T& unit)
{
    return unit.serial.isEmpty() ? QString("no serial") : "serial " + OneLine(QString::fromUtf8(unit.serial));
}

QString CConsole::UnitLine(const UnitResult_T& unit, size_t planSteps)
{
    // A failed unit goes back to the bench: it is named by the serial on its label.
    const QString name = unit.met ? unit.unit : QString("%1, %2").arg(unit.unit, Serial(unit));
    if (!unit.unreachable.isEmpty())
        return QString("%1: unreachable, %2 not run").arg(name, Count(NotRun(unit), "step"));
    if (!unit.steps.empty() &&
        std::none_of(unit.steps.begin(), unit.steps.end(), [](const StepResult_T& step) { return step.Ran(); }))
        return QString("%1: NOT MET, %2 not run").arg(name, Count(unit.steps.size(), "step"));
    QStringList unmet;
    QString first;
    int skipped = 0;
    for (const StepResult_T& step : unit.steps)
        if (!step.Ran())
            ++skipped;
        else if (!step.met)
        {
            unmet << step.name;
            const QString expectation = FirstUnmet(step);
            if (first.isEmpty() && !expectation.isEmpty())
                first = step.name + " " + expectation;
        }
    QString line = name + ": ";
    if (!unmet.isEmpty())
        line += QString("NOT MET, %1 of %2 not met: %3")
                    .arg(QString::number(unmet.size()), Count(planSteps, "step"), unmet.join(", "));
    else if (unit.steps.size() == planSteps)
        line += "met, " + Count(planSteps, "step");
    if (skipped > 0)
        line += QString(", %1 skipped").arg(skipped);
    if (unit.steps.size() < planSteps)
        line += QString("%1stopped after %2 of %3")
                    .arg(unmet.isEmpty() ? "" : "; ", QString::number(unit.steps.size()), Count(planSteps, "step"));
    if (!first.isEmpty())
        line += "; first unmet: " + first;
    return line;
}

QStringList CConsole::Summary(const StationResults_T& results, size_t planSteps, int jobs)
{
    QStringList lines;
    for (const UnitResult_T& unit : results.units)
        lines << UnitLine(unit, planSteps);
    const StepCounts_T counts = results.Count();
    lines << QString("%1, %2: %3 met, %4 not met, %5 not run (%6 s, -j %7)")
                 .arg(Count(results.units.size(), "unit"), Count(counts.steps, "step"), QString::number(counts.met),
                      QString::number(counts.unmet), QString::number(counts.notRun), Seconds(results.seconds),
                      QString::number(jobs));
    return lines;
}
