// The HTML report: index.html with a board of the units' verdicts in large
// letters, the run's facts, every unmet expectation, a verdict per unit and a
// grid of steps x units coloured by outcome, and a page per cell.
// Self-contained: nothing is fetched. While a run lasts its index shows how
// far each unit is and reloads itself.
#pragma once

#include "StationResults.h"

#include <QString>
#include <QStringList>

#include <vector>

// How far a unit is while the run lasts.
struct UnitProgress_T
{
    bool started = false;  // reached and running its steps
    bool finished = false;
    QString running;  // the step now running
};

class CHtmlReport
{
public:
    // False with a message when DIR or a page cannot be written.
    bool Write(const QString& dir, const StationResults_T& results, QString& error) const;

    QString Index(const StationResults_T& results) const;
    // The index while the run lasts: PROGRESS has an entry per unit, PLANSTEPS names the plan's steps.
    QString LiveIndex(const StationResults_T& results, const std::vector<UnitProgress_T>& progress,
                      const QStringList& planSteps) const;
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
    // With PROGRESS, a cell without a step says whether it runs now or is still to come,
    // and every step of the plan has its row.
    QString Grid(const StationResults_T& results, const std::vector<UnitProgress_T>* progress = nullptr,
                 const QStringList& planSteps = QStringList()) const;
    // A tile per unit: PASS or FAIL once it finished, how far it is before.
    QString Board(const StationResults_T& results, const std::vector<UnitProgress_T>& progress, size_t planSteps) const;
};
