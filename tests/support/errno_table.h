#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <utility>

#include "support/expect_throw.h"
#include "support/faults.h"

namespace testing_support {

/// Lets a call fail with an error and with one that no table knows, and checks what the operation over it
/// says: `text`, then `keys` with the error's number for "#", then the sentence. Interrupts the call at last
/// by three signals, after which the operation succeeds.
template <class Exp>
void expect_sentence(const char* call, std::int32_t code, const std::function<void()>& run,
                     const std::string& text, int error, const char* sentence,
                     const std::string& keys = "\n  error code = #\n  error desc = ") {
    const std::pair<int, const char*> rows[] = {{error, sentence},
                                                {EXDEV, "unexpect system error: Invalid cross-device link"}};
    for (const auto& [number, says] : rows) {
        faults::fail_next(call, number);
        const std::string numbered = std::string(keys).replace(keys.find('#'), 1, std::to_string(number));
        EXPECT_FAILURE(run(), Exp, code, text + numbered + says);
    }
    faults::fail_next(call, EINTR, 3);
    EXPECT_NO_THROW(run()) << text;
    EXPECT_EQ(faults::pending(), 0) << text;
}

}  // namespace testing_support
