#include "ConsoleProgress.h"

#include "Console.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
// Back to the line's start and erase it: the line is redrawn, never scrolled.
const char* const c_Redraw = "\r\033[K";

size_t Sum(const std::vector<size_t>& counts)
{
    return std::accumulate(counts.begin(), counts.end(), size_t(0));
}
}

CConsoleProgress::CConsoleProgress(FILE* out) : m_Out(out), m_Terminal(isatty(fileno(out)) == 1)
{
    m_Timer.start();
}

CConsoleProgress::~CConsoleProgress()
{
    StopClock();
}

QString CConsoleProgress::Line(size_t unitsDone, size_t units, size_t stepsDone, size_t steps, size_t failed,
                               qint64 seconds)
{
    QString elapsed = QString("%1:%2").arg((seconds / 60) % 60).arg(seconds % 60, 2, 10, QChar('0'));
    if (seconds >= 3600)
        elapsed = QString("%1:%2").arg(seconds / 3600).arg(elapsed.rightJustified(5, '0'));
    return QString("%1 of %2 units done, %3 of %4 steps, %5 failed, %6")
        .arg(unitsDone)
        .arg(units)
        .arg(stepsDone)
        .arg(steps)
        .arg(failed)
        .arg(elapsed);
}

void CConsoleProgress::Write(const QByteArray& bytes)
{
    // A reader that went away costs the line, never the run.
    fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), m_Out);
    fflush(m_Out);
}

void CConsoleProgress::Draw()
{
    const size_t finished = static_cast<size_t>(std::count(m_Finished.begin(), m_Finished.end(), true));
    QString line = Line(finished, m_Names.size(), Sum(m_Done), m_Names.size() * m_PlanSteps, Sum(m_Failed),
                        m_Timer.elapsed() / 1000);
    // A line wider than the terminal would wrap, and the redraw would then scroll.
    winsize size = {};
    if (ioctl(fileno(m_Out), TIOCGWINSZ, &size) == 0 && size.ws_col > 1)
        line.truncate(size.ws_col - 1);
    Write(c_Redraw + line.toLocal8Bit());
}

void CConsoleProgress::Started(const StationResults_T& results, const QStringList& planSteps)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    m_Names.clear();
    for (const UnitResult_T& unit : results.units)
        m_Names << unit.unit;
    m_PlanSteps = static_cast<size_t>(planSteps.size());
    m_Done.assign(results.units.size(), 0);
    m_Failed.assign(results.units.size(), 0);
    m_Finished.assign(results.units.size(), false);
    m_Timer.restart();
    if (!m_Terminal || m_Ticking)
        return;
    Draw();
    m_Ticking = true;
    m_Clock = std::thread([this]() {
        std::unique_lock<std::mutex> held(m_Lock);
        while (!m_Wake.wait_for(held, std::chrono::seconds(1), [this]() { return !m_Ticking; }))
            Draw();
    });
}

void CConsoleProgress::UnitStarted(size_t, const QByteArray&, const QString&) {}

void CConsoleProgress::StepFinished(size_t slot, const StepResult_T& step, const QString&)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    if (slot >= m_Done.size())
        return;
    ++m_Done[slot];
    m_Failed[slot] += step.met ? 0 : 1;
    if (m_Terminal)
        Draw();
    else
        Write((CConsole::StepLine(m_Names[static_cast<int>(slot)], step) + '\n').toLocal8Bit());
}

void CConsoleProgress::UnitFinished(size_t slot, const UnitResult_T& unit)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    if (slot >= m_Done.size())
        return;
    // The whole unit, steps that never ran included.
    m_Done[slot] = unit.steps.size();
    m_Failed[slot] = static_cast<size_t>(
        std::count_if(unit.steps.begin(), unit.steps.end(), [](const StepResult_T& s) { return !s.met; }));
    m_Finished[slot] = true;
    if (m_Terminal)
        Draw();
}

void CConsoleProgress::StopClock()
{
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Ticking = false;
    }
    m_Wake.notify_all();
    if (m_Clock.joinable())
        m_Clock.join();
}

void CConsoleProgress::Finished(const StationResults_T&)
{
    StopClock();
    std::lock_guard<std::mutex> lock(m_Lock);
    if (!m_Terminal)
        return;
    // The last count stays on screen; what follows starts on a line of its own.
    Draw();
    Write("\n");
}

void CConsoleProgress::Say(const QString& line)
{
    std::lock_guard<std::mutex> lock(m_Lock);
    Write((m_Terminal ? c_Redraw : "") + line.toLocal8Bit() + '\n');
    if (m_Terminal && m_Ticking)
        Draw();
}
