// The reader of tagged items on arbitrary bytes under arbitrary operations: over memory, and over a source that
// gives a few bytes a time, it must agree with a slow reader on every outcome, on the bound and on every byte
// consumed. The first byte is the bound (255 for none), the second how many operations of three bytes follow;
// the rest is the stream.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "../tests/isxf/slow_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::int64_t bound = data[0] == 255 ? Orlo::ISXF_NO_BOUND : data[0];
    const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::size_t program = std::min<std::size_t>(rest.size(), data[1] % 64 * 3);
    const std::string wrong = isxf_check::difference(rest.substr(program), bound,
                                                     isxf_check::operations_of(rest.substr(0, program)));
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s\n", wrong.c_str());
        std::abort();
    }
    return 0;
}
