// A thread of its own for database connections, which belong to the thread
// that opened them: any thread hands it work and waits for the work to end.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

class CDbThread
{
public:
    CDbThread();
    ~CDbThread();
    CDbThread(const CDbThread&) = delete;
    CDbThread& operator=(const CDbThread&) = delete;

    void Call(const std::function<void()>& work);

private:
    void Loop();

    std::mutex m_Lock;
    std::condition_variable m_Wake;
    std::deque<std::packaged_task<void()>> m_Work;
    bool m_Stop = false;
    std::thread m_Thread;
};
