#pragma once

#include <cxxabi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include "orlo/strings/exceptions.h"

namespace testing_support {

inline std::string class_name(const std::type_info& type) {
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), std::free);
    return text ? text.get() : type.name();
}

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
               << "thrown was " << class_name(typeid(failure)) << " " << failure.code() << "\n"
               << failure.message() << "\ninstead of " << class_name(typeid(Exp)) << " " << code << "\n"
               << text;
    } catch (const std::exception& failure) {
        return testing::AssertionFailure()
               << "thrown was " << class_name(typeid(failure)) << ": " << failure.what();
    }
    return testing::AssertionFailure() << "nothing was thrown instead of\n" << text;
}

}  // namespace testing_support

/// Checks class, code and whole text of the failure that a statement raises:
///     EXPECT_FAILURE(dir.Open(""), dirExp, 2, "CDir::Open - nothing to open");
#define EXPECT_FAILURE(statement, exception, code, text) \
    EXPECT_TRUE((::testing_support::fails_with<exception>([&] { statement; }, code, text)))
