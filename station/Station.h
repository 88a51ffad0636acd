// Runs a plan on many units at once: each unit runs its steps in plan order,
// one at a time; up to N units run at the same time.
#pragma once

#include "Plan.h"
#include "RunRecorder.h"
#include "SshControl.h"
#include "StationListener.h"
#include "StationResults.h"
#include "StepRunner.h"
#include "UnitTarget.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

class CStation
{
public:
    // RECORDER (may be null) hears of every run and step as it happens.
    CStation(const CPlan& plan, const std::vector<CUnitTarget>& units, int jobs, FILE* progress,
             CRunRecorder* recorder = nullptr);
    // LISTENER hears of the run as it goes, from the start on; the caller keeps it.
    void AddListener(CStationListener* listener) { m_Listeners.push_back(listener); }
    StationResults_T Run(const QString& planName);

private:
    void RunUnit(size_t slot, UnitResult_T& result);
    // Reads the unit's identity; false, with every step recorded as not run,
    // when an ssh unit cannot be reached.
    bool Reach(const CUnitTarget& unit, UnitIdentity_T& identity, UnitResult_T& result);
    // The steps of a reached unit; false when the unit was lost or stopped before the plan's end.
    bool RunSteps(size_t slot, const CUnitTarget& unit, const RunRecord_T& run, UnitResult_T& result);
    // Runs STEP until one try meets it or its retries are spent; WHOLE turns
    // false, and LOST true, when the unit is lost or stopped.
    StepResult_T RunTries(const CUnitTarget& unit, const RunRecord_T& run, const PlanStep_T& step, int index,
                          UnitResult_T& result, bool& whole, bool& lost);
    // Every step of the plan as not run.
    void NotRun(UnitResult_T& result) const;
    static StepResult_T NotRun(const PlanStep_T& step);
    void Store(const CUnitTarget& unit, const RunRecord_T& run, int index, const StepResult_T& step);
    void Record(const QString& unit, bool written, const QString& error);
    StepResult_T RunStep(const CUnitTarget& unit, const PlanStep_T& step) const;
    // DONE: how many of the unit's steps have finished.
    void Report(size_t slot, const StepResult_T& step, size_t done);
    // Every listener in turn, one event at a time.
    template <typename Event>
    void Tell(Event event);
    // After a step: whether its ssh unit went away during it (the step is then not met).
    bool Lost(const CUnitTarget& unit, StepResult_T& step, UnitResult_T& result) const;
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
    std::unique_ptr<CStationListener> m_Console;  // on m_Progress
    std::vector<CStationListener*> m_Listeners;
    CStepRunner m_Runner;
    CSshControl m_Control{m_Units};
};
