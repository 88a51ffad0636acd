#include "Expectation.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace
{
const QStringList c_RangeKeys = {"reading", "samples", "peak", "peak-index", "mean", "noise", "ringdown", "errors"};

QString Number(double value)
{
    return QString::number(value, 'g', 12);
}

bool IsIndex(const QString& word)
{
    static const QRegularExpression index("^[0-9]{1,9}$");
    return index.match(word).hasMatch();
}
}

bool CExpectation::Parse(const QStringList& words, CExpectation& expectation, QString& error)
{
    expectation = CExpectation();
    expectation.m_Key = words.value(0);
    const QString& key = expectation.m_Key;
    if (key == "noise" || key == "ringdown")
    {
        if (!expectation.ParseWindow(words, error))
            return false;
    }
    else if (words.size() != 2 && (words.size() != 4 || words[2] != "from" || !IsIndex(words[3])))
    {
        error = "an expectation is: expect KEY VALUE [from INDEX]";
        return false;
    }
    else
        expectation.m_From = words.value(3).toInt();
    if (expectation.m_From > 0 && (key == "verdict" || key == "reading" || key == "errors"))
    {
        error = QString("'from' applies to the sample expectations only, not to %1").arg(key);
        return false;
    }
    if (key == "verdict")
    {
        static const QStringList verdicts = {"passed", "failed", "performed", "any"};
        if (!verdicts.contains(words[1]))
        {
            error = QString("verdict must be passed, failed, performed or any, not '%1'").arg(words[1]);
            return false;
        }
        expectation.m_Verdicts = QStringList(words[1]);
        return true;
    }
    if (!c_RangeKeys.contains(key))
    {
        error = QString("unknown expectation '%1' (verdict, reading, samples, peak, peak-index, mean, noise, "
                        "ringdown or errors)")
                    .arg(key);
        return false;
    }
    return expectation.ParseRange(words[1], error);
}

bool CExpectation::ParseWindow(const QStringList& words, QString& error)
{
    static const QRegularExpression level("^-?[0-9]{1,9}$");
    if (m_Key == "noise")
    {
        if (words.size() != 6 || words[2] != "from" || !IsIndex(words[3]) || words[4] != "to" || !IsIndex(words[5]))
        {
            error = "a noise expectation is: expect noise RANGE from A to B";
            return false;
        }
        m_From = words[3].toInt();
        m_To = words[5].toInt();
        if (m_From >= m_To)
        {
            error = QString("noise window from %1 to %2 holds no sample: A must be below B").arg(m_From).arg(m_To);
            return false;
        }
        return true;
    }
    if (words.size() != 4 || words[2] != "below" || !level.match(words[3]).hasMatch())
    {
        error = "a ringdown expectation is: expect ringdown RANGE below LEVEL (a whole number)";
        return false;
    }
    m_Level = words[3].toInt();
    return true;
}

bool CExpectation::ParseRange(const QString& value, QString& error)
{
    static const QRegularExpression whole("^-?[0-9]{1,15}$");
    static const QRegularExpression decimal("^-?[0-9]{1,15}(\\.[0-9]{1,15})?$");
    const QRegularExpression& number = Decimal() ? decimal : whole;
    if (value == "..")
    {
        error = QString("%1 range '..' sets no limit: write MIN..MAX, MIN.. or ..MAX").arg(m_Key);
        return false;
    }
    const int dots = value.indexOf("..");
    const QString low = dots < 0 ? value : value.left(dots);
    const QString high = dots < 0 ? value : value.mid(dots + 2);
    // One side of a range may be left empty: it has no limit there.
    const bool lowOk = (dots >= 0 && low.isEmpty()) || number.match(low).hasMatch();
    const bool highOk = (dots >= 0 && high.isEmpty()) || number.match(high).hasMatch();
    if (!lowOk || !highOk)
    {
        error = QString("%1 takes MIN..MAX, MIN.., ..MAX or one %2 number, not '%3'")
                    .arg(m_Key, Decimal() ? "decimal" : "whole", value);
        return false;
    }
    if (!low.isEmpty())
        m_Min = low.toDouble();
    if (!high.isEmpty())
        m_Max = high.toDouble();
    if (m_Min && m_Max && *m_Min > *m_Max)
    {
        error = QString("%1 range '%2' is empty: its minimum is above its maximum").arg(m_Key, value);
        return false;
    }
    return true;
}

CExpectation CExpectation::DefaultVerdict()
{
    CExpectation expectation;
    expectation.m_Key = "verdict";
    expectation.m_Verdicts = QStringList{"passed", "performed"};
    return expectation;
}

QString CExpectation::RangeText(std::optional<double> min, std::optional<double> max)
{
    if (min && max && *min == *max)
        return Number(*min);
    return (min ? Number(*min) : QString()) + ".." + (max ? Number(*max) : QString());
}

QString CExpectation::Expected() const
{
    return m_Key == "verdict" ? m_Verdicts.join(" or ") : RangeText(m_Min, m_Max);
}

QString CExpectation::Detail() const
{
    if (m_Key == "noise")
        return QString("from %1 to %2").arg(m_From).arg(m_To);
    if (m_Key == "ringdown")
        return QString("below %1").arg(m_Level);
    return QString();
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
    if (m_Key == "noise")
        return MeasureNoise(block);
    if (m_Key == "ringdown")
        return MeasureRingdown(block);
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

QVariant CExpectation::MeasureNoise(const std::vector<int>& block) const
{
    // A block that ends inside the window gives no noise figure rather than one of fewer samples.
    if (block.size() < static_cast<size_t>(m_To))
        return QVariant();
    double sum = 0;
    for (int i = m_From; i < m_To; ++i)
        sum += static_cast<double>(block[static_cast<size_t>(i)]) * block[static_cast<size_t>(i)];
    return QVariant(std::sqrt(sum / (m_To - m_From)));
}

QVariant CExpectation::MeasureRingdown(const std::vector<int>& block) const
{
    // The largest sample is the transmit bang; the first one of equals when it is flat-topped.
    const auto peak = std::max_element(block.begin(), block.end());
    if (peak == block.end())
        return QVariant();
    const auto below = std::find_if(peak + 1, block.end(), [this](int sample) { return sample < m_Level; });
    if (below == block.end())
        return QVariant();
    return QVariant(static_cast<qlonglong>(below - block.begin()));
}

ExpectationResult_T CExpectation::Evaluate(const StepReport_T& report, const QString& verdict) const
{
    ExpectationResult_T result;
    result.key = m_Key;
    result.expected = Expected();
    result.from = m_From;
    result.detail = Detail();
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
        result.met = (!m_Min || value >= *m_Min) && (!m_Max || value <= *m_Max);
    }
    return result;
}
