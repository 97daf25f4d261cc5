// SPDX-License-Identifier: Proprietary
#pragma once

#include <iostream>
#include <sstream>
#include <string>

/// Keeps the engines' timing lines out of the test log; restores std::cout when done.
class CoutCapture {
public:
    CoutCapture() : previous(std::cout.rdbuf(captured.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(previous); }
    std::string text() const { return captured.str(); }

private:
    std::ostringstream captured;
    std::streambuf* previous;
};
