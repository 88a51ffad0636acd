// Runs a plan on many units at once: each unit runs its steps in plan order,
// one at a time; up to N units run at the same time.
#pragma once

#include "Plan.h"
#include "StationResults.h"
#include "StepRunner.h"
#include "UnitTarget.h"

#include <cstdio>
#include <mutex>

class CStation
{
public:
    CStation(const CPlan& plan, const std::vector<CUnitTarget>& units, int jobs, FILE* progress);
    StationResults_T Run(const QString& planName);

private:
    void RunUnit(const CUnitTarget& unit, UnitResult_T& result);
    // False, with every step recorded as not run, when an ssh unit cannot be reached.
    bool Reach(const CUnitTarget& unit, UnitResult_T& result);
    StepResult_T RunStep(const CUnitTarget& unit, const PlanStep_T& step) const;
    void Report(const QString& unit, const StepResult_T& step);
    void Say(const QString& line);

    // ssh gives up connecting after 10 s; logging in gets the rest.
    static constexpr double c_ProbeSeconds = 30;

    const CPlan& m_Plan;
    const std::vector<CUnitTarget>& m_Units;
    int m_Jobs;
    FILE* m_Progress;
    std::mutex m_ProgressLock;
    CStepRunner m_Runner;
};
