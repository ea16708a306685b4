#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>
#include <typeinfo>

#include "orlo/strings/exceptions.h"

namespace testing_support {

/// Succeeds if `action` throws exactly an `Exp`, no base or child of it, of this code and whole message.
template <class Exp, class Action>
testing::AssertionResult fails_with(Action&& action, std::int32_t code, std::string_view text) {
    try {
        action();
    } catch (const Orlo::rootExp& failure) {
        if (typeid(failure) == typeid(Exp) && failure.code() == code && failure.message().view() == text) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "thrown was " << typeid(failure).name() << " " << failure.code() << "\n"
               << failure.message() << "\ninstead of " << typeid(Exp).name() << " " << code << "\n"
               << text;
    }
    return testing::AssertionFailure() << "nothing was thrown instead of\n" << text;
}

}  // namespace testing_support

/// Checks class, code and whole text of the failure that a statement raises:
///     EXPECT_FAILURE(dir.Open(""), dirExp, 2, "CDir::Open - nothing to open");
#define EXPECT_FAILURE(statement, exception, code, text) \
    EXPECT_TRUE((::testing_support::fails_with<exception>([&] { statement; }, code, text)))
