#include "Station.h"

#include "Console.h"
#include "ConsoleProgress.h"
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
    if (m_Progress)
    {
        m_Console = std::make_unique<CConsoleProgress>(m_Progress);
        m_Listeners.push_back(m_Console.get());
    }
}

template <typename Event>
void CStation::Tell(Event event)
{
    std::lock_guard<std::mutex> lock(m_ProgressLock);
    for (CStationListener* listener : m_Listeners)
        event(*listener);
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
    for (size_t i = 0; i < m_Units.size(); ++i)
        results.units[i].unit = m_Units[i].Name();
    QStringList planSteps;
    for (const PlanStep_T& step : m_Plan.Steps())
        planSteps << step.name;
    Tell([&](CStationListener& listener) { listener.Started(results, planSteps); });
    if (!m_Control.Problem().isEmpty())
        Say("sonarstation: " + m_Control.Problem());

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
    Tell([&](CStationListener& listener) { listener.Finished(results); });
    return results;
}

void CStation::RunUnit(size_t slot, UnitResult_T& result)
{
    CUnitTarget unit = m_Units[slot];
    m_Control.Share(unit, slot);
    result.unit = unit.Name();
    UnitIdentity_T identity;
    bool reached = Reach(unit, identity, result);
    RunRecord_T run;
    QString error;
    if (m_Recorder)
        Record(unit.Name(), m_Recorder->Begin(unit, static_cast<int>(slot), identity, run, error), error);
    unit.SetAttempt(run.attempt.isValid() ? run.attempt.toInt() : 1);
    result.serial = unit.HasOperatorSerial() ? unit.OperatorSerial() : identity.serial;
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
    {
        const QString first = m_Plan.Steps().empty() ? QString() : m_Plan.Steps().front().name;
        Tell([&](CStationListener& listener) { listener.UnitStarted(slot, result.serial, first); });
        whole = RunSteps(slot, unit, run, result);
    }
    else
        for (size_t i = 0; i < result.steps.size(); ++i)
            Store(unit, run, static_cast<int>(i), result.steps[i]);
    if (m_Recorder)
    {
        const QString outcome = !whole ? "aborted" : result.met ? "passed" : "failed";
        Record(unit.Name(), m_Recorder->Finish(run, outcome, result, error), error);
    }
    result.aborted = reached && !whole;
    m_Control.Close(unit, m_Runner);
    Tell([&](CStationListener& listener) { listener.UnitFinished(slot, result); });
}

void CStation::NotRun(UnitResult_T& result) const
{
    result.steps.clear();
    for (const PlanStep_T& step : m_Plan.Steps())
        result.steps.push_back(NotRun(step));
    result.met = false;
}

bool CStation::RunSteps(size_t slot, const CUnitTarget& unit, const RunRecord_T& run, UnitResult_T& result)
{
    CUnitFiles files(unit, m_Plan.Files(), m_Runner);
    const bool sent = files.Put(result.error);
    result.met = sent;
    bool whole = true;
    bool lost = false;
    bool stopped = false;  // by the plan's stop-on-fail
    for (const PlanStep_T& step : m_Plan.Steps())
    {
        if (!sent || CStepRunner::StopRequested())
        {
            whole = whole && !sent;
            break;
        }
        const int index = static_cast<int>(result.steps.size());
        if (lost || (stopped && !step.always))
        {
            StepResult_T left = NotRun(step);
            if (!lost)
                left.verdict = c_SkippedVerdict;
            result.steps.push_back(left);
            Store(unit, run, index, left);
            continue;
        }
        StepResult_T ran = RunTries(unit, run, step, index, result, whole, lost);
        result.steps.push_back(std::move(ran));
        const StepResult_T& done = result.steps.back();
        result.met = result.met && done.met;
        Report(slot, done, result.steps.size());
        if (!done.met && !lost && m_Plan.StopOnFail() && !stopped)
        {
            stopped = true;
            Say(QString("%1: %2 not met: stop-on-fail skips the remaining steps but the always ones")
                    .arg(unit.Name(), step.name));
        }
    }
    if (lost)
        Say(CConsole::UnreachableLine(result));
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
                                UnitResult_T& result, bool& whole, bool& lost)
{
    const int attempt = run.attempt.isValid() ? run.attempt.toInt() : 1;
    CUnitTarget tryUnit = unit;
    StepResult_T done;
    std::vector<StepResult_T> earlier;
    for (int tryNumber = 1; tryNumber <= step.retries + 1; ++tryNumber)
    {
        if (tryNumber > 1)
        {
            // An unmet try that is tried again: the last one is the step's own line.
            Say(CConsole::StepLine(unit.Name(), done));
            earlier.push_back(std::move(done));
            // A retry meets fresh noise, as on a real unit: a lot unit draws it as another attempt would.
            tryUnit.SetAttempt(attempt + (tryNumber - 1) * c_TryAttemptShift);
        }
        done = RunStep(tryUnit, step);
        done.tryNumber = tryNumber;
        done.triesAllowed = step.retries + 1;
        lost = Lost(unit, done, result);
        if (CStepRunner::StopRequested() || lost)
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

bool CStation::Lost(const CUnitTarget& unit, StepResult_T& step, UnitResult_T& result) const
{
    // ssh exits with 255 on its own failure, and with a command's 255 too:
    // only a connection that is gone means the unit is.
    if (unit.IsVirtual() || step.exitStatus != 255 || step.verdict == "timeout" || CStepRunner::StopRequested() ||
        !m_Control.Lost(unit, m_Runner))
        return false;
    // Its standard error is the unit's command's as much as ssh's: not the reason.
    result.unreachable = QString("connection lost during step %1").arg(step.name);
    step.met = false;
    return true;
}

StepResult_T CStation::NotRun(const PlanStep_T& step)
{
    StepResult_T notRun;
    notRun.name = step.name;
    notRun.command = step.command;
    notRun.verdict = c_NotRunVerdict;
    return notRun;
}

void CStation::Report(size_t slot, const StepResult_T& step, size_t done)
{
    // The next step of the plan starts at once, unless the station is stopping.
    const std::vector<PlanStep_T>& steps = m_Plan.Steps();
    const QString next = done < steps.size() && !CStepRunner::StopRequested() ? steps[done].name : QString();
    Tell([&](CStationListener& listener) { listener.StepFinished(slot, step, next); });
}

void CStation::Say(const QString& line)
{
    Tell([&](CStationListener& listener) { listener.Say(line); });
}
