#include "strings/failure.h"

#include <gtest/gtest.h>

#include <thread>

#include "orlo/strings/shared_ptr.h"
#include "strings/destructor_guard.h"
#include "strings/system_call.h"

namespace Orlo {
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

TEST(Failure, LaysOutEachKindOfValue) {
    const rootExp inner = caught([] { ALL_KINDS.raise({"/x"_lit, std::int64_t{-3}, system_error{EIO}}); });
    EXPECT_EQ(inner.code(), 9);
    EXPECT_EQ(inner.message(),
              "Thing::Do - failed\n  path       = /x\n  count      = -3\n"
              "  error code = 5\n  error desc = the disk is on fire");

    constexpr failure<dirExp> outer = {{.code = 2, .head = "Outer\n", .keys = {"  of = "}, .tail = "\n"}};
    EXPECT_EQ(caught([&] {
                  outer.raise({"a", wrapped{inner}});
              })
                  .message()
                  .view(),
              "Outer\n  of = a\n@ " + std::string(inner.message().view()) + "\n");
    EXPECT_EQ(system_error_text(ENOSPC, SENTENCES), "unexpect system error: No space left on device");

    constexpr failure<dirExp> constant = {{.code = 2, .head = "Thing::Do - nothing to do"}};
    EXPECT_TRUE(caught([&] { constant.raise(); }).message().is_borrowed());
}

// A client that catches a class of the tree gets all that lies below it, and nothing else.
TEST(Failure, TreeIsCaughtByBranch) {
    const auto caught_as = [](auto raise) {
        try {
            raise();
        } catch (const sysfileExp&) {
            return "sysfile";
        } catch (const ioExp&) {
            return "io";
        } catch (const syncExp&) {
            return "sync";
        } catch (const rootExp&) {
            return "root";
        }
        return "none";
    };
    EXPECT_STREQ(caught_as([] { throw pipeExp(stringEx(), 1); }), "sysfile");
    EXPECT_STREQ(caught_as([] { throw cfileExp(stringEx(), 1); }), "io");
    EXPECT_STREQ(caught_as([] { throw shmemExp(stringEx(), 1); }), "io");
    EXPECT_STREQ(caught_as([] { throw rwlExp(stringEx(), 1); }), "sync");
    EXPECT_STREQ(caught_as([] { throw libicuExp(stringEx(), 1); }), "root");
    EXPECT_STREQ(caught_as([] { throw csvExp(stringEx(), 1); }), "root");
}

TEST(SystemCall, RepeatsInterruptionsOnly) {
    int calls = 0;
    EXPECT_EQ(retry_interrupted([&] { return errno = EINTR, ++calls < 4 ? -1 : 7; }), 7);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(retry_interrupted([&] { return errno = EAGAIN, ++calls, -1; }), -1);
    EXPECT_EQ(calls, 5);
}

struct fails_at_the_end {
    ~fails_at_the_end() noexcept(false) {
        finish_in_destructor([] { throw dirExp("late"_lit, 1); });
    }
};

TEST(DestructorGuard, ThrowsUnlessAnExceptionIsInFlight) {
    EXPECT_EQ(caught([] { const fails_at_the_end object; }).message(), "late");
    EXPECT_EQ(caught([] {
                  const fails_at_the_end object;
                  throw dirExp("first"_lit, 1);
              }).message(),
              "first");
    EXPECT_EQ(caught([] { const shared_ptr<fails_at_the_end> owner(new fails_at_the_end); }).message(),
              "late");
}

TEST(SharedPtr, LastOwnerDeletes) {
    static int alive = 0;
    struct base {
        base() { ++alive; }
        virtual ~base() { --alive; }
    };
    struct derived : base {};

    shared_ptr<derived> first = shared_ptr<derived>::make();
    shared_ptr<base> second = first;
    shared_ptr<base> third = std::move(second);
    first = {};
    EXPECT_EQ(alive, 1);
    shared_ptr<base>& self = third;
    third = self;
    EXPECT_EQ(alive, 1);
    std::thread other([copy = third]() mutable { copy.reset(); });
    third.reset();
    other.join();
    EXPECT_EQ(alive, 0);
    EXPECT_FALSE(second);
}

}  // namespace
}  // namespace Orlo
