#include "orlo/strings/environment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "strings/twins.h"
#include "support/child.h"
#include "support/expect_throw.h"

using namespace Orlo;
using testing_support::child;

namespace {

template <class T>
std::string expanded(std::string_view text, std::uint32_t depth = 0) {
    basic_buffer<T> work = twin<T>(text);
    ExpandEnvRefs(work, depth);
    return untwin(work);
}

}  // namespace

TEST(EnvRefs, Expand) {
    SetEnv("O_H", "/h"), SetEnv("O_NIL", ""), SetEnv("O_NAME", "O_H"), SetEnv("O_EQ", "a=b");
    SetEnv("O_R", "<$O_H ${O_H} $$O_H>");
    const std::pair<const char*, const char*> rows[] = {
        {"$O_H/x", "/h/x"},       {"${O_H}x", "/hx"},           {"$$O_H", "$O_H"},
        {"$${O_H}", "${O_H}"},    {"$$$O_H$$$$", "$/h$$"},      {"$O_H$", "/h$"},
        {"${${O_NAME}}", "/h"},   {"${$O_NAME}", "/h"},         {"${O_EQ}", "a=b"},
        {"$O_R", "</h /h $O_H>"}, {"${O_U${O_H}}", "${O_U/h}"}, {"1${O_H $O_H", "1O_H /h"},
        {"1 2 3${", "1 2 3"},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_TRUE(expanded<char>(text) == expected && expanded<wchar_t>(text) == expected) << text;
    for (const std::string_view same :
         {"", "{} text", "$", "$O_Hx", "$O_U ${O_U}", "$O_NIL ${O_NIL}", "${} ${=} ${O_EQ=a} $-"})
        EXPECT_EQ(expanded<char>(same), same);
    EXPECT_EQ(expanded<char>({"${O_H\0}", 7}), std::string("${O_H\0}", 7));
}

TEST(EnvRefs, SelfReferenceEndsAfter64Levels) {
    SetEnv("ORLO_LOOP", "x$ORLO_LOOP");
    for (const std::uint32_t depth : {0u, 1u, 62u, 63u, 1000u}) {
        const std::string levels(depth < 63 ? 64 - depth : 1, 'x');
        EXPECT_EQ(expanded<char>("$ORLO_LOOP", depth), levels + "$ORLO_LOOP");
        EXPECT_EQ(expanded<wchar_t>("${ORLO_LOOP}", depth), levels + "$ORLO_LOOP");
    }
}

TEST(EnvRefs, GrowthIsBounded) {
    const std::string too_big =
        "ExpandEnvRefs - failed expand environment references\n"
        "  size too big, a variable may refer to itself more than once\n"
        "  variable name = ORLO_TWICE\n"
        "  size limit    = 16777216";
    SetEnv("ORLO_TWICE", "$ORLO_TWICE${ORLO_TWICE}" + std::string(200, 'x'));
    stringEx text("a $ORLO_TWICE");
    EXPECT_FAILURE(ExpandEnvRefs(text), auxExp, aux_code::references_multiply, too_big);
    EXPECT_EQ(untwin(text), "a $ORLO_TWICE");
    EXPECT_FAILURE(expanded<wchar_t>("$ORLO_TWICE"), auxExp, aux_code::references_multiply, too_big);

    // what a text says often, and what one value says once of many others, is no multiplication
    const std::string megabyte(1 << 20, 'x');
    SetEnv("ORLO_TWICE", megabyte);
    std::string often, once, both;
    for (int i = 0; i < 20; ++i) {
        often += "${ORLO_TWICE}";
        once += "$O_PART" + std::to_string(i);
        SetEnv("O_PART" + std::to_string(i), megabyte);
        both += megabyte;
    }
    SetEnv("O_ALL", once);
    EXPECT_TRUE(expanded<char>(often) == both && expanded<char>("$O_ALL") == both);

    // beyond the first, repeated insertions may add up to exactly 16 Mi
    often.resize(17 * 13);
    SetEnv("O_ALL", often);
    EXPECT_EQ(expanded<char>("$O_ALL"), std::string(17 << 20, 'x'));
    SetEnv("O_ALL", often + "${O_H}${ORLO_TWICE}");
    EXPECT_FAILURE(expanded<char>("$O_ALL"), auxExp, aux_code::references_multiply, too_big);
    for (int i = 0; i < 20; ++i)
        UnsetEnv("O_PART" + std::to_string(i));
    UnsetEnv("ORLO_TWICE");
}

/// Each opening has all the rest for its name: a walk that copied or searched it would not end in time.
TEST(EnvRefs, ManyOpeningsAndOneEnd) {
    std::string text;
    for (int i = 0; i < 1000000; ++i)
        text += "${";
    text += "x}";
    EXPECT_TRUE(expanded<char>(text) == text && expanded<wchar_t>(text) == text);
}

TEST(Environment, NamesAndValues) {
    SetEnv("ORLO_VALUE", "one");
    EXPECT_EQ(untwin(GetEnv("ORLO_VALUE")), "one");
    UnsetEnv("ORLO_VALUE");
    EXPECT_TRUE(GetEnv("ORLO_VALUE").empty());
    const std::string_view cut("x\0y", 3);
    for (const std::string_view name : {std::string_view(), std::string_view("A=B"), cut}) {
        EXPECT_FAILURE(SetEnv(name, "x"), auxExp, aux_code::env_argument, "SetEnv - invalid argument");
        EXPECT_FAILURE(UnsetEnv(name), auxExp, aux_code::env_argument, "UnsetEnv - invalid argument");
    }
    EXPECT_FAILURE(SetEnv("A", cut), auxExp, aux_code::env_argument, "SetEnv - invalid argument");
}

TEST(Environment, WideTextPassesThroughTheDefaultEncoding) {
    SetEnv("ORLO_WIDE", "a\xC3\xA9"), SetEnv("ORLO_WIDE_BAD", "ab\xFF");
    SetEnv("ORLO_\xE9", "latin"), SetEnv("ORLO_\xC3\xA9", "utf-8");
    for (const bool utf8 : {true, false}) {
        child process([utf8] {
            SetEnv("ORLO_DEFAULT_MBCS", utf8 ? "UTF-8" : "ISO-8859-1");
            EXPECT_TRUE(GetEnv(L"ORLO_WIDE") == (utf8 ? L"a\u00E9" : L"a\u00C3\u00A9")) << utf8;
            EXPECT_TRUE(GetEnv(L"ORLO_\u00E9") == (utf8 ? L"utf-8" : L"latin")) << utf8;
            EXPECT_TRUE(GetEnv(L"ORLO_WIDE_BAD") == L"ab\u00FF") << utf8;
            EXPECT_TRUE(GetEnv(L"ORLO_\u20AC\x7FFFFFFF").empty());
            return testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(process.wait(), 0);
    }
}

/// Each new variable moves the environment, under the eyes of whoever reads it without the lock.
TEST(Environment, ReadersAndWritersOfSeveralThreads) {
    SetEnv("ORLO_SHARED", "7");
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (std::size_t i = 0; i < 500; ++i) {
            SetEnv("ORLO_SHARED", std::string(i % 50 + 1, '7'));
            SetEnv("ORLO_SHARED_" + std::to_string(i), "more");
        }
        for (int i = 0; i < 500; ++i)
            UnsetEnv("ORLO_SHARED_" + std::to_string(i));
        done = true;
    });
    while (!done) {
        const std::string value = expanded<char>("$ORLO_SHARED");
        EXPECT_EQ(value, std::string(value.size(), '7'));
        std::this_thread::yield();
    }
    writer.join();
}
