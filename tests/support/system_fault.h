#pragma once

#include <cstring>
#include <initializer_list>
#include <string>

#include "support/expect_throw.h"
#include "support/faults.h"

namespace testing_support {

/// A system call that fails, and what is told of it; without a sentence the system's own text is told.
struct fault_row {
    const char* call;
    int error;
    std::int32_t code;
    std::string head;
    const char* sentence = nullptr;
};

inline std::string system_text(const std::string& head, int error, const char* sentence = nullptr,
                               const std::string& pad = "") {
    return head + "  error code" + pad + " = " + std::to_string(error) + "\n  error desc" + pad + " = " +
           (sentence ? sentence : std::string("unexpect system error: ") + std::strerror(error));
}

template <class Exp, class Action>
void expect_faults(Action&& action, std::initializer_list<fault_row> rows, const char* pad = "") {
    for (const fault_row& row : rows) {
        SCOPED_TRACE(row.call);
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(action(), Exp, row.code, system_text(row.head, row.error, row.sentence, pad));
    }
}

}  // namespace testing_support
