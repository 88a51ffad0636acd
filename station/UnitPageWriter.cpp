#include "UnitPageWriter.h"

#include "DashboardUnitPage.h"

CUnitPageWriter::CUnitPageWriter(const CReportFolder::Put_T& put) : m_Put(put), m_Thread([this] { Work(); }) {}

CUnitPageWriter::~CUnitPageWriter()
{
    QString ignored;
    Finish(ignored);
}

bool CUnitPageWriter::Add(const DashboardUnit_T& unit, QString& error)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_Units.size() < c_Queue || !m_Failure.isEmpty(); });
    if (!m_Failure.isEmpty())
    {
        error = m_Failure;
        return false;
    }
    m_Units.push_back(unit);
    m_Changed.notify_all();
    return true;
}

bool CUnitPageWriter::Finish(QString& error)
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Closed = true;
    }
    m_Changed.notify_all();
    if (m_Thread.joinable())
        m_Thread.join();
    if (m_Failure.isEmpty())
        return true;
    error = m_Failure;
    return false;
}

void CUnitPageWriter::Work()
{
    const CDashboardUnitPage page;
    for (;;)
    {
        DashboardUnit_T unit;
        {
            std::unique_lock<std::mutex> lock(m_Mutex);
            m_Changed.wait(lock, [this] { return !m_Units.empty() || m_Closed; });
            if (m_Units.empty())
                return;
            unit = std::move(m_Units.front());
            m_Units.pop_front();
        }
        m_Changed.notify_all();
        QString error;
        if (!m_Put(CDashboardUnitPage::PageName(unit.serial), page.Render(unit).toUtf8(), error))
        {
            std::lock_guard<std::mutex> lock(m_Mutex);
            m_Failure = error;
            m_Units.clear();
            m_Changed.notify_all();
            return;
        }
    }
}
