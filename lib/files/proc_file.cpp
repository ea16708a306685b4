// Files without a size are read until a read gives nothing.

#include "orlo/files/proc_file.h"

#include <algorithm>

#include "orlo/files/sys_file.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"

namespace Orlo {
namespace {

constexpr failure<sysfileExp> TOO_BIG{{
    .code = 7,
    .head = "ReadProcFile - failed read specified proc file\n  size too big\n",
    .keys = {"  buffer size = ", "  file path   = "},
}};

constexpr std::size_t LEAST_STEP = 4096;
constexpr std::size_t TOTAL_LIMIT = 0x8000001;

}  // namespace

void ReadProcFile(stringEx& result, const stringEx& path, std::size_t stepSize) {
    const std::size_t step = std::clamp(stepSize, LEAST_STEP, TOTAL_LIMIT);
    CSysFile file;
    file.OpenExact(path, file_access::read);
    stringEx text;
    for (;;) {
        text.reserve_for_write(text.size() + step + 1);
        const std::size_t count = file.Read(text.mutable_data() + text.size(), step);
        if (count == 0) break;
        text.set_size(text.size() + count);
        if (text.size() >= TOTAL_LIMIT) TOO_BIG.raise({std::uint64_t{text.size()}, path});
    }
    file.Close();
    result = std::move(text);
}

void ReadProcFile(stringEx& result, const wstringEx& path, std::size_t stepSize) {
    ReadProcFile(result, IMPL::NarrowName(path), stepSize);
}

}  // namespace Orlo
