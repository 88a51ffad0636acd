// The station's progress on its console. On a terminal one line is redrawn in
// place (units done, steps done, failures, time elapsed), with a clock that
// ticks every second; anywhere else a line per finished step, for logs.
#pragma once

#include "StationListener.h"

#include <QElapsedTimer>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

class CConsoleProgress : public CStationListener
{
public:
    explicit CConsoleProgress(FILE* out);
    ~CConsoleProgress() override;
    CConsoleProgress(const CConsoleProgress&) = delete;
    CConsoleProgress& operator=(const CConsoleProgress&) = delete;

    void Started(const StationResults_T& results, const QStringList& planSteps) override;
    void UnitStarted(size_t slot, const QByteArray& serial, const QString& step) override;
    void StepFinished(size_t slot, const StepResult_T& step, const QString& next) override;
    void UnitFinished(size_t slot, const UnitResult_T& unit) override;
    void Finished(const StationResults_T& results) override;
    void Say(const QString& line) override;

    // "1 of 3 units done, 12 of 30 steps, 2 failed, 0:42"
    static QString Line(size_t unitsDone, size_t units, size_t stepsDone, size_t steps, size_t failed, qint64 seconds);

private:
    // The line drawn over the one before; the lock is held.
    void Draw();
    void Write(const QByteArray& bytes);
    void StopClock();

    FILE* m_Out;
    bool m_Terminal;
    std::mutex m_Lock;
    std::condition_variable m_Wake;
    std::thread m_Clock;
    bool m_Ticking = false;
    QElapsedTimer m_Timer;
    QStringList m_Names;
    size_t m_PlanSteps = 0;
    std::vector<size_t> m_Done;    // per unit
    std::vector<size_t> m_Failed;  // per unit
    std::vector<bool> m_Finished;  // per unit
};
