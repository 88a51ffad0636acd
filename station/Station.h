// Runs a plan on many units at once: each unit runs its steps in plan order,
// one at a time; up to N units run at the same time.
#pragma once

#include "Plan.h"
#include "RunRecorder.h"
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
    // Runs STEP until one try meets it or its retries are spent; WHOLE turns
    // false when the unit is lost or stopped.
    StepResult_T RunTries(const CUnitTarget& unit, const RunRecord_T& run, const PlanStep_T& step, int index,
                          bool& whole);
    // Every step of the plan as not run.
    void NotRun(UnitResult_T& result) const;
    void Store(const CUnitTarget& unit, const RunRecord_T& run, int index, const StepResult_T& step);
    void Record(const QString& unit, bool written, const QString& error);
    StepResult_T RunStep(const CUnitTarget& unit, const PlanStep_T& step) const;
    void Say(const QString& line);

    // ssh gives up connecting after 10 s; logging in gets the rest.
    static constexpr double c_ProbeSeconds = 30;
    // How far apart the attempts a lot unit sees for the tries of one step lie: beyond any lot's retests.
    static constexpr int c_TryAttemptShift = 5000;

    const CPlan& m_Plan;
    const std::vector<CUnitTarget>& m_Units;
    int m_Jobs;
    FILE* m_Progress;
    CRunRecorder* m_Recorder;
    std::mutex m_ProgressLock;
    CStepRunner m_Runner;
};
