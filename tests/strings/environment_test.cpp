#include "orlo/strings/environment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <thread>

#include "strings/twins.h"
#include "support/expect_throw.h"

using namespace Orlo;

namespace {

template <class T>
std::string expanded(std::string_view text, std::uint32_t depth = 0) {
    basic_buffer<T> work = twin<T>(text);
    ExpandEnvRefs(work, depth);
    return untwin(work);
}

}  // namespace

TEST(EnvRefs, Expand) {
    SetEnv("ORLO_HOME", "/h");
    SetEnv("ORLO_EMPTY", "");
    SetEnv("ORLO_REF", "<$ORLO_HOME ${ORLO_HOME} $$ORLO_HOME>");
    SetEnv("ORLO_NAME", "ORLO_HOME");
    SetEnv("ORLO_EQUAL", "a=b");
    UnsetEnv("ORLO_UNSET");
    const struct {
        const char* text;
        const char* expected;
    } rows[] = {
        {"", ""},
        {"plain {} text", "plain {} text"},
        {"$ORLO_HOME/x", "/h/x"},
        {"${ORLO_HOME}x", "/hx"},
        {"$ORLO_HOMEx", "$ORLO_HOMEx"},
        {"$$ORLO_HOME", "$ORLO_HOME"},
        {"$${ORLO_HOME}", "${ORLO_HOME}"},
        {"$$$ORLO_HOME$$$$", "$/h$$"},
        {"$", "$"},
        {"$ORLO_HOME$", "/h$"},
        {"$ORLO_UNSET ${ORLO_UNSET}", "$ORLO_UNSET ${ORLO_UNSET}"},
        {"$ORLO_EMPTY ${ORLO_EMPTY}", "$ORLO_EMPTY ${ORLO_EMPTY}"},
        {"$ORLO_REF", "</h /h $ORLO_HOME>"},
        {"${${ORLO_NAME}}", "/h"},
        {"${$ORLO_NAME}", "/h"},
        {"${ORLO_UNSET${ORLO_HOME}}", "${ORLO_UNSET/h}"},
        {"${} ${=} ${ORLO_EQUAL=a} $-", "${} ${=} ${ORLO_EQUAL=a} $-"},
        {"${ORLO_EQUAL}", "a=b"},
        {"1${ORLO_HOME and $ORLO_HOME", "1ORLO_HOME and /h"},
        {"1${", "1"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(expanded<char>(text), expected) << text;
        EXPECT_EQ(expanded<wchar_t>(text), expected) << text;
    }
    EXPECT_EQ(expanded<char>(std::string("${ORLO_HOME\0}", 13)), std::string("${ORLO_HOME\0}", 13));
}

TEST(EnvRefs, SelfReferenceEndsAfter64Levels) {
    SetEnv("ORLO_LOOP", "x$ORLO_LOOP");
    for (const std::uint32_t depth : {0u, 1u, 62u, 63u, 1000u}) {
        const std::size_t levels = depth < 63 ? 64 - depth : 1;
        EXPECT_EQ(expanded<char>("$ORLO_LOOP", depth), std::string(levels, 'x') + "$ORLO_LOOP");
        EXPECT_EQ(expanded<wchar_t>("${ORLO_LOOP}", depth), std::string(levels, 'x') + "$ORLO_LOOP");
    }
}

TEST(EnvRefs, GrowthIsBounded) {
    const std::string too_big =
        "ExpandEnvRefs - failed expand environment references\n"
        "  size too big, a variable may refer to itself more than once\n"
        "  variable name = ORLO_TWICE\n"
        "  size limit    = 16777216";
    SetEnv("ORLO_TWICE", "$ORLO_TWICE${ORLO_TWICE}");
    stringEx text("a $ORLO_TWICE");
    EXPECT_FAILURE(ExpandEnvRefs(text), auxExp, 1, too_big);
    EXPECT_EQ(untwin(text), "a $ORLO_TWICE");
    EXPECT_FAILURE(expanded<wchar_t>("$ORLO_TWICE"), auxExp, 1, too_big);

    std::string most;
    for (int i = 0; i < 16; ++i)
        most += "${ORLO_TWICE}";
    SetEnv("ORLO_TWICE", std::string(1 << 20, 'x'));
    EXPECT_EQ(expanded<char>(most), std::string(16 << 20, 'x'));
    EXPECT_FAILURE(expanded<char>(most + "$ORLO_TWICE"), auxExp, 1, too_big);
    UnsetEnv("ORLO_TWICE");
}

/// Each opening has all the rest for its name: a walk that copied or searched it would not end in time.
TEST(EnvRefs, ManyOpeningsAndOneEnd) {
    std::string text;
    for (int i = 0; i < 1000000; ++i)
        text += "${";
    text += "x}";
    EXPECT_TRUE(expanded<char>(text) == text);
    EXPECT_TRUE(expanded<wchar_t>(text) == text);
}

TEST(Environment, NamesAndValues) {
    SetEnv("ORLO_VALUE", "one");
    EXPECT_EQ(untwin(GetEnv("ORLO_VALUE")), "one");
    UnsetEnv("ORLO_VALUE");
    EXPECT_TRUE(GetEnv("ORLO_VALUE").empty());
    for (const std::string_view name :
         {std::string_view(), std::string_view("A=B"), std::string_view("A\0B", 3)}) {
        EXPECT_FAILURE(SetEnv(name, "x"), auxExp, 2, "SetEnv - invalid argument");
        EXPECT_FAILURE(UnsetEnv(name), auxExp, 2, "UnsetEnv - invalid argument");
    }
    const std::string_view cut("x\0y", 3);
    EXPECT_FAILURE(SetEnv("A", cut), auxExp, 2, "SetEnv - invalid argument");
}

TEST(Environment, WideTextPassesThroughTheLocaleOrAsBytes) {
    SetEnv("ORLO_WIDE", "a\xC3\xA9");
    SetEnv("ORLO_\xE9", "latin");
    SetEnv("ORLO_\xC3\xA9", "utf-8");
    const struct {
        const char* locale;
        const wchar_t* value;
        const wchar_t* by_name;
    } rows[] = {{"C", L"a\u00C3\u00A9", L"latin"}, {"C.UTF-8", L"a\u00E9", L"utf-8"}};
    for (const auto& [locale, value, by_name] : rows) {
        ASSERT_NE(std::setlocale(LC_CTYPE, locale), nullptr);
        EXPECT_TRUE(GetEnv(L"ORLO_WIDE") == value) << locale;
        EXPECT_TRUE(GetEnv(L"ORLO_\u00E9") == by_name) << locale;
        SetEnv("ORLO_WIDE_BAD", "ab\xFF");
        EXPECT_TRUE(GetEnv(L"ORLO_WIDE_BAD") == L"ab\u00FF") << locale;
        EXPECT_TRUE(GetEnv(L"\x7FFFFFFF").empty());
    }
    std::setlocale(LC_CTYPE, "C");
}

/// Each new variable moves the environment, under the eyes of whoever reads it without the lock.
TEST(Environment, ReadersAndWritersOfSeveralThreads) {
    SetEnv("ORLO_SHARED", "7");
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) {
            SetEnv("ORLO_SHARED", std::string(static_cast<std::size_t>(i % 50) + 1, '7'));
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
