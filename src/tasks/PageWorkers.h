#pragma once

#include "Job.h"
#include "PDFError.h"

#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <variant>
#include <vector>

// Page work spread over all cores. Each worker thread makes its own context
// (its own poppler document), takes the next page in order and works on it;
// the calling thread receives the results in page order, so progress counts
// finished pages in order and output can be written as a stream. Workers
// never run more than a few pages ahead of the caller, so memory stays flat
// however long the document is. Cancellation is checked by the caller while
// it waits and stops every worker before its next page.
namespace PageWorkers {

inline int defaultCount()
{
    return std::max(1, QThread::idealThreadCount());
}

// `makeWorker()` runs on each worker thread and returns its page function
// (position in `count` → Result). `take(position, result)` runs on the
// calling thread, in order. An exception from a page function reaches the
// caller when its page's turn comes; PDFError::cancelled() when cancelled.
template <typename Result>
void run(int count, int workers,
         const std::function<std::function<Result(int)>()> &makeWorker,
         const std::function<void(int, Result &&)> &take, const IsCancelled &isCancelled)
{
    if (count <= 0)
        return;
    workers = std::clamp(workers, 1, count);
    const int window = workers * 3;

    using Slot = std::variant<std::monostate, Result, std::exception_ptr>;
    std::vector<Slot> slots(static_cast<size_t>(count));
    std::mutex lock;
    std::condition_variable changed;
    int next = 0;     // the next page to hand out
    int taken = 0;    // pages the caller has received
    bool stop = false;

    auto workerLoop = [&] {
        std::function<Result(int)> work;
        std::exception_ptr setupFailure;
        try {
            work = makeWorker();
        } catch (...) {
            setupFailure = std::current_exception();
        }
        for (;;) {
            int position = 0;
            {
                std::unique_lock guard(lock);
                changed.wait(guard, [&] { return stop || next >= count || next < taken + window; });
                if (stop || next >= count)
                    return;
                position = next++;
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
                std::lock_guard guard(lock);
                slots[static_cast<size_t>(position)] = std::move(done);
            }
            changed.notify_all();
        }
    };

    std::vector<std::thread> threads;
    auto finish = [&] {
        {
            std::lock_guard guard(lock);
            stop = true;
        }
        changed.notify_all();
        for (auto &thread : threads)
            if (thread.joinable())
                thread.join();
        threads.clear();
    };
    struct Joiner {
        std::function<void()> finish;
        ~Joiner() { finish(); }
    } joiner{finish};

    threads.reserve(static_cast<size_t>(workers));
    for (int i = 0; i < workers; ++i)
        threads.emplace_back(workerLoop);

    for (int position = 0; position < count; ++position) {
        Slot slot;
        {
            std::unique_lock guard(lock);
            for (;;) {
                if (isCancelled()) {
                    guard.unlock();
                    finish();
                    throw PDFError::cancelled();
                }
                if (!std::holds_alternative<std::monostate>(slots[static_cast<size_t>(position)]))
                    break;
                changed.wait_for(guard, std::chrono::milliseconds(20));
            }
            slot = std::move(slots[static_cast<size_t>(position)]);
            slots[static_cast<size_t>(position)] = std::monostate{};
            taken = position + 1;
        }
        changed.notify_all();
        if (auto *failure = std::get_if<std::exception_ptr>(&slot)) {
            finish();
            std::rethrow_exception(*failure);
        }
        take(position, std::move(std::get<Result>(slot)));
    }
}

} // namespace PageWorkers
