// What the station tells the results store about each unit's run: who the
// unit is, each step as it finishes, and how the run ended. Any thread may call it.
#pragma once

#include "Plan.h"
#include "ResultsStore.h"
#include "UnitIdentity.h"
#include "UnitTarget.h"

#include <atomic>

class CRunRecorder
{
public:
    CRunRecorder(CResultsStore& store, const QString& operatorName, const QString& planName, const QString& planSha256);

    // The run's record before its first step; RUN gets its id and its attempt
    // (this serial's on this plan; without a database, 1).
    bool Begin(const CUnitTarget& unit, int slot, const UnitIdentity_T& identity, RunRecord_T& run, QString& error);
    // One row per try: the step's try number tells which.
    bool Step(const RunRecord_T& run, int index, const StepResult_T& step, QString& error);
    // Why RUN's unit may not run this plan: a required plan whose latest run on
    // this serial did not pass, or that cannot be looked up; empty when it may.
    QString Unmet(const RunRecord_T& run, const std::vector<PlanRequirement_T>& requirements);
    // RESULT is passed, failed or aborted.
    bool Finish(const RunRecord_T& run, const QString& result, const UnitResult_T& unit, QString& error);
    // Whether any write failed.
    bool Failed() const { return m_Failed; }

private:
    bool Count(bool written);

    CResultsStore& m_Store;
    QString m_Operator;
    QString m_PlanName;
    QString m_PlanSha256;
    std::atomic<bool> m_Failed{false};
};
