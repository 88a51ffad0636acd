// A synthetic production history for timing the analytics: serials tested on
// a series of plans, failed attempts tested again, five echo measurements a
// run that scatter and drift like a real lot's, start times spread over
// weeks, three stations, two products and a few virtual units. Many runs go
// in one transaction, through the station's own row writers.
#pragma once

#include "DbTarget.h"

#include <QString>

struct LotCounts_T
{
    int runs = 200000;
    int serials = 20000;
    int days = 28;
    int batch = 1000;  // runs a transaction
};

struct LotSummary_T
{
    int runs = 0;
    int serials = 0;  // those with at least one run
    int plans = 0;
    int failed = 0;
    int virtualRuns = 0;
};

class CDbBenchLot
{
public:
    static bool Store(const CDbTarget& target, const LotCounts_T& counts, LotSummary_T& summary, QString& error);
};
