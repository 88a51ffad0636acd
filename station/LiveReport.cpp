#include "LiveReport.h"

#include "ReportFolder.h"

CLiveReport::CLiveReport(const QString& dir, const QString& plan, const QDateTime& started, const QString& host)
    : m_Dir(dir)
{
    m_Results.plan = plan;
    m_Results.started = started;
    m_Results.host = host;
}

void CLiveReport::Started(const StationResults_T& results, const QStringList& planSteps)
{
    m_Timer.start();
    m_Results.units = results.units;
    m_Progress.assign(results.units.size(), UnitProgress_T());
    m_Written.assign(results.units.size(), 0);
    m_PlanSteps = planSteps;
    // A new report replaces the earlier one whole as the run starts.
    const QByteArray index = CHtmlReport().LiveIndex(m_Results, m_Progress, m_PlanSteps).toUtf8();
    if (!CReportFolder(m_Dir).Replace({{"index.html", index}}, m_Error))
        m_Error = "--report " + m_Error;
}

void CLiveReport::UnitStarted(size_t slot, const QByteArray& serial, const QString& step)
{
    if (slot >= m_Progress.size())
        return;
    m_Results.units[slot].serial = serial;
    m_Progress[slot].started = true;
    m_Progress[slot].running = step;
    Write(slot);
}

void CLiveReport::StepFinished(size_t slot, const StepResult_T& step, const QString& next)
{
    if (slot >= m_Progress.size())
        return;
    m_Results.units[slot].steps.push_back(step);
    m_Progress[slot].running = next;
    Write(slot);
}

void CLiveReport::UnitFinished(size_t slot, const UnitResult_T& unit)
{
    if (slot >= m_Progress.size())
        return;
    m_Results.units[slot] = unit;
    m_Progress[slot].finished = true;
    m_Progress[slot].running.clear();
    Write(slot);
}

void CLiveReport::Write(size_t slot)
{
    // One failure ends the live report; the final one is still tried at the end.
    if (!m_Error.isEmpty())
        return;
    m_Results.seconds = m_Timer.elapsed() / 1000.0;
    const CHtmlReport html;
    std::vector<std::pair<QString, QByteArray>> files;
    const std::vector<StepResult_T>& steps = m_Results.units[slot].steps;
    for (size_t s = m_Written[slot]; s < steps.size(); ++s)
        files.emplace_back(CHtmlReport::PageName(slot, steps[s]), html.StepPage(m_Results, slot, s).toUtf8());
    m_Written[slot] = steps.size();
    // The index last, so that its links lead to pages that are there.
    files.emplace_back("index.html", html.LiveIndex(m_Results, m_Progress, m_PlanSteps).toUtf8());
    if (!CReportFolder(m_Dir).Update(files, m_Error))
        m_Error = "--report " + m_Error;
}
