// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatThreadPool.h"

#include <chrono>

namespace vorel {
namespace vision {

namespace {

// Polls until `done` holds or the time is up; true if it holds. Yielding, so that
// other runnable threads (OpenCV's own workers among them) keep the core.
template <class Condition>
bool spinFor(std::chrono::microseconds limit, Condition done) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (done()) return true;
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
}

constexpr std::chrono::microseconds kSpin{200};

}  // namespace

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
    {
        std::lock_guard<std::mutex> lock(mutex_);
        call_ = call;
        context_ = context;
        count_ = count;
        next_.store(0);
        open_ = !workers_.empty() && count > 1;
        if (open_) generation_.fetch_add(1);
    }
    if (open_) wake_.notify_all();
    work_(0);
    if (!open_) {
        if (failure_) std::rethrow_exception(failure_);
        return;
    }
    // A worker that has not joined yet is not waited for: it finds the call closed.
    // One that joined must have left before the task and its context go out of scope.
    {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = false;
    }
    if (!spinFor(kSpin, [this] { return active_.load() == 0; })) {
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait(lock, [this] { return active_.load() == 0; });
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
    for (;;) {
        spinFor(kSpin, [&] { return stop_.load() || generation_.load() != seen; });
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [&] { return stop_.load() || generation_.load() != seen; });
        if (stop_) return;
        seen = generation_.load();
        if (!open_) continue;
        active_.fetch_add(1);
        lock.unlock();
        work_(worker);
        if (active_.fetch_sub(1) == 1) {
            lock.lock();
            done_.notify_one();
        }
    }
}

}  // namespace vision
}  // namespace vorel
