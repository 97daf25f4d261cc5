// SPDX-License-Identifier: Proprietary
#pragma once

#include <algorithm>
#include <vector>

namespace vorel {
namespace vision {

/// The window slots of a registration and which of them hold a prepared frame.
/// Slot 0 is the oldest; once the window is full, each new frame evicts it and
/// the others move down one, as the engine's frame list does.
class SrFloatFrameSlots {
public:
    explicit SrFloatFrameSlots(int numFrames) : prepared_(numFrames, 0) {}

    /// Takes the newest slot for one more frame, not yet prepared, and returns it.
    /// `rotate` is called first when the slots move down, so that the caller moves
    /// its per-slot data along.
    template <class Rotate>
    int next(Rotate rotate) {
        if (count_ < static_cast<int>(prepared_.size())) {
            ++count_;
        } else {
            rotate();
            prepared_.erase(prepared_.begin());
            prepared_.push_back(0);
        }
        prepared_[count_ - 1] = 0;
        return count_ - 1;
    }
    void markPrepared(int slot) { prepared_[slot] = 1; }
    /// True when slots 0..n-1 all hold prepared frames and `ref` is one of them.
    bool ready(int n, int ref) const {
        if (n < 1 || n > count_ || ref < 0 || ref >= n) return false;
        for (int k = 0; k < n; ++k)
            if (!prepared_[k]) return false;
        return true;
    }
    /// Back to an empty window.
    void clear() {
        std::fill(prepared_.begin(), prepared_.end(), 0);
        count_ = 0;
    }
    /// Slots taken so far, at most the window.
    int count() const { return count_; }

private:
    std::vector<char> prepared_;
    int count_ = 0;
};

}  // namespace vision
}  // namespace vorel
