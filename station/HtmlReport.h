// The HTML report: index.html with the run's facts, every unmet expectation,
// a verdict per unit and a grid of steps x units coloured by outcome, and a
// page per cell. Self-contained: nothing is fetched.
#pragma once

#include "StationResults.h"

#include <QString>

class CHtmlReport
{
public:
    // False with a message when DIR or a page cannot be written.
    bool Write(const QString& dir, const StationResults_T& results, QString& error) const;

    QString Index(const StationResults_T& results) const;
    QString StepPage(const StationResults_T& results, size_t unit, size_t step) const;
    // A retried step's unmet tries before its last, below the last one.
    QString EarlierTries(const StepResult_T& step) const;
    static QString PageName(size_t unit, const StepResult_T& step);
    // "-" when nothing was measured.
    static QString Measured(const ExpectationResult_T& expectation);

private:
    static QString Outcome(const StepResult_T& step);
    QString UnmetList(const StationResults_T& results) const;
    QString UnitTable(const StationResults_T& results) const;
    QString Grid(const StationResults_T& results) const;
};
