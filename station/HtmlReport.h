// The HTML report: index.html with a grid of units x steps coloured by
// outcome, and a page per cell. Self-contained: nothing is fetched.
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
    static QString PageName(size_t unit, const StepResult_T& step);

private:
    static QString Outcome(const StepResult_T& step);
};
