// sonarstation limits: new limits for a plan's numeric expectations, learned
// from the values of good units in the results database.
#pragma once

#include "AnalyticsRecords.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <optional>
#include <vector>

class CExpectation;
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
    struct Options_T
    {
        QString plan;
        QString out;
        QString db;
        AnalyticsFilter_T filter;
        QStringList golden;
        double k = 6;
        bool help = false;
    };

    static bool Parse(const QStringList& arguments, Options_T& options, QString& error);
    static bool Golden(CResultsDb& db, const Options_T& options, const LimitProposal_T& proposal,
                       std::vector<double>& values, QString& error);
    static bool Lost(CResultsDb& db, const AnalyticsFilter_T& filter, const std::vector<LimitProposal_T>& proposals,
                     long long& lost, QString& error);
    static bool FirstAttempts(CResultsDb& db, const AnalyticsFilter_T& filter, long long& units, long long& passed,
                              QString& error);
    QString Table(const std::vector<LimitProposal_T>& proposals, long long units, long long passed) const;
    int Refuse(const QString& message) const;
    int Fail(const QString& message) const;

    FILE* m_Out;
    FILE* m_Messages;
};
