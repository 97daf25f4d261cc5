// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace vorel {
namespace vision {

/// A fixed set of worker threads, started once, that run the independent tasks
/// of one call between them; the calling thread takes part as worker 0.
///
/// run(count, task) calls task(index, worker) once for every index in
/// [0, count) and returns when all calls have finished. Which worker runs which
/// index is left open, so a task must write only what belongs to its index (or
/// to scratch of its worker). The first exception, by index, is rethrown.
///
/// A reconstruction makes a few dozen calls of well under a millisecond each,
/// so workers spin briefly for the next call before they sleep.
class VRLIB_API SrFloatThreadPool {
public:
    /// threads: workers including the caller; 1 starts no thread.
    explicit SrFloatThreadPool(int threads);
    ~SrFloatThreadPool();
    SrFloatThreadPool(const SrFloatThreadPool&) = delete;
    SrFloatThreadPool& operator=(const SrFloatThreadPool&) = delete;

    int getThreadCount() const { return static_cast<int>(workers_.size()) + 1; }

    template <class Task>
    void run(int count, Task&& task) {
        using Callable = std::remove_reference_t<Task>;
        auto call = [](void* context, int index, int worker) { (*static_cast<Callable*>(context))(index, worker); };
        runTasks_(count, call, const_cast<void*>(static_cast<const void*>(&task)));
    }

private:
    using Call = void (*)(void*, int, int);

    void runTasks_(int count, Call call, void* context);
    void work_(int worker);
    void workerLoop_(int worker);
    void joinWorkers_();

    std::vector<std::thread> workers_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::atomic<unsigned> generation_{0};  // one more per call
    std::atomic<int> active_{0};           // workers inside the current call
    std::atomic<bool> stop_{false};
    bool open_ = false;  // workers may still join the current call
    Call call_ = nullptr;
    void* context_ = nullptr;
    int count_ = 0;
    std::atomic<int> next_{0};
    int failedIndex_ = 0;
    std::exception_ptr failure_;
};

}  // namespace vision
}  // namespace vorel
