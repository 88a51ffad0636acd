#include "Station.h"

#include "Console.h"
#include "ReportParser.h"
#include "UnitFiles.h"

#include <QElapsedTimer>
#include <QSysInfo>

#include <algorithm>
#include <atomic>
#include <thread>

CStation::CStation(const CPlan& plan, const std::vector<CUnitTarget>& units, int jobs, FILE* progress,
                   CRunRecorder* recorder)
    : m_Plan(plan), m_Units(units), m_Jobs(std::max(1, jobs)), m_Progress(progress), m_Recorder(recorder)
{
}

StationResults_T CStation::Run(const QString& planName)
{
    QElapsedTimer timer;
    timer.start();
    StationResults_T results;
    results.plan = planName;
    results.started = QDateTime::currentDateTimeUtc();
    results.host = QSysInfo::machineHostName();
    results.units.resize(m_Units.size());

    std::atomic<size_t> next{0};
    auto worker = [&]() {
        for (size_t i = next++; i < m_Units.size(); i = next++)
            RunUnit(i, results.units[i]);
    };
    std::vector<std::thread> workers;
    const size_t count = std::min(static_cast<size_t>(m_Jobs), m_Units.size());
    for (size_t i = 0; i < count; ++i)
        workers.emplace_back(worker);
    for (std::thread& thread : workers)
        thread.join();

    results.met =
        std::all_of(results.units.begin(), results.units.end(), [](const UnitResult_T& unit) { return unit.met; });
    results.seconds = timer.elapsed() / 1000.0;
    return results;
}

void CStation::RunUnit(size_t slot, UnitResult_T& result)
{
    CUnitTarget unit = m_Units[slot];
    result.unit = unit.Name();
    UnitIdentity_T identity;
    bool reached = Reach(unit, identity, result);
    RunRecord_T run;
    QString error;
    if (m_Recorder)
        Record(unit.Name(), m_Recorder->Begin(unit, static_cast<int>(slot), identity, run, error), error);
    unit.SetAttempt(run.attempt.isValid() ? run.attempt.toInt() : 1);
    if (reached && m_Recorder && !m_Plan.Requirements().empty())
    {
        result.error = m_Recorder->Unmet(run, m_Plan.Requirements());
        reached = result.error.isEmpty();
        if (!reached)
        {
            NotRun(result);
            Say(QString("%1: %2").arg(unit.Name(), result.error));
        }
    }
    bool whole = false;
    if (reached)
        whole = RunSteps(unit, run, result);
    else
        for (size_t i = 0; i < result.steps.size(); ++i)
            Store(unit, run, static_cast<int>(i), result.steps[i]);
    if (m_Recorder)
    {
        const QString outcome = !whole ? "aborted" : result.met ? "passed" : "failed";
        Record(unit.Name(), m_Recorder->Finish(run, outcome, result, error), error);
    }
}

void CStation::NotRun(UnitResult_T& result) const
{
    result.steps.clear();
    for (const PlanStep_T& step : m_Plan.Steps())
    {
        StepResult_T notRun;
        notRun.name = step.name;
        notRun.command = step.command;
        notRun.verdict = c_NotRunVerdict;
        result.steps.push_back(notRun);
    }
    result.met = false;
}

bool CStation::RunSteps(const CUnitTarget& unit, const RunRecord_T& run, UnitResult_T& result)
{
    CUnitFiles files(unit, m_Plan.Files(), m_Runner);
    const bool sent = files.Put(result.error);
    result.met = sent;
    bool whole = true;
    bool stopped = false;  // by the plan's stop-on-fail
    for (const PlanStep_T& step : m_Plan.Steps())
    {
        if (!sent || CStepRunner::StopRequested())
        {
            whole = whole && !sent;
            break;
        }
        const int index = static_cast<int>(result.steps.size());
        if (stopped && !step.always)
        {
            StepResult_T skipped;
            skipped.name = step.name;
            skipped.command = step.command;
            skipped.verdict = c_SkippedVerdict;
            result.steps.push_back(skipped);
            Store(unit, run, index, skipped);
            continue;
        }
        result.steps.push_back(RunTries(unit, run, step, index, whole));
        const StepResult_T& done = result.steps.back();
        result.met = result.met && done.met;
        if (!done.met && m_Plan.StopOnFail() && !stopped)
        {
            stopped = true;
            Say(QString("%1: %2 not met: stop-on-fail skips the remaining steps but the always ones")
                    .arg(unit.Name(), step.name));
        }
    }
    QString left;
    if (!files.Remove(left))
    {
        result.met = false;
        result.error += (result.error.isEmpty() ? "" : "; ") + left;
    }
    if (!result.error.isEmpty())
        Say(QString("%1: %2").arg(unit.Name(), result.error));
    return whole;
}

StepResult_T CStation::RunTries(const CUnitTarget& unit, const RunRecord_T& run, const PlanStep_T& step, int index,
                                bool& whole)
{
    const int attempt = run.attempt.isValid() ? run.attempt.toInt() : 1;
    CUnitTarget tryUnit = unit;
    StepResult_T done;
    std::vector<StepResult_T> earlier;
    for (int tryNumber = 1; tryNumber <= step.retries + 1; ++tryNumber)
    {
        if (tryNumber > 1)
        {
            earlier.push_back(std::move(done));
            // A retry meets fresh noise, as on a real unit: a lot unit draws it as another attempt would.
            tryUnit.SetAttempt(attempt + (tryNumber - 1) * c_TryAttemptShift);
        }
        done = RunStep(tryUnit, step);
        done.tryNumber = tryNumber;
        const QString line = CConsole::StepLine(unit.Name(), done);
        // Outside text is joined on, never passed through arg() before a number.
        Say(step.retries == 0 ? line : line + QString(", try %1 of %2").arg(tryNumber).arg(step.retries + 1));
        // ssh's own failure, after the unit answered before the plan: the unit is lost.
        if (CStepRunner::StopRequested() || (!unit.IsVirtual() && done.exitStatus == 255))
            whole = false;
        Store(unit, run, index, done);
        if (done.met || !whole)
            break;
    }
    done.earlier = std::move(earlier);
    return done;
}

void CStation::Store(const CUnitTarget& unit, const RunRecord_T& run, int index, const StepResult_T& step)
{
    if (!m_Recorder)
        return;
    QString error;
    Record(unit.Name(), m_Recorder->Step(run, index, step, error), error);
}

void CStation::Record(const QString& unit, bool written, const QString& error)
{
    if (!written)
        Say(QString("%1: not stored: %2").arg(unit, error));
}

bool CStation::Reach(const CUnitTarget& unit, UnitIdentity_T& identity, UnitResult_T& result)
{
    // One round trip: the identity read doubles as an ssh unit's login probe.
    const RunResult_T run = m_Runner.Run(unit.ShellCommandLine(CUnitIdentity::Script()), c_ProbeSeconds);
    CUnitIdentity::Parse(run.output, identity);
    // ssh exits with 255 when it could not connect or log in; -1: it never started.
    if (unit.IsVirtual() || CStepRunner::StopRequested() ||
        (run.exitStatus != 255 && run.exitStatus != -1 && !run.timedOut))
        return true;
    const QList<QByteArray> lines = run.errors.trimmed().split('\n');
    result.unreachable = QString::fromLocal8Bit(lines.last()).trimmed();
    if (result.unreachable.isEmpty())
        result.unreachable = run.timedOut ? QString("no answer in %1 s").arg(c_ProbeSeconds) : "ssh could not connect";
    NotRun(result);
    Say(CConsole::UnreachableLine(result));
    return false;
}

StepResult_T CStation::RunStep(const CUnitTarget& unit, const PlanStep_T& step) const
{
    StepResult_T result;
    result.name = step.name;
    result.command = step.command;
    const RunResult_T run = m_Runner.Run(unit.CommandLine(step.command, m_Plan.Files()), step.timeoutSeconds);
    result.text = run.output;
    result.errors = run.errors;
    result.exitStatus = run.exitStatus;
    result.seconds = run.seconds;
    result.report = CReportParser().Parse(run.output);
    result.verdict = run.timedOut ? QString("timeout") : run.stopped ? QString("stopped") : result.report.verdict;
    result.met = true;
    for (const CExpectation& expectation : step.expectations)
    {
        result.expectations.push_back(expectation.Evaluate(result.report, result.verdict));
        result.met = result.met && result.expectations.back().met;
    }
    return result;
}

void CStation::Say(const QString& line)
{
    if (!m_Progress)
        return;
    std::lock_guard<std::mutex> lock(m_ProgressLock);
    // A reader that went away costs the line, never the run.
    fprintf(m_Progress, "%s\n", line.toLocal8Bit().constData());
    fflush(m_Progress);
}
