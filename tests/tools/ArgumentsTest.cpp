// SPDX-License-Identifier: Proprietary
#include "Arguments.h"
#include "ToolError.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

Arguments parse(const std::vector<std::string>& args) {
    return Arguments(args, {"-o", "--size", "--count", "--weight"}, {"--verbose"});
}

TEST(Arguments, SeparatesOptionsFlagsAndPositionals) {
    const Arguments args = parse({"a.png", "-o", "out.tif", "--verbose", "b.png", "--count=7", "--", "-c.png"});
    EXPECT_EQ(args.positionals(), (std::vector<std::string>{"a.png", "b.png", "-c.png"}));
    EXPECT_EQ(args.required("-o"), "out.tif");
    EXPECT_TRUE(args.has("--verbose"));
    EXPECT_EQ(args.integer("--count", 0, 0, 10), 7);
    EXPECT_FALSE(args.has("--size"));
    EXPECT_EQ(args.integer("--weight", 5, 0, 10), 5);
    EXPECT_EQ(args.size("--size"), cv::Size());
    EXPECT_EQ(args.text("--size", "none"), "none");
}

TEST(Arguments, ParsesNumbersAndSizes) {
    const Arguments args = parse({"--weight", "2.5", "--size", "160x120", "--count", "-3"});
    EXPECT_FLOAT_EQ(args.real("--weight", 0.0f, 1.0f), 2.5f);
    EXPECT_EQ(args.size("--size"), cv::Size(160, 120));
    EXPECT_EQ(args.integer("--count", 0, -5, 5), -3);
}

TEST(Arguments, RejectsMalformedInputWithUsageErrors) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
    };
    const Case cases[] = {
        {{"--colour"}, "unknown option '--colour'"},
        {{"-o"}, "option -o needs a value"},
        {{"--verbose=yes"}, "option --verbose takes no value"},
        {{"-o", "a", "-o", "b"}, "option -o given twice"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        try {
            parse(c.args);
            ADD_FAILURE() << "accepted";
        } catch (const ToolError& error) {
            EXPECT_EQ(error.code(), ExitCode::Usage);
            EXPECT_EQ(std::string(error.what()), c.message);
        }
    }
}

TEST(Arguments, RejectsBadValuesWithTheOptionNamed) {
    struct Case {
        std::string option, value, message;
    };
    const Case cases[] = {
        {"--count", "x", "--count expects an integer, got 'x'"},
        {"--count", "4.5", "--count expects an integer, got '4.5'"},
        {"--count", "11", "--count must be between 0 and 10, got 11"},
        {"--weight", "abc", "--weight expects a number, got 'abc'"},
        {"--weight", "nan", "--weight expects a number, got 'nan'"},
        {"--weight", "0.5", "--weight must be at least 1, got 0.5"},
        {"--size", "160", "--size expects WIDTHxHEIGHT, e.g. 160x120, got '160'"},
        {"--size", "0x120", "--size expects WIDTHxHEIGHT, e.g. 160x120, got '0x120'"},
        {"--size", "160x120x", "--size expects WIDTHxHEIGHT, e.g. 160x120, got '160x120x'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.option + " " + c.value);
        const Arguments args = parse({c.option, c.value});
        try {
            if (c.option == "--count") args.integer("--count", 0, 0, 10);
            if (c.option == "--weight") args.real("--weight", 1.0f, 1.0f);
            if (c.option == "--size") args.size("--size");
            ADD_FAILURE() << "accepted";
        } catch (const ToolError& error) {
            EXPECT_EQ(error.code(), ExitCode::Usage);
            EXPECT_EQ(std::string(error.what()), c.message);
        }
    }
}

TEST(Arguments, RequiredOptionMustBePresent) {
    try {
        parse({"a.png"}).required("-o");
        ADD_FAILURE() << "accepted";
    } catch (const ToolError& error) {
        EXPECT_EQ(std::string(error.what()), "option -o is required");
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
