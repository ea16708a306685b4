// Duplicating a descriptor. A system that cannot duplicate one closed-on-exec is asked once, and then in two steps.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>

#include "files/sys_file_open.h"
#include "files/sys_file_sentences.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr failure<sysfileExp> dup_failed(const char* head, std::span<const errno_sentence> sentences) {
    return {{.code = sysfile_code::dup,
             .head = head,
             .keys = {"  file path  = ", "  error code = ", "  error desc = "},
             .sentences = sentences}};
}
constexpr errno_sentence DUP_SENTENCES[] = {
    {EBADF, BAD_DESCRIPTOR},
    {EMFILE, "the number of file descriptors in use by this process would exceed"},
};
constexpr auto DUP_FAILED =
    dup_failed("CSysFile::Dup - failed duplicate the file descriptor\n", DUP_SENTENCES);
constexpr auto OPTIONS_FAILED =
    dup_failed("CSysFile::Dup - failed set the fd options\n", DESCRIPTOR_OPTION_SENTENCES);

/// Whether F_DUPFD_CLOEXEC is tried. Only ever cleared.
std::atomic<bool> cloexec_at_dup{true};

}  // namespace

void CSysFile::Dup(const CSysFile& source, bool inheritable) {
    const auto duplicate = [&](bool inherited) {
        return retry_interrupted([&] {
            return inherited ? ::dup(source._Number()) : ::fcntl(source._Number(), F_DUPFD_CLOEXEC, 0);
        });
    };
    const bool in_one_step = !inheritable && cloexec_at_dup.load(std::memory_order_relaxed);
    int number = duplicate(!in_one_step);
    const bool refused = number < 0 && in_one_step && errno == EINVAL;
    if (refused) number = duplicate(true);
    if (number < 0) DUP_FAILED.raise({source.m_path, system_error{errno}});

    open_descriptor copy(number);
    if (!inheritable && (refused || !in_one_step)) {
        if (retry_interrupted([&] { return ::fcntl(copy.get(), F_SETFD, FD_CLOEXEC); }) == -1)
            OPTIONS_FAILED.raise({source.m_path, system_error{errno}});
        cloexec_at_dup.store(false, std::memory_order_relaxed);
    }
    _Adopt(copy.take(), source.m_path);
}

}  // namespace Orlo
