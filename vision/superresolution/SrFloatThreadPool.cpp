// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatThreadPool.h"

namespace vorel {
namespace vision {

SrFloatThreadPool::SrFloatThreadPool(int threads) {
    try {
        for (int worker = 1; worker < threads; ++worker)
            workers_.emplace_back([this, worker] { workerLoop_(worker); });
    } catch (...) {
        // No destructor runs after a throw here: the workers already started must end now.
        joinWorkers_();
        throw;
    }
}

SrFloatThreadPool::~SrFloatThreadPool() { joinWorkers_(); }

void SrFloatThreadPool::joinWorkers_() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void SrFloatThreadPool::runTasks_(int count, Call call, void* context) {
    failure_ = nullptr;
    failedIndex_ = count;
    if (workers_.empty() || count <= 1) {
        call_ = call;
        context_ = context;
        count_ = count;
        next_.store(0);
        work_(0);
    } else {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            call_ = call;
            context_ = context;
            count_ = count;
            next_.store(0);
            open_ = true;
            ++generation_;
        }
        wake_.notify_all();
        work_(0);
        // A worker that has not woken yet is not waited for: it finds the call closed. One
        // that joined must have left before the task and its context go out of scope.
        std::unique_lock<std::mutex> lock(mutex_);
        open_ = false;
        done_.wait(lock, [this] { return active_ == 0; });
    }
    if (failure_) std::rethrow_exception(failure_);
}

void SrFloatThreadPool::work_(int worker) {
    for (int index = next_.fetch_add(1); index < count_; index = next_.fetch_add(1)) {
        try {
            call_(context_, index, worker);
        } catch (...) {
            std::lock_guard<std::mutex> lock(mutex_);
            if (index < failedIndex_) {
                failedIndex_ = index;
                failure_ = std::current_exception();
            }
        }
    }
}

void SrFloatThreadPool::workerLoop_(int worker) {
    unsigned seen = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [&] { return stop_ || generation_ != seen; });
        if (stop_) return;
        seen = generation_;
        if (!open_) continue;
        ++active_;
        lock.unlock();
        work_(worker);
        lock.lock();
        if (--active_ == 0) done_.notify_one();
    }
}

}  // namespace vision
}  // namespace vorel
