#include "Station.h"

#include "ReportParser.h"

#include <QElapsedTimer>
#include <QSysInfo>

#include <algorithm>
#include <atomic>
#include <thread>

CStation::CStation(const CPlan& plan, const std::vector<CUnitTarget>& units, int jobs, FILE* progress)
    : m_Plan(plan), m_Units(units), m_Jobs(std::max(1, jobs)), m_Progress(progress)
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
            RunUnit(m_Units[i], results.units[i]);
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

void CStation::RunUnit(const CUnitTarget& unit, UnitResult_T& result)
{
    result.unit = unit.Name();
    result.met = true;
    for (const PlanStep_T& step : m_Plan.Steps())
    {
        if (CStepRunner::StopRequested())
            break;
        result.steps.push_back(RunStep(unit, step));
        result.met = result.met && result.steps.back().met;
        Report(unit.Name(), result.steps.back());
    }
}

StepResult_T CStation::RunStep(const CUnitTarget& unit, const PlanStep_T& step) const
{
    StepResult_T result;
    result.name = step.name;
    result.command = step.command;
    const RunResult_T run = m_Runner.Run(unit.CommandLine(step.command), step.timeoutSeconds);
    result.text = run.output;
    result.errors = run.errors;
    result.exitStatus = run.exitStatus;
    result.seconds = run.seconds;
    result.report = CReportParser().Parse(run.output);
    result.verdict = run.timedOut ? QString("timeout") : result.report.verdict;
    result.met = true;
    for (const CExpectation& expectation : step.expectations)
    {
        result.expectations.push_back(expectation.Evaluate(result.report, result.verdict));
        result.met = result.met && result.expectations.back().met;
    }
    return result;
}

void CStation::Report(const QString& unit, const StepResult_T& step)
{
    if (!m_Progress)
        return;
    std::lock_guard<std::mutex> lock(m_ProgressLock);
    fprintf(m_Progress, "%s %s: %s, %s (%.2f s)\n", qPrintable(unit), qPrintable(step.name), qPrintable(step.verdict),
            step.met ? "met" : "NOT MET", step.seconds);
    fflush(m_Progress);
}
