#include "support/run_binary.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <vector>

#include "support/child.h"

namespace testing_support {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

std::string text_of(std::FILE* file) {
    std::string text;
    std::rewind(file);
    for (int c; (c = std::getc(file)) != EOF;)
        text += static_cast<char>(c);
    std::fclose(file);
    return text;
}

}  // namespace

std::filesystem::path tallycsv_path() {
    return TALLYCSV_BINARY;
}

ended run_folder::run(const std::string& arguments, const action& prepare, const action& meanwhile) const {
    std::FILE* const output = std::tmpfile();
    std::FILE* const errors = std::tmpfile();
    std::istringstream text("tallycsv " + arguments);
    std::vector<std::string> words;
    for (std::string word; text >> word;)
        words.push_back(word == "''" ? "" : replaced(word, "$DIR", path()));

    const auto become_program = [&] {
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        const bool ready = chdir(path().c_str()) == 0 && dup2(fileno(output), STDOUT_FILENO) >= 0 &&
                           dup2(fileno(errors), STDERR_FILENO) >= 0;
        // the program finds the three standard descriptors and no other, so that limits mean what they say
        close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC);
        if (prepare) prepare();
        return ready ? execv(TALLYCSV_BINARY, argv.data()) : -1;
    };
    child program(become_program, 60);
    if (meanwhile) meanwhile();
    const int status = program.wait();
    return ended(status, replaced(text_of(output), path(), "$DIR"),
                 replaced(text_of(errors), path(), "$DIR"));
}

}  // namespace testing_support
