// Whole files at once: their content read and written.

#include <sys/stat.h>

#include <algorithm>

#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> READ_NOTHING{{.code = dir_code::empty, .head = "CDir::ReadFile - read what ?"}};
constexpr failure<dirExp> WRITE_NOTHING{{.code = dir_code::empty, .head = "CDir::WriteFile - write what ?"}};

/// A directory has a size that is none, and must fail as one before that is believed.
void refuse_folder(CSysFile& file) {
    struct stat status;
    char nothing = 0;
    if (::fstat(static_cast<int>(file.GetDescriptor()), &status) == 0 && S_ISDIR(status.st_mode))
        file.Read(&nothing, sizeof nothing);
}

}  // namespace

template <class T>
void CDir::ReadFile(const stringEx& path, basic_buffer<T>& content) {
    const stringEx asked = path;  // which may be the text that is emptied
    content.clear();
    if (asked.empty()) READ_NOTHING.raise();
    CSysFile file;
    file.Open(asked, file_access::read, 0, file_sharing::shared);
    refuse_folder(file);
    const auto size = static_cast<std::size_t>(file.GetSize());
    basic_buffer<T> read;
    read.assign_reserve((size + sizeof(T) - 1) / sizeof(T) + 1);
    char* const bytes = reinterpret_cast<char*>(read.mutable_data());
    std::size_t filled = 0;
    while (filled < size) {
        const std::size_t count = file.Read(bytes + filled, size - filled);
        if (count == 0) break;
        filled += count;
    }
    const std::size_t units = (filled + sizeof(T) - 1) / sizeof(T);
    std::fill(bytes + filled, bytes + units * sizeof(T), '\0');
    read.set_size(units);
    file.Close();
    content = std::move(read);
}

template <class T>
void CDir::WriteFile(const stringEx& path, const basic_buffer<T>& content, bool flush, bool append) {
    if (path.empty()) WRITE_NOTHING.raise();
    CSysFile file;
    file.Open(path, file_access::write, append ? O_CREAT : O_CREAT | O_TRUNC, file_sharing::exclusive);
    if (append) file.SeekEnd(0);
    const auto* const bytes = reinterpret_cast<const char*>(content.data());
    const std::size_t size = content.size() * sizeof(T);
    for (std::size_t done = 0; done < size;)
        done += file.Write(bytes + done, size - done);
    if (flush) file.Flush();
    file.Close();
}

template void CDir::ReadFile(const stringEx&, basic_buffer<char>&);
template void CDir::ReadFile(const stringEx&, basic_buffer<wchar_t>&);
template void CDir::ReadFile(const stringEx&, basic_buffer<unsigned char>&);
template void CDir::WriteFile(const stringEx&, const basic_buffer<char>&, bool, bool);
template void CDir::WriteFile(const stringEx&, const basic_buffer<wchar_t>&, bool, bool);
template void CDir::WriteFile(const stringEx&, const basic_buffer<unsigned char>&, bool, bool);

}  // namespace Orlo
