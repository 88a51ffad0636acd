// One "expect KEY VALUE" of a plan step, and how a step's result is judged by it.
#pragma once

#include "StepReport.h"

#include <QString>
#include <QVariant>

struct ExpectationResult_T
{
    QString key;
    QString expected;
    int from = 0;       // the sample expectations look at the block from this index on
    QVariant measured;  // invalid when nothing was measured
    bool met = false;
    QString Label() const { return from > 0 ? QString("%1 from %2").arg(key).arg(from) : key; }
};

class CExpectation
{
public:
    // False with a message when KEY or VALUE is not understood. FROM (sample
    // keys only) leaves the samples before that index out, e.g. a transmit bang.
    static bool Parse(const QString& key, const QString& value, int from, CExpectation& expectation, QString& error);
    // What a step without its own verdict expectation must end with.
    static CExpectation DefaultVerdict();

    const QString& Key() const { return m_Key; }
    int From() const { return m_From; }
    // verdict is the step's outcome: the report's verdict, or timeout.
    ExpectationResult_T Evaluate(const StepReport_T& report, const QString& verdict) const;

private:
    static bool ParseRange(const QString& value, bool fraction, double& min, double& max);
    QVariant Measure(const StepReport_T& report) const;
    QString Expected() const;

    QString m_Key;
    QStringList m_Verdicts;  // for "verdict": the accepted ones; "any" accepts all that finished
    double m_Min = 0;
    double m_Max = 0;
    int m_From = 0;
};
