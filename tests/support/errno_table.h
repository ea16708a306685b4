#pragma once

#include <cerrno>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>

#include "support/expect_throw.h"
#include "support/faults.h"

namespace testing_support {

/// An operation over one system call, and what it says of each error of that call.
struct faulty_operation {
    const char* call;
    std::int32_t code;
    /// The text up to the error's number, and between number and sentence.
    std::string head;
    std::function<void()> run;
    /// A line an error: its name, a blank, the sentence.
    const char* sentences;
    const char* between = "\n  error desc = ";
};

/// Lets the call fail in each way of the table and in one that no table knows; then interrupts it by three
/// signals, behind which it succeeds.
template <class Exp>
void expect_sentences(const faulty_operation& operation) {
    std::istringstream rows(operation.sentences +
                            std::string("\nEXDEV unexpect system error: Invalid cross-device link"));
    for (std::string name, sentence; rows >> name && std::getline(rows >> std::ws, sentence);) {
        int error = 1;
        while (error < 200 && name != (strerrorname_np(error) ? strerrorname_np(error) : ""))
            ++error;
        SCOPED_TRACE(operation.head + name);
        faults::fail_next(operation.call, error);
        EXPECT_FAILURE(operation.run(), Exp, operation.code,
                       operation.head + std::to_string(error) + operation.between + sentence);
        EXPECT_EQ(faults::pending(), 0);
    }
    faults::fail_next(operation.call, EINTR, 3);
    EXPECT_NO_THROW(operation.run()) << operation.head;
    EXPECT_EQ(faults::pending(), 0);
}

}  // namespace testing_support
