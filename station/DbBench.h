// Not in the usage: stores synthetic runs through the results store as a
// station would, and tells the time and the database size they took.
#pragma once

#include "StationResults.h"

#include <QStringList>

class CDbTarget;
class CReportParser;
struct PlanStep_T;

class CDbBench
{
public:
    // ARGUMENTS: --db DB [--runs N] [--steps N] [--samples N], or with
    // --lot a production history for the analytics (CDbBenchLot).
    static int Run(const QStringList& arguments);
    // A step of PLANSTEP whose unit printed BLOCK, judged as the station judges it.
    static StepResult_T Step(const PlanStep_T& planStep, const QByteArray& block, double seconds,
                             const CReportParser& parser);

private:
    // A unit's steps, each with a block of SAMPLES echo samples that differ with SEED.
    static UnitResult_T Unit(int steps, int samples, unsigned seed);
    static int Lot(const CDbTarget& target, const QStringList& arguments);
    static bool Size(const CDbTarget& target, qint64& bytes, QString& error);
};
