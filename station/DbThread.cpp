#include "DbThread.h"

CDbThread::CDbThread() : m_Thread([this]() { Loop(); }) {}

CDbThread::~CDbThread()
{
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Stop = true;
    }
    m_Wake.notify_one();
    m_Thread.join();
}

void CDbThread::Call(const std::function<void()>& work)
{
    std::packaged_task<void()> task(work);
    std::future<void> done = task.get_future();
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_Work.push_back(std::move(task));
    }
    m_Wake.notify_one();
    done.get();
}

void CDbThread::Loop()
{
    std::unique_lock<std::mutex> lock(m_Lock);
    for (;;)
    {
        m_Wake.wait(lock, [this]() { return m_Stop || !m_Work.empty(); });
        if (m_Work.empty())
            return;
        std::packaged_task<void()> task = std::move(m_Work.front());
        m_Work.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}
