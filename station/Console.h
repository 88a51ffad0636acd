// What the station tells its operator on standard error: a line per step as
// it ends, and at the end a line per unit and the counts.
#pragma once

#include "StationResults.h"

#include <QString>
#include <QStringList>
#include <QVariant>

class CConsole
{
public:
    // "UNIT STEP: VERDICT, met (S s)"; when not met, the first unmet
    // expectation with what was expected and what was measured.
    static QString StepLine(const QString& unit, const StepResult_T& step);
    static QString UnreachableLine(const UnitResult_T& unit);
    // A line per unit, then the counts; a failed unit's line names its serial
    // and its first unmet expectation. PLANSTEPS tells a stopped unit apart.
    static QStringList Summary(const StationResults_T& results, size_t planSteps, int jobs);

    static QString Measured(const QVariant& measured);
    // Outside text on one console line: no control characters.
    static QString OneLine(const QString& text);

private:
    // "LABEL expected X, measured Y" of the step's first unmet expectation; empty when none.
    static QString FirstUnmet(const StepResult_T& step);
    static QString Serial(const UnitResult_T& unit);
    static QString UnitLine(const UnitResult_T& unit, size_t planSteps);
};
