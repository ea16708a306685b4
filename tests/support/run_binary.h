#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <string>

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
struct run_result {
    int status = 0;  ///< of a run that a signal ended: 128 and the signal's number
    std::string output;
    std::string errors;
    std::string command;
    std::string folder;  ///< the real path
    std::int64_t peak_bytes = 0;
    double seconds = 0;

    /// The same end: status and both texts.
    bool operator==(const run_result& other) const;
};

/// What a run is compared with.
run_result ended(int status, const std::string& output = {}, const std::string& errors = {});

/// All that a failed check has to show.
std::ostream& operator<<(std::ostream& out, const run_result& result);

/// Runs in the new process, in the folder, before the program does: closes descriptors, sets limits. When it
/// cannot do that here it ends the process with `NOT_POSSIBLE_HERE`.
using preparation = std::function<void()>;
constexpr int NOT_POSSIBLE_HERE = 77;

/// The program, started in a folder. It is killed when it takes longer than a minute and a half.
class started_program {
public:
    /// `arguments` are separated by blanks; '' is an empty one, and "$DIR" stands for the folder.
    started_program(const std::string& folder, const std::string& arguments, const preparation& prepare = {});
    /// Waits for the end. Once for each object.
    run_result wait();

private:
    using captured = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

    std::string _Text(const captured& file) const;

    run_result result_;
    captured output_;
    captured errors_;
    double started_;
    pid_t process_;
};

/// A file that a test needs: a name, which may begin with folders, and what is in it.
struct test_file {
    std::string name;
    std::string content;
};

/// A fresh folder to run the program in.
class run_folder : public temp_dir {
public:
    run_folder() = default;
    run_folder(std::initializer_list<test_file> files);

    /// Starts the program and waits for its end.
    run_result run(const std::string& arguments, const preparation& prepare = {}) const;
    /// What is in a file; "(none)" if it is not there.
    std::string content(const std::string& name) const;
};

}  // namespace testing_support
