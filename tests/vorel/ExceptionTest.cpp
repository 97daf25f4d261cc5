// SPDX-License-Identifier: Proprietary
#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <string>

namespace vorel {
namespace {

struct Thrower {
    template <typename T>
    static void raise(T) {
        throw Exception("boom", VOREL_PLACE);
    }
};

TEST(Exception, CarriesMessageAndPlace) {
    try {
        Thrower::raise(1);
        FAIL() << "no exception";
    } catch (const std::exception& caught) {
        const Exception copy = dynamic_cast<const Exception&>(caught);  // copies keep both texts
        EXPECT_STREQ(copy.what(), "boom");
        const std::string place = copy.place();
        // Relative source path, line, qualified name without return type or parameters.
        EXPECT_EQ(place.rfind("tests/vorel/ExceptionTest.cpp: ", 0), 0u) << place;
        EXPECT_NE(place.find(": vorel::{anonymous}::Thrower::raise(..)"), std::string::npos) << place;
    }
}

TEST(Exception, PlaceTextKeepsTemplateArgumentsAndDropsSignature) {
    EXPECT_EQ(placeText("a/b.cpp", 12, "float ns::Cls<std::pair<int, int> >::fn(float*) [with T = X]"),
              "a/b.cpp: 12: ns::Cls<std::pair<int, int> >::fn(..)");
    EXPECT_EQ(placeText("f.cpp", 1, "void run()"), "f.cpp: 1: run(..)");
}

}  // namespace
}  // namespace vorel
