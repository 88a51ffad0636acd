#include "Expectation.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace
{
const QStringList c_RangeKeys = {"reading", "samples", "peak", "peak-index", "mean", "errors"};

QString Number(double value)
{
    return QString::number(value, 'g', 12);
}
}

bool CExpectation::Parse(const QString& key, const QString& value, int from, CExpectation& expectation, QString& error)
{
    expectation = CExpectation();
    expectation.m_Key = key;
    expectation.m_From = from;
    if (from > 0 && (key == "verdict" || key == "reading" || key == "errors"))
    {
        error = QString("'from' applies to the sample expectations only, not to %1").arg(key);
        return false;
    }
    if (key == "verdict")
    {
        static const QStringList verdicts = {"passed", "failed", "performed", "any"};
        if (!verdicts.contains(value))
        {
            error = QString("verdict must be passed, failed, performed or any, not '%1'").arg(value);
            return false;
        }
        expectation.m_Verdicts = QStringList(value);
        return true;
    }
    if (!c_RangeKeys.contains(key))
    {
        error =
            QString("unknown expectation '%1' (verdict, reading, samples, peak, peak-index, mean or errors)").arg(key);
        return false;
    }
    const bool fraction = key == "reading" || key == "mean";
    if (!ParseRange(value, fraction, expectation.m_Min, expectation.m_Max))
    {
        error = QString("%1 takes MIN..MAX or one %2 number, not '%3'").arg(key, fraction ? "decimal" : "whole", value);
        return false;
    }
    if (expectation.m_Min > expectation.m_Max)
    {
        error = QString("%1 range '%2' is empty: its minimum is above its maximum").arg(key, value);
        return false;
    }
    return true;
}

bool CExpectation::ParseRange(const QString& value, bool fraction, double& min, double& max)
{
    static const QRegularExpression whole("^-?[0-9]{1,15}$");
    static const QRegularExpression decimal("^-?[0-9]{1,15}(\\.[0-9]{1,15})?$");
    const QRegularExpression& number = fraction ? decimal : whole;
    const int dots = value.indexOf("..");
    const QString low = dots < 0 ? value : value.left(dots);
    const QString high = dots < 0 ? value : value.mid(dots + 2);
    if (!number.match(low).hasMatch() || !number.match(high).hasMatch())
        return false;
    min = low.toDouble();
    max = high.toDouble();
    return true;
}

CExpectation CExpectation::DefaultVerdict()
{
    CExpectation expectation;
    expectation.m_Key = "verdict";
    expectation.m_Verdicts = QStringList{"passed", "performed"};
    return expectation;
}

QString CExpectation::Expected() const
{
    if (m_Key == "verdict")
        return m_Verdicts.join(" or ");
    return m_Min == m_Max ? Number(m_Min) : Number(m_Min) + ".." + Number(m_Max);
}

QVariant CExpectation::Measure(const StepReport_T& report) const
{
    if (m_Key == "reading")
        return report.reading ? QVariant(*report.reading) : QVariant();
    // A command may print ERROR lines and still pass: a read fault does.
    if (m_Key == "errors")
        return QVariant(static_cast<qlonglong>(report.errors.size()));
    // The sample expectations look at the step's first sample block.
    if (report.blocks.empty())
        return QVariant();
    const std::vector<int>& block = report.blocks.front().samples;
    const auto begin = block.begin() + std::min<size_t>(static_cast<size_t>(m_From), block.size());
    if (m_Key == "samples")
        return QVariant(static_cast<qlonglong>(block.end() - begin));
    if (begin == block.end())
        return QVariant();
    const auto peak = std::max_element(begin, block.end());
    if (m_Key == "peak")
        return QVariant(*peak);
    if (m_Key == "peak-index")
        return QVariant(static_cast<qlonglong>(peak - block.begin()));
    double sum = 0;
    for (auto sample = begin; sample != block.end(); ++sample)
        sum += *sample;
    return QVariant(sum / static_cast<double>(block.end() - begin));
}

ExpectationResult_T CExpectation::Evaluate(const StepReport_T& report, const QString& verdict) const
{
    ExpectationResult_T result;
    result.key = m_Key;
    result.expected = Expected();
    result.from = m_From;
    if (m_Key == "verdict")
    {
        result.measured = verdict;
        // A step that was stopped did not finish: not even "any" accepts it.
        result.met = m_Verdicts.contains(verdict) ||
                     (m_Verdicts == QStringList{"any"} && verdict != "timeout" && verdict != "stopped");
        return result;
    }
    result.measured = Measure(report);
    if (result.measured.isValid())
    {
        const double value = result.measured.toDouble();
        result.met = value >= m_Min && value <= m_Max;
    }
    return result;
}
