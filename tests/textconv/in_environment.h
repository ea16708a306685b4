#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "orlo/strings/environment.h"
#include "support/child.h"

namespace testing_support {

using variables = std::vector<std::pair<std::string, std::string>>;

/// Runs checks in a process of its own in which, of the variables that say something about text, only these
/// are set: what the library reads once it reads there anew. To be called before this process has read them.
template <class Checks>
void in_environment(const variables& set, Checks checks) {
    child process([&] {
        for (const char* const name : {"LC_CTYPE", "LANG", "LC_ALL", "ORLO_DEFAULT_MBCS",
                                       "ORLO_TEXTCONV_IGNORE_LIST", "ORLO_LIBICU_VER"})
            Orlo::UnsetEnv(name);
        std::string told;
        for (const auto& [name, value] : set) {
            Orlo::SetEnv(name, value);
            told += name + "=" + value.substr(0, 100) + " ";
        }
        SCOPED_TRACE(told);
        checks();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(process.wait(), 0);
}

}  // namespace testing_support
