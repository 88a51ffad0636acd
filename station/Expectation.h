// One "expect KEY VALUE" of a plan step, and how a step's result is judged by it.
#pragma once

#include "StepReport.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

struct ExpectationResult_T
{
    QString key;
    QString expected;
    int from = 0;       // the sample expectations look at the block from this index on
    QString detail;     // the key's own window or level: "from 0 to 96", "below 40"; not kept in the database
    QVariant measured;  // invalid when nothing was measured
    bool met = false;
    QString Label() const
    {
        if (!detail.isEmpty())
            return key + " " + detail;
        return from > 0 ? QString("%1 from %2").arg(key).arg(from) : key;
    }
};

class CExpectation
{
public:
    // WORDS are those after "expect": KEY VALUE [from INDEX], noise RANGE from A to B
    // or ringdown RANGE below LEVEL. False with a message when they are not understood.
    // FROM leaves the samples before that index out, e.g. a transmit bang.
    static bool Parse(const QStringList& words, CExpectation& expectation, QString& error);
    // What a step without its own verdict expectation must end with.
    static CExpectation DefaultVerdict();

    const QString& Key() const { return m_Key; }
    int From() const { return m_From; }
    // A range key's limits; empty on an open side.
    std::optional<double> Min() const { return m_Min; }
    std::optional<double> Max() const { return m_Max; }
    // Whether its range takes decimals, not only whole numbers.
    bool Decimal() const { return m_Key == "reading" || m_Key == "mean" || m_Key == "noise"; }
    // The range as a plan writes it: "5", "5..20", "5..", "..20".
    static QString RangeText(std::optional<double> min, std::optional<double> max);
    // verdict is the step's outcome: the report's verdict, or timeout.
    ExpectationResult_T Evaluate(const StepReport_T& report, const QString& verdict) const;

private:
    bool ParseRange(const QString& value, QString& error);
    bool ParseWindow(const QStringList& words, QString& error);
    QVariant Measure(const StepReport_T& report) const;
    QVariant MeasureNoise(const std::vector<int>& block) const;
    QVariant MeasureRingdown(const std::vector<int>& block) const;
    QString Expected() const;
    QString Detail() const;

    QString m_Key;
    QStringList m_Verdicts;  // for "verdict": the accepted ones; "any" accepts all that finished
    std::optional<double> m_Min;
    std::optional<double> m_Max;
    int m_From = 0;
    int m_To = 0;     // noise: the window ends before this index
    int m_Level = 0;  // ringdown: the level the ringing falls below
};
