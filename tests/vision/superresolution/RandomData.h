// SPDX-License-Identifier: Proprietary
#pragma once

#include <random>
#include <vector>

namespace vorel {
namespace vision {

// Values in [-1, 1) from a seeded generator.
inline std::vector<float> randomValues(std::mt19937& rng, std::size_t n) {
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v) x = value(rng);
    return v;
}

// A mask that keeps each pixel with probability `keep`.
inline std::vector<char> randomMask(std::mt19937& rng, std::size_t n, double keep = 0.8) {
    std::bernoulli_distribution kept(keep);
    std::vector<char> mask(n);
    for (char& m : mask) m = kept(rng) ? 1 : 0;
    return mask;
}

}  // namespace vision
}  // namespace vorel
