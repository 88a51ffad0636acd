// Runs a plan on many units at once: each unit runs its steps in plan order,
// one at a time; up to N units run at the same time.
#pragma once

#include "Plan.h"
#include "RunRecorder.h"
#include "SshControl.h"
#include "StationResults.h"
#include "StepRunner.h"
#include "UnitTarget.h"

#include <cstdio>
#include <mutex>

class CStation
{
public:
    // RECORDER (may be null) hears of every run and step as it happens.
    CStation(const CPlan& plan, const std::vector<CUnitTarget>& units, int jobs, FILE* progress,
             CRunRecorder* recorder = nullptr);
    StationResults_T Run(const QString& planName);

private:
    void RunUnit(size_t slot, UnitResult_T& result);
    // Reads the unit's identity; false, with every step recorded as not run,
    // when an ssh unit cannot be reached.
    bool Reach(const CUnitTarget& unit, UnitIdentity_T& identity, UnitResult_T& result);
    // The steps of a reached unit; false when the unit was lost or stopped before the plan's end.
    bool RunSteps(const CUnitTarget& unit, const RunRecord_T& run, UnitResult_T& result);
    void Record(const QString& unit, bool written, const QString& error);
    StepResult_T RunStep(const CUnitTarget& unit, const PlanStep_T& step) const;
    // After a step: whether its ssh unit went away during it (the step is then not met).
    bool Lost(const CUnitTarget& unit, StepResult_T& step, UnitResult_T& result) const;
    static StepResult_T NotRun(const PlanStep_T& step);
    void Report(const QString& unit, const StepResult_T& step);
    void Say(const QString& line);

    // ssh gives up connecting after 10 s; logging in gets the rest.
    static constexpr double c_ProbeSeconds = 30;

    const CPlan& m_Plan;
    const std::vector<CUnitTarget>& m_Units;
    int m_Jobs;
    FILE* m_Progress;
    CRunRecorder* m_Recorder;
    std::mutex m_ProgressLock;
    CStepRunner m_Runner;
    CSshControl m_Control{m_Units};
};
