// Renders and writes the dashboard's unit pages on a thread of its own, so
// that the next units are read from the database meanwhile.
#pragma once

#include "DashboardRecords.h"
#include "ReportFolder.h"

#include <QString>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

class CUnitPageWriter
{
public:
    // PUT is called on the writer's thread only, until Finish() returns.
    explicit CUnitPageWriter(const CReportFolder::Put_T& put);
    ~CUnitPageWriter();
    CUnitPageWriter(const CUnitPageWriter&) = delete;
    CUnitPageWriter& operator=(const CUnitPageWriter&) = delete;

    // Waits while the writer is that far behind; false once a page failed.
    bool Add(const DashboardUnit_T& unit, QString& error);
    // Every page added is written, or the first failure is in ERROR.
    bool Finish(QString& error);

private:
    void Work();

    static constexpr size_t c_Queue = 16;
    const CReportFolder::Put_T& m_Put;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::deque<DashboardUnit_T> m_Units;
    bool m_Closed = false;
    QString m_Failure;
    std::thread m_Thread;
};
