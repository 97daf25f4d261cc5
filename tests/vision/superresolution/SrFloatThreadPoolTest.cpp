// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatThreadPool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vorel {
namespace vision {
namespace {

TEST(SrFloatThreadPool, RunsEveryIndexOnceAndRethrowsTheFirstFailure) {
    for (int threads : {1, 2, 3}) {
        SCOPED_TRACE(threads);
        SrFloatThreadPool pool(threads);
        EXPECT_EQ(pool.getThreadCount(), threads);
        for (int count : {0, 1, 7, 64}) {
            std::vector<int> calls(count, 0);
            std::vector<int> workers(count, -1);
            pool.run(count, [&](int index, int worker) {
                ++calls[index];
                workers[index] = worker;
            });
            for (int index = 0; index < count; ++index) {
                EXPECT_EQ(calls[index], 1) << index;
                EXPECT_TRUE(workers[index] >= 0 && workers[index] < threads) << index;
            }
        }
        std::vector<int> calls(9, 0);
        std::string thrown;
        try {
            pool.run(9, [&](int index, int) {
                ++calls[index];
                if (index == 3 || index == 6) throw std::to_string(index);
            });
        } catch (const std::string& text) {
            thrown = text;
        }
        EXPECT_EQ(thrown, "3");
        EXPECT_EQ(calls, std::vector<int>(9, 1));  // the other tasks still ran
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
