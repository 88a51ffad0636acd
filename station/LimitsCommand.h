// sonarstation limits: new limits for a plan's numeric expectations, learned
// from the values of good units in the results database.
#pragma once

#include "AnalyticsCommands.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <optional>
#include <vector>

class CPlan;
class CPlanText;
class CResultsDb;

// One numeric expectation of the plan: its limits before and after.
struct LimitProposal_T
{
    QString step;
    QString key;
    int from = 0;
    std::optional<double> oldMin;
    std::optional<double> oldMax;
    std::optional<double> newMin;
    std::optional<double> newMax;
    long long n = 0;  // golden values
    std::optional<double> median;
    std::optional<double> mad;
    bool decimal = false;  // the key takes decimals
    bool outside = false;  // the golden values lie outside the plan's limits: these are kept
    long long lost = 0;    // first-attempt passes the new limits would have failed
};

class CLimitsCommand
{
public:
    CLimitsCommand(FILE* out, FILE* messages) : m_Out(out), m_Messages(messages) {}

    // ARGUMENTS are those after "limits"; returns the exit status.
    int Run(const QStringList& arguments) const;
    static const char* Usage();

    // The median and the median absolute deviation of VALUES (reordered); none when empty.
    static void MedianMad(std::vector<double>& values, std::optional<double>& median, std::optional<double>& mad);
    // median +- K x 1.4826 x MAD, rounded outward to what the key's range takes
    // (whole numbers, or 3 decimals), then clipped to the old limits. A MAD
    // below one step of those (1 or 0.001) counts as one step.
    static void Propose(std::vector<double>& values, double k, bool decimal, LimitProposal_T& proposal);
    // A limit and a range as a plan writes them.
    static QString Limit(double value, bool decimal);
    static QString Range(std::optional<double> min, std::optional<double> max, bool decimal);

private:
    struct Options_T : CAnalyticsCommands::CommonOptions_T
    {
        QString planFile;
        QString out;
        QStringList golden;
        double k = 6;
    };

    static bool Parse(const QStringList& arguments, Options_T& options, QString& error);
    static bool Golden(CResultsDb& db, const Options_T& options, const LimitProposal_T& proposal,
                       std::vector<double>& values, QString& error);
    static bool Lost(CResultsDb& db, const AnalyticsFilter_T& filter, const std::vector<LimitProposal_T>& proposals,
                     long long& lost, QString& error);
    static bool FirstAttempts(CResultsDb& db, const AnalyticsFilter_T& filter, long long& units, long long& passed,
                              QString& error);
    // Proposes for every numeric expectation of PLAN and puts the changed ranges into TEXT.
    static bool ProposeAll(CResultsDb& db, const Options_T& options, const CPlan& plan, CPlanText& text,
                           std::vector<LimitProposal_T>& proposals, QString& error);
    static QString Table(const Options_T& options, const std::vector<LimitProposal_T>& proposals, long long units,
                         long long passed, long long lost);
    static QByteArray Json(const Options_T& options, const std::vector<LimitProposal_T>& proposals, long long units,
                           long long passed, long long lost);
    int Refuse(const QString& message) const;
    int Fail(const QString& message) const;

    FILE* m_Out;
    FILE* m_Messages;
};
