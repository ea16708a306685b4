#include "console.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "orlo/files/sys_file.h"

namespace tallycsv {

void prepare_process() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(standard, F_GETFD) != -1) continue;
        // read-only even for the outputs: a write to them is to fail, as it does on a closed descriptor
        [[maybe_unused]] const int taken = open("/dev/null", O_RDONLY);
    }
}

void print_text(const Orlo::stringEx& text) {
    Orlo::CSysFile console;
    console.Open(Orlo::console::output);
    std::size_t written = 0;
    while (written < text.size())
        written += console.Write(text.data() + written, text.size() - written);
}

}  // namespace tallycsv
