#include "support/run_binary.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ostream>
#include <sstream>
#include <vector>

namespace testing_support {
namespace {

constexpr unsigned LONGEST_RUN_SECONDS = 90;
constexpr int NO_PROGRAM = 126;

double now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

std::vector<std::string> words_of(const std::string& command, const std::string& folder) {
    std::vector<std::string> words;
    std::istringstream text(command);
    for (std::string word; text >> word;)
        words.push_back(word == "''" ? "" : replaced(word, "$DIR", folder));
    return words;
}

[[noreturn]] void become_program(std::vector<std::string> words, const run_result& run, std::FILE* output,
                                 std::FILE* errors, const preparation& prepare) {
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const bool ready = chdir(run.folder.c_str()) == 0 && dup2(fileno(output), STDOUT_FILENO) >= 0 &&
                       dup2(fileno(errors), STDERR_FILENO) >= 0;
    // the program finds the three standard descriptors and no other, so that limits mean what they say
    close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC);
    alarm(LONGEST_RUN_SECONDS);
    if (prepare) prepare();
    if (ready) execv(TALLYCSV_BINARY, argv.data());
    _exit(NO_PROGRAM);
}

}  // namespace

bool run_result::operator==(const run_result& other) const {
    return status == other.status && output == other.output && errors == other.errors;
}

run_result ended(int status, const std::string& output, const std::string& errors) {
    return {.status = status, .output = output, .errors = errors, .command = {}, .folder = {}};
}

std::ostream& operator<<(std::ostream& out, const run_result& result) {
    if (!result.command.empty()) out << result.command << "\nin " << result.folder << "\n";
    return out << "status " << result.status << "\n--- standard output\n"
               << result.output << "\n--- standard error\n"
               << result.errors << "\n---\n";
}

started_program::started_program(const std::string& folder, const std::string& arguments,
                                 const preparation& prepare)
    : output_(std::tmpfile(), std::fclose), errors_(std::tmpfile(), std::fclose), started_(now()) {
    result_.folder = folder;
    result_.command = "tallycsv " + arguments;
    process_ = fork();
    if (process_ == 0) {
        become_program(words_of(result_.command, folder), result_, output_.get(), errors_.get(), prepare);
    }
}

run_result started_program::wait() {
    int status = 0;
    rusage usage{};
    EXPECT_EQ(wait4(process_, &status, 0, &usage), process_);
    result_.seconds = now() - started_;
    result_.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    result_.peak_bytes = usage.ru_maxrss * 1024;
    result_.output = _Text(output_);
    result_.errors = _Text(errors_);
    return result_;
}

std::string started_program::_Text(const captured& file) const {
    std::string text;
    std::rewind(file.get());
    for (int c; (c = std::getc(file.get())) != EOF;)
        text += static_cast<char>(c);
    return replaced(text, result_.folder, "$DIR");
}

run_folder::run_folder(std::initializer_list<test_file> files) {
    for (const test_file& file : files)
        write_file(file.name, file.content);
}

run_result run_folder::run(const std::string& arguments, const preparation& prepare) const {
    return started_program(path(), arguments, prepare).wait();
}

std::string run_folder::content(const std::string& name) const {
    return std::filesystem::exists(*this / name) ? read_file(name) : "(none)";
}

}  // namespace testing_support
