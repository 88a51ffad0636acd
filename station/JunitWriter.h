// The results as JUnit XML, as CI servers read it: a testsuite per unit, a
// testcase per step, a failure per unmet expectation; a step of an unreachable
// unit, or left out after a stop, is skipped.
#pragma once

#include "StationResults.h"

#include <QByteArray>

class QXmlStreamWriter;

class CJunitWriter
{
public:
    QByteArray Document(const StationResults_T& results) const;
    bool Write(const QString& path, const StationResults_T& results, QString& error) const;

    // XML 1.0 cannot carry most control characters, which a unit may print.
    static QString XmlText(const QString& text);

private:
    void Suite(QXmlStreamWriter& xml, const UnitResult_T& unit) const;
    static bool Refused(const UnitResult_T& unit);
    // The step's report; a retried step's every try, each under a line that names it.
    static QString Output(const StepResult_T& step);
};
