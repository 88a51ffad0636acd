#include "LimitsCommand.h"

#include "Analytics.h"
#include "AnalyticsCommands.h"
#include "AnalyticsFormat.h"
#include "HistoryFormat.h"
#include "Plan.h"
#include "PlanText.h"
#include "ResultCommands.h"
#include "ResultsDb.h"
#include "SaveFile.h"
#include "SqlValue.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSqlQuery>

#include <algorithm>
#include <cmath>

namespace
{
// The MAD of a normal distribution times this is its standard deviation.
const double c_MadToSigma = 1.4826;

std::optional<double> Fraction(long long part, long long whole)
{
    if (whole <= 0)
        return std::nullopt;
    return static_cast<double>(part) / static_cast<double>(whole);
}

QString Share(long long part, long long whole)
{
    const std::optional<double> share = Fraction(part, whole);
    return share ? QString::number(100 * *share, 'f', 1) + "%" : QString("-");
}

QString Optional(const std::optional<double>& value)
{
    return value ? QString::number(*value, 'g', 6) : QString("-");
}
}

const char* CLimitsCommand::Usage()
{
    return "usage: sonarstation limits PLAN_FILE --out NEW_PLAN [--golden SERIAL...] [--k K]\n"
           "                           [--db DB] [--plan NAME] [--since TIME] [--until TIME] [--virtual] [--json]\n"
           "limits proposes new limits for every numeric expectation of PLAN_FILE from the\n"
           "values the golden units measured (by default the units that passed their first\n"
           "attempt; --golden names them): median +- K x 1.4826 x MAD (K 6 by default),\n"
           "never wider than the plan's own limits. It writes the plan to NEW_PLAN with only\n"
           "the ranges changed, and prints for each expectation the old and new limits and\n"
           "the first-pass yield the new limits would have given on the stored history.\n"
           "NAME is the plan's name in the database (default: PLAN_FILE's file name).\n"
           "--json prints the same as one JSON object (docs/analytics.md).\n";
}

void CLimitsCommand::MedianMad(std::vector<double>& values, std::optional<double>& median, std::optional<double>& mad)
{
    median.reset();
    mad.reset();
    if (values.empty())
        return;
    const auto middle = [](std::vector<double>& v) {
        const size_t half = v.size() / 2;
        std::nth_element(v.begin(), v.begin() + static_cast<long>(half), v.end());
        const double upper = v[half];
        if (v.size() % 2 == 1)
            return upper;
        return (*std::max_element(v.begin(), v.begin() + static_cast<long>(half)) + upper) / 2;
    };
    median = middle(values);
    for (double& value : values)
        value = std::fabs(value - *median);
    mad = middle(values);
}

QString CLimitsCommand::Range(std::optional<double> min, std::optional<double> max, bool decimal)
{
    if (min && max && *min == *max)
        return Limit(*min, decimal);
    return (min ? Limit(*min, decimal) : QString()) + ".." + (max ? Limit(*max, decimal) : QString());
}

QString CLimitsCommand::Limit(double value, bool decimal)
{
    if (!decimal)
        return QString::number(static_cast<qlonglong>(std::llround(value)));
    QString text = QString::number(value, 'f', 3);
    while (text.endsWith('0'))
        text.chop(1);
    if (text.endsWith('.'))
        text.chop(1);
    return text == "-0" ? QString("0") : text;
}

void CLimitsCommand::Propose(std::vector<double>& values, double k, bool decimal, LimitProposal_T& proposal)
{
    proposal.n = static_cast<long long>(values.size());
    proposal.newMin = proposal.oldMin;
    proposal.newMax = proposal.oldMax;
    MedianMad(values, proposal.median, proposal.mad);
    if (!proposal.median)
        return;
    // More than half the values alike give a MAD of 0: the spread is then below
    // one step of what the range can say, and is taken as that step.
    const double scale = decimal ? 1000 : 1;
    const double spread = k * c_MadToSigma * std::max(*proposal.mad, 1 / scale);
    // Outward, so that every value the formula keeps in stays in once written down.
    double low = std::floor((*proposal.median - spread) * scale) / scale;
    double high = std::ceil((*proposal.median + spread) * scale) / scale;
    if (proposal.oldMin)
        low = std::max(low, *proposal.oldMin);
    if (proposal.oldMax)
        high = std::min(high, *proposal.oldMax);
    proposal.outside = low > high;
    if (proposal.outside)
        return;
    proposal.newMin = low;
    proposal.newMax = high;
}

bool CLimitsCommand::Parse(const QStringList& arguments, Options_T& options, QString& error)
{
    static const QRegularExpression factor("^[0-9]{1,6}(\\.[0-9]{1,6})?$");
    options = Options_T();
    const auto own = [&](const QStringList& words, int& i, QString& message) {
        const QString word = words[i];
        if (word == "--golden")
        {
            const int first = i + 1;
            while (i + 1 < words.size() && !words[i + 1].startsWith("--"))
                options.golden << words[++i];
            if (i < first)
                message = CAnalyticsCommands::Mistake("--golden needs at least one serial number");
            return i >= first;
        }
        if (word == "--k" || word == "--out")
        {
            QString value;
            if (!CAnalyticsCommands::TakeValue(words, i, value, message))
                return false;
            if (word == "--out")
                options.out = value;
            else if (factor.match(value).hasMatch() && value.toDouble() > 0)
                options.k = value.toDouble();
            else
                message = CAnalyticsCommands::NotA(word, value, "a number above 0");
            return message.isEmpty();
        }
        if (word.startsWith("-") || !options.planFile.isEmpty())
            return false;
        options.planFile = word;
        return true;
    };
    if (!CAnalyticsCommands::ParseOptions(arguments, options, own, error))
        return false;
    if (options.help)
        return true;
    if (options.planFile.isEmpty() || options.out.isEmpty())
    {
        error =
            CAnalyticsCommands::Mistake(options.planFile.isEmpty() ? "no plan file given" : "no --out NEW_PLAN given");
        return false;
    }
    if (options.filter.plan.isEmpty())
        options.filter.plan = QFileInfo(options.planFile).fileName();
    return true;
}

bool CLimitsCommand::Golden(CResultsDb& db, const Options_T& options, const LimitProposal_T& proposal,
                            std::vector<double>& values, QString& error)
{
    QVariantList bound{SqlValue::Text(proposal.step), SqlValue::Text(proposal.key), proposal.from};
    QString sql = "SELECT value FROM measurement_values WHERE step = ? AND expectation = ? AND from_index = ? AND " +
                  CAnalytics::Conditions(options.filter, bound);
    if (options.golden.isEmpty())
        sql += " AND attempt = 1 AND result = 'passed'";
    else
    {
        sql += " AND serial IN (?" + QString(", ?").repeated(options.golden.size() - 1) + ")";
        for (const QString& serial : options.golden)
            bound << SqlValue::Text(serial);
    }
    QSqlQuery query(db.Connection());
    if (!db.Exec(query, sql, bound, error))
        return false;
    values.clear();
    while (query.next())
        values.push_back(query.value(0).toDouble());
    return true;
}

bool CLimitsCommand::Lost(CResultsDb& db, const AnalyticsFilter_T& filter,
                          const std::vector<LimitProposal_T>& proposals, long long& lost, QString& error)
{
    // A passed first attempt fails the new limits by one value outside them;
    // they are never wider than the old, so no failed one would pass.
    QVariantList bound;
    QString outside;
    for (const LimitProposal_T& p : proposals)
    {
        QStringList beyond;
        QVariantList limits;
        if (p.newMin && (!p.oldMin || *p.newMin > *p.oldMin))
        {
            beyond << "value < ?";
            limits << *p.newMin;
        }
        if (p.newMax && (!p.oldMax || *p.newMax < *p.oldMax))
        {
            beyond << "value > ?";
            limits << *p.newMax;
        }
        if (beyond.isEmpty())
            continue;
        outside += QString(outside.isEmpty() ? "" : " OR ") + "(step = ? AND expectation = ? AND from_index = ? AND (" +
                   beyond.join(" OR ") + "))";
        bound << SqlValue::Text(p.step) << SqlValue::Text(p.key) << p.from << limits;
    }
    lost = 0;
    if (outside.isEmpty())
        return true;
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT COUNT(DISTINCT run_id) FROM measurement_values WHERE attempt = 1 AND result = 'passed' AND (" +
                     outside + ") AND " + CAnalytics::Conditions(filter, bound),
                 bound, error))
        return false;
    lost = query.next() ? query.value(0).toLongLong() : 0;
    return true;
}

bool CLimitsCommand::FirstAttempts(CResultsDb& db, const AnalyticsFilter_T& filter, long long& units, long long& passed,
                                   QString& error)
{
    QVariantList bound;
    QSqlQuery query(db.Connection());
    if (!db.Exec(query,
                 "SELECT COUNT(*), SUM(CASE WHEN result = 'passed' THEN 1 ELSE 0 END) FROM unit_attempts "
                 "WHERE attempt = 1 AND " +
                     CAnalytics::Conditions(filter, bound),
                 bound, error))
        return false;
    units = query.next() ? query.value(0).toLongLong() : 0;
    passed = units > 0 ? query.value(1).toLongLong() : 0;
    return true;
}

bool CLimitsCommand::ProposeAll(CResultsDb& db, const Options_T& options, const CPlan& plan, CPlanText& text,
                                std::vector<LimitProposal_T>& proposals, QString& error)
{
    for (const PlanStep_T& step : plan.Steps())
        for (const CExpectation& expectation : step.expectations)
        {
            if (expectation.Key() == "verdict")
                continue;
            LimitProposal_T p;
            p.step = step.name;
            p.key = expectation.Key();
            p.from = expectation.From();
            p.oldMin = expectation.Min();
            p.oldMax = expectation.Max();
            // One measurement's values at a time: never the whole history at once.
            std::vector<double> values;
            if (!Golden(db, options, p, values, error))
                return false;
            p.decimal = expectation.Decimal();
            Propose(values, options.k, p.decimal, p);
            if (!Lost(db, options.filter, {p}, p.lost, error))
                return false;
            if (p.newMin != p.oldMin || p.newMax != p.oldMax)
                text.SetRange(p.step, p.key, p.from, Range(p.newMin, p.newMax, p.decimal));
            proposals.push_back(p);
        }
    return true;
}

QString CLimitsCommand::Table(const Options_T& options, const std::vector<LimitProposal_T>& proposals, long long units,
                              long long passed, long long lost)
{
    std::vector<QStringList> rows{{"step", "key", "old", "new", "n", "median", "mad", "fpy old", "fpy new"}};
    for (const LimitProposal_T& p : proposals)
        rows.push_back({CHistoryFormat::Printable(p.step),
                        CHistoryFormat::Printable(CAnalyticsFormat::Label(p.key, p.from)),
                        Range(p.oldMin, p.oldMax, p.decimal),
                        p.outside ? QString("kept: golden values outside") : Range(p.newMin, p.newMax, p.decimal),
                        QString::number(p.n), Optional(p.median), Optional(p.mad), Share(passed, units),
                        Share(passed - p.lost, units)});
    return CAnalyticsFormat::Columns(rows) +
           QString("%1 unit(s) of plan %2 on a first attempt: FPY %3, with all the new limits %4\n")
               .arg(units)
               .arg(CHistoryFormat::Printable(options.filter.plan), Share(passed, units), Share(passed - lost, units)) +
           QString("new plan written to %1\n").arg(CHistoryFormat::Printable(options.out));
}

QByteArray CLimitsCommand::Json(const Options_T& options, const std::vector<LimitProposal_T>& proposals,
                                long long units, long long passed, long long lost)
{
    QJsonArray measurements;
    for (const LimitProposal_T& p : proposals)
        measurements.append(QJsonObject{{"step", p.step},
                                        {"key", p.key},
                                        {"from", p.from},
                                        {"old_lsl", CAnalyticsFormat::Figure(p.oldMin)},
                                        {"old_usl", CAnalyticsFormat::Figure(p.oldMax)},
                                        {"new_lsl", CAnalyticsFormat::Figure(p.newMin)},
                                        {"new_usl", CAnalyticsFormat::Figure(p.newMax)},
                                        {"golden_outside", p.outside},
                                        {"n", p.n},
                                        {"median", CAnalyticsFormat::Figure(p.median)},
                                        {"mad", CAnalyticsFormat::Figure(p.mad)},
                                        {"new_fpy", CAnalyticsFormat::Figure(Fraction(passed - p.lost, units))}});
    const QJsonObject root{{"plan", options.filter.plan},
                           {"new_plan", options.out},
                           {"k", options.k},
                           {"units", units},
                           {"first_attempt_passes", passed},
                           {"fpy", CAnalyticsFormat::Figure(Fraction(passed, units))},
                           {"new_fpy", CAnalyticsFormat::Figure(Fraction(passed - lost, units))},
                           {"measurements", measurements}};
    return QJsonDocument(root).toJson();
}

int CLimitsCommand::Refuse(const QString& message) const
{
    fprintf(m_Messages, "sonarstation: %s\n", CHistoryFormat::Printable(message).toLocal8Bit().constData());
    fflush(m_Messages);
    return 2;
}

int CLimitsCommand::Fail(const QString& message) const
{
    Refuse(message);
    return 1;
}

int CLimitsCommand::Run(const QStringList& arguments) const
{
    Options_T options;
    QString error;
    if (!Parse(arguments, options, error))
        return Refuse(error);
    if (options.help)
        return fputs(Usage(), m_Out) >= 0 && fflush(m_Out) == 0 ? 0 : 1;
    if (QFileInfo(options.out).absoluteFilePath() == QFileInfo(options.planFile).absoluteFilePath())
        return Refuse("--out would overwrite the plan it reads: name another file");
    QFile file(options.planFile);
    if (!file.open(QIODevice::ReadOnly))
        return Refuse(QString("%1: cannot read the plan: %2").arg(options.planFile, file.errorString()));
    const QByteArray text = file.readAll();
    CPlan plan;
    if (!plan.Parse(text, options.planFile, error))
        return Refuse(error);
    CResultsDb db;
    if (!CResultCommands::Open(options.db, db, error))
        return Refuse(error);
    CPlanText planText(text);
    std::vector<LimitProposal_T> proposals;
    long long units = 0;
    long long passed = 0;
    long long lost = 0;
    if (!ProposeAll(db, options, plan, planText, proposals, error) ||
        !FirstAttempts(db, options.filter, units, passed, error) || !Lost(db, options.filter, proposals, lost, error))
        return Fail(error);
    // What is written must read back as a plan; its sent files as from the old one's folder.
    CPlan written;
    if (!written.Parse(planText.Text(), options.planFile, error))
        return Fail("the new plan does not read back: " + error);
    if (!SaveFile(options.out, planText.Text(), error))
        return Fail(error);
    const QByteArray bytes = options.json ? Json(options, proposals, units, passed, lost)
                                          : Table(options, proposals, units, passed, lost).toUtf8();
    if (fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), m_Out) != static_cast<size_t>(bytes.size()) ||
        fflush(m_Out) != 0)
        return Fail("standard output: cannot write");
    return 0;
}
