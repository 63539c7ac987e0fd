#pragma once

#include "engine/PDFError.h"
#include "engine/Progress.h"

#include <QThread>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <variant>
#include <vector>

// Page work spread over all cores. Each worker thread makes its own context
// (its own poppler document, its own recognition engine), takes the next
// page in order and works on it; the calling thread receives the results in
// page order, so progress counts finished pages in order and output can be
// written as a stream. Workers never run more than a few pages ahead of the
// caller, so memory stays flat however long the document is. Cancellation is
// checked by the caller while it waits and stops every worker before its
// next page.
namespace PageWorkers {

inline int defaultCount()
{
    return std::max(1, QThread::idealThreadCount());
}

// Pages 0…count-1 worked on ahead of the caller, who takes them in order.
// `makeWorker()` runs on each worker thread and returns its page function
// (position → Result). An exception from a page function reaches the caller
// when it takes that page; PDFError::cancelled() when cancelled while
// waiting. The destructor stops and joins the workers.
template <typename Result> class Pipeline {
public:
    Pipeline(int count, int workers, std::function<std::function<Result(int)>()> makeWorker,
             IsCancelled isCancelled)
        : m_count(std::max(count, 0))
        , m_makeWorker(std::move(makeWorker))
        , m_isCancelled(std::move(isCancelled))
        , m_slots(static_cast<size_t>(m_count))
    {
        if (m_count == 0)
            return;
        workers = std::clamp(workers, 1, m_count);
        m_window = workers * 3;
        m_threads.reserve(static_cast<size_t>(workers));
        for (int i = 0; i < workers; ++i)
            m_threads.emplace_back([this] { workerLoop(); });
    }

    ~Pipeline() { finish(); }
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    // Page `position`'s result; positions must be taken in order.
    Result take(int position)
    {
        Slot slot;
        {
            std::unique_lock guard(m_lock);
            for (;;) {
                if (m_isCancelled && m_isCancelled()) {
                    guard.unlock();
                    finish();
                    throw PDFError::cancelled();
                }
                if (!std::holds_alternative<std::monostate>(m_slots[static_cast<size_t>(position)]))
                    break;
                m_changed.wait_for(guard, std::chrono::milliseconds(20));
            }
            slot = std::move(m_slots[static_cast<size_t>(position)]);
            m_slots[static_cast<size_t>(position)] = std::monostate{};
            m_taken = position + 1;
        }
        m_changed.notify_all();
        if (auto *failure = std::get_if<std::exception_ptr>(&slot)) {
            finish();
            std::rethrow_exception(*failure);
        }
        return std::move(std::get<Result>(slot));
    }

    // Stops handing out pages; waits for the workers' current pages.
    void finish()
    {
        {
            std::lock_guard guard(m_lock);
            m_stop = true;
        }
        m_changed.notify_all();
        for (auto &thread : m_threads)
            if (thread.joinable())
                thread.join();
        m_threads.clear();
    }

    // For work that can stop halfway through a page.
    bool stopping()
    {
        std::lock_guard guard(m_lock);
        return m_stop;
    }

private:
    using Slot = std::variant<std::monostate, Result, std::exception_ptr>;

    void workerLoop()
    {
        std::function<Result(int)> work;
        std::exception_ptr setupFailure;
        try {
            work = m_makeWorker();
        } catch (...) {
            setupFailure = std::current_exception();
        }
        for (;;) {
            int position = 0;
            {
                std::unique_lock guard(m_lock);
                m_changed.wait(guard, [&] {
                    return m_stop || m_next >= m_count || m_next < m_taken + m_window;
                });
                if (m_stop || m_next >= m_count)
                    return;
                position = m_next++;
            }
            Slot done;
            if (setupFailure) {
                done = setupFailure;
            } else {
                try {
                    done = work(position);
                } catch (...) {
                    done = std::current_exception();
                }
            }
            {
                std::lock_guard guard(m_lock);
                m_slots[static_cast<size_t>(position)] = std::move(done);
            }
            m_changed.notify_all();
        }
    }

    const int m_count;
    int m_window = 3;
    std::function<std::function<Result(int)>()> m_makeWorker;
    IsCancelled m_isCancelled;
    std::vector<Slot> m_slots;
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_next = 0;  // the next page to hand out
    int m_taken = 0; // pages the caller has received
    bool m_stop = false;
    std::vector<std::thread> m_threads;
};

// Every page through a Pipeline; `take(position, result)` runs on the
// calling thread, in order.
template <typename Result>
void run(int count, int workers, const std::function<std::function<Result(int)>()> &makeWorker,
         const std::function<void(int, Result &&)> &take, const IsCancelled &isCancelled)
{
    Pipeline<Result> pipeline(count, workers, makeWorker, isCancelled);
    for (int position = 0; position < count; ++position)
        take(position, pipeline.take(position));
}

} // namespace PageWorkers
