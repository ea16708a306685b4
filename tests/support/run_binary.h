#pragma once

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <utility>

#include "support/temp_dir.h"

namespace testing_support {

/// The program has been built with a sanitizer, which takes memory and descriptors of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool WITH_SANITIZER = true;
#elif defined(__has_feature)
constexpr bool WITH_SANITIZER = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool WITH_SANITIZER = false;
#endif

/// How a run of the program ended. Where a text has the folder's path, "$DIR" stands for it here.
struct ended {
    explicit ended(int with, std::string out = {}, std::string err = {})
        : status(with), output(std::move(out)), errors(std::move(err)) {}
    bool operator==(const ended&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const ended& run) {
        return out << "status " << run.status << "\n--- standard output\n"
                   << run.output << "\n--- standard error\n"
                   << run.errors << "\n---\n";
    }

    int status;  ///< minus the signal if one ended it
    std::string output, errors;
};

/// The program under test.
std::filesystem::path tallycsv_path();

/// A fresh folder to run the program in.
struct run_folder : temp_dir {
    using temp_dir::temp_dir;
    using action = std::function<void()>;

    /// Runs the program to its end; it is killed when it takes longer than a minute. The `arguments` are
    /// separated by blanks; '' is an empty one, and "$DIR" stands for the folder. `prepare` is called in the
    /// new process, in the folder, before the program is; `meanwhile` in this one, as the program runs.
    ended run(const std::string& arguments, const action& prepare = {}, const action& meanwhile = {}) const;
};

}  // namespace testing_support
