#include "strings/failure.h"

#include <gtest/gtest.h>

#include <thread>

#include "orlo/strings/destructor_guard.h"
#include "orlo/strings/shared_ptr.h"
#include "strings/system_call.h"

using namespace Orlo;

namespace {

constexpr errno_sentence SENTENCES[] = {{EIO, "the disk is on fire"}};

constexpr failure<dirExp> ALL_KINDS = {{
    .code = 9,
    .head = "Thing::Do - failed\n",
    .keys = {"  path       = ", "  count      = ", "  error code = ", "  error desc = "},
    .sentences = SENTENCES,
}};

template <class Raise>
rootExp caught(Raise&& raise) {
    try {
        raise();
    } catch (const rootExp& failure) {
        return failure;
    }
    return {"nothing was raised", 0};
}

struct fails_at_the_end {
    ~fails_at_the_end() noexcept(false) {
        finish_in_destructor([] { throw dirExp("late"_lit, 1); });
    }
};

}  // namespace

TEST(Failure, LaysOutEachKindOfValue) {
    const rootExp inner = caught([] { ALL_KINDS.raise({"/x"_lit, std::int64_t{-3}, system_error{EIO}}); });
    EXPECT_EQ(inner.code(), 9);
    EXPECT_EQ(inner.error_number(), EIO);
    EXPECT_EQ(inner.message(),
              "Thing::Do - failed\n  path       = /x\n  count      = -3\n"
              "  error code = 5\n  error desc = the disk is on fire");

    constexpr failure<dirExp> outer = {{.code = 2, .head = "Outer\n", .keys = {"  of = "}, .tail = "\n"}};
    const rootExp both = caught([&] { outer.raise({"a", wrapped{inner}}); });
    EXPECT_EQ(both.message(), stringEx("Outer\n  of = a\n@ ").append(inner.message()).append('\n'));
    EXPECT_EQ(both.error_number(), EIO);
    const auto mixed = caught([&] { ALL_KINDS.raise({wrapped{inner}, "a", 1, system_error{ENOENT}}); });
    EXPECT_EQ(mixed.error_number(), ENOENT) << "its own error goes before the inner one";
    EXPECT_EQ(system_error_text(ENOSPC, SENTENCES), "unexpect system error: No space left on device");

    constexpr failure<dirExp> constant = {{.code = 2, .head = "Thing::Do - nothing to do"}};
    const auto plain = caught([&] { constant.raise(); });
    EXPECT_TRUE(plain.message().is_borrowed() && plain.error_number() == 0);
}

// A client that catches a class of the tree gets all that lies below it, and nothing else.
static_assert(std::is_base_of_v<ioExp, pipeExp> && std::is_base_of_v<sysfileExp, pipeExp>);
static_assert(std::is_base_of_v<ioExp, shmemExp> && !std::is_base_of_v<sysfileExp, cfileExp>);
static_assert(std::is_base_of_v<syncExp, rwlExp> && !std::is_base_of_v<syncExp, libicuExp>);
static_assert(std::is_base_of_v<utilExp, csvExp> && !std::is_base_of_v<ioExp, csvExp>);

TEST(SystemCall, RepeatsInterruptionsOnly) {
    int calls = 0;
    EXPECT_EQ(retry_interrupted([&] { return errno = EINTR, ++calls < 4 ? -1 : 7; }), 7);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(retry_interrupted([&] { return errno = EAGAIN, ++calls, -1; }), -1);
    EXPECT_EQ(calls, 5);
}

TEST(DestructorGuard, ThrowsUnlessAnExceptionIsInFlight) {
    const auto alone = [] { const fails_at_the_end object; };
    const auto in_flight = [] {
        const fails_at_the_end object;
        throw dirExp("first"_lit, 1);
    };
    const auto owned = [] { const shared_ptr<fails_at_the_end> owner(new fails_at_the_end); };
    EXPECT_EQ(caught(alone).message(), "late");
    EXPECT_EQ(caught(in_flight).message(), "first");
    EXPECT_EQ(caught(owned).message(), "late");
}

TEST(SharedPtr, LastOwnerDeletes) {
    static int alive = 0;
    struct base {
        base() { ++alive; }
        virtual ~base() { --alive; }
    };
    struct derived : base {};

    shared_ptr<derived> first = shared_ptr<derived>::make();
    shared_ptr<base> second = first, third = std::move(second), &self = third;
    first = {};
    third = self;
    EXPECT_TRUE(alive == 1 && !second);
    std::thread other([copy = third]() mutable { copy.reset(); });
    third.reset();
    other.join();
    EXPECT_EQ(alive, 0);
}
