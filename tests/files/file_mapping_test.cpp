#include "orlo/files/file_mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <functional>

#include "support/child.h"
#include "support/system_fault.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;
using view = CFileMapping::CView;

struct FileMapping : testing::Test, faults::clean_slate {
    FileMapping() {
        for (int i = 0; i < 3000; ++i)
            whole += std::to_string(i % 10000 + 1000);
        temp.write_file("file", whole);
    }
    static std::string_view text_of(const view& v) {
        return {static_cast<const char*>(v.GetAddress()), v.GetSize()};
    }
    static void write(const view& v, char c) { *static_cast<char*>(v.GetAddress()) = c; }
    static bool is_mapped(const void* address) {
        unsigned char resident;
        void* const page = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(address) & ~4095ul);
        return ::mincore(page, 1, &resident) == 0;
    }

    std::string whole;
    const temp_dir temp;
    const std::string path = temp / "file";
};

TEST_F(FileMapping, ViewsReachAllThatWasAskedFor) {
    const CFileMapping mapping(path.c_str(), ACCESS_READ_WRITE);
    const std::pair<std::int64_t, std::uint64_t> ranges[] = {{0, 1},       {100, 10},    {4000, 300},
                                                             {4095, 4098}, {4096, 4096}, {11990, 10}};
    for (const auto& [offset, size] : ranges)
        EXPECT_EQ(text_of(mapping.CreateView(offset, size, ACCESS_READ)),
                  whole.substr(static_cast<std::size_t>(offset), size));

    // the third page is another's: a view into the second may not take it along
    view neighbour = mapping.CreateView(0, 3 * 4096, ACCESS_READ);
    char* const base = static_cast<char*>(neighbour.GetAddress());
    ::munmap(base, 2 * 4096);
    { const view between = mapping.CreateView(4000, 300, ACCESS_READ, base); }
    EXPECT_TRUE(!is_mapped(base + 4096) && is_mapped(base + 2 * 4096));
}

TEST_F(FileMapping, WritingReachesTheFileUnlessItCopies) {
    CFileMapping mapping(std::wstring(path.begin(), path.end()).c_str(), ACCESS_READ_WRITE);
    view shared = mapping.CreateView(5000, 10, ACCESS_READ_WRITE);
    mapping = CFileMapping(path.c_str(), ACCESS_READ);
    write(shared, 'S');
    shared.Flush();
    const std::string written = temp.content("file");
    EXPECT_EQ(written.substr(5000, 1), "S");

    // other users' rights: what may not be written can still be copied
    EXPECT_EQ(::chmod(path.c_str(), 0444) | ::chmod(temp.path().c_str(), 0755), 0);
    const auto copy = [&] {
        if (::getuid() == 0 && ::setuid(65534) != 0) return 1;
        const CFileMapping readable(path.c_str(), ACCESS_COPY_ON_WRITE);
        const view own = readable.CreateView(0, 10, ACCESS_COPY_ON_WRITE);
        write(own, 'C');
        return text_of(own)[0] == 'C' ? 0 : 2;
    };
    EXPECT_EQ(child(copy).wait(), 0);
    EXPECT_EQ(temp.content("file"), written);
}

TEST_F(FileMapping, CopiesShareARegionAndTheLastOneUnmapsIt) {
    const CFileMapping mapping(path.c_str(), ACCESS_READ);
    view first = mapping.CreateView(100, 10, ACCESS_READ);
    const char* const address = static_cast<const char*>(first.GetAddress());
    { const view second = first; }
    first = *&first;
    EXPECT_TRUE(is_mapped(address));
    view third;
    third = first;
    first = view();
    EXPECT_EQ(text_of(third), whole.substr(100, 10));
    third = mapping.CreateView(0, 1, ACCESS_READ);
    EXPECT_FALSE(is_mapped(address));

    view longer = mapping.CreateView(11000, 900, ACCESS_READ);
    EXPECT_TRUE(mapping.IsIntact(longer));
    std::filesystem::resize_file(path, 11899);
    EXPECT_TRUE(!mapping.IsIntact(longer) && mapping.IsIntact(third));
}

TEST_F(FileMapping, KnowsItsName) {
    for (const char* const name : {"with blanks and \n a line", "back\\slash", "octal\\040"}) {
        temp.write_file(name, "x");
        EXPECT_EQ(CFileMapping((temp / name).c_str(), ACCESS_READ).GetFileName().view(), temp / name);
    }
    const CFileMapping mapping(path.c_str(), ACCESS_READ);
    const std::string head = "CFileMapping::GetFileName - failed get file name of current mapping\n";
    const std::string self = std::to_string(::getpid());
    faults::fail_next("open", EACCES);
    EXPECT_FAILURE(static_cast<void>(mapping.GetFileName()), fmppExp, 5,
                   head + "  self pid = " + self +
                       "\n@ CSysFile/PosixOpenFile - failed open specified file\n  file path  = /proc/" +
                       self +
                       "/maps\n  error code = 13\n"
                       "  error desc = permission denied or confilct flags compination");
}

TEST_F(FileMapping, Failures) {
    const CFileMapping readable(path.c_str(), ACCESS_READ | ACCESS_EXECUTE);
    const CFileMapping device("/dev/null", ACCESS_READ);
    const std::string open = "CFileMapping::CFileMapping - error open file mapping\n  file path = ";
    EXPECT_FAILURE(CFileMapping(static_cast<const char*>(nullptr), ACCESS_READ), fmppExp, 1,
                   open +
                       "\n@ CSysFile/PosixOpenFile - failed open specified file\n  file path  = \n"
                       "  error code = 2\n  error desc = file dose not exists or can't be created");
    EXPECT_FAILURE(
        CFileMapping("x", 8), fmppExp, 1,
        "CFileMapping::CFileMapping - error open file mapping\n  file path  = x\n  protection = 0x8\n"
        "  error code = 22\n  error desc = unknown protection bits");

    struct row {
        const CFileMapping& mapping;
        std::int64_t offset;
        std::uint64_t size;
        std::uint32_t protection;
        int error;
        const char* sentence;
    };
    const char invalid[] = "invalid size, address, or flags argument";
    const row rows[] = {
        {readable, -1, 10, ACCESS_READ, EINVAL, invalid},
        {readable, 100, 0, ACCESS_READ, EINVAL, invalid},
        {readable, 100, ~std::uint64_t{0}, ACCESS_READ, EINVAL, invalid},
        {readable, 0, 10, 0x10, EINVAL, invalid},
        {readable, 0, std::uint64_t{1} << 60, ACCESS_READ, ENOMEM, "insufficient memory"},
        {readable, 0, 10, ACCESS_READ_WRITE, EACCES, "access denied"},
        {CFileMapping(path.c_str(), ACCESS_WRITE), 0, 10, ACCESS_WRITE, EACCES, "access denied"},
        {device, 0, 10, ACCESS_READ, ENODEV, "the device of the file does not support memory mapping"},
    };
    for (const row& each : rows) {
        stringEx text;
        text.format(
            500,
            "CSysFile/SetupMapView - failed create file view\n  size       = %lu\n  address    = (nil)\n"
            "  offset     = %ld\n  protection = %#x\n  flags      = 0x1\n"
            "  error code = %d\n  error desc = %s",
            each.size, each.offset, each.protection, each.error, each.sentence);
        EXPECT_FAILURE(static_cast<void>(each.mapping.CreateView(each.offset, each.size, each.protection)),
                       fmppExp, 2, text.view());
    }

    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit few{3, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_FAILURE(CFileMapping{readable}, fmppExp, 1,
                   system_text("CFileMapping::CFileMapping - failed create file mapping\n", EMFILE,
                               "the number of file descriptors in use by this process would exceed"));
    setrlimit(RLIMIT_NOFILE, &limit);
    faults::fail_next("close", EIO);
    EXPECT_FAILURE(CFileMapping{readable}, fmppExp, 3,
                   "CSysFile::__Close - error close file descriptor\n  sys error  = 5\n"
                   "  error desc = io error occurred");

    view mapped = readable.CreateView(10, 20, ACCESS_READ);
    stringEx address;
    address.format(32, "%p", mapped.GetAddress());
    const std::string at(address.view());
    faults::fail_next("msync", ENOMEM);
    EXPECT_FAILURE(mapped.Flush(), fmppExp, 4,
                   "CFileMapping::CView::Flush - failed flush view to file\n  view addr      = " + at +
                       "\n  view size      = 20\n  sys error code = 12\n"
                       "  sys error desc = address space out-of-range");
    faults::fail_next("munmap", EINVAL);
    EXPECT_FAILURE(mapped = view(), fmppExp, 3,
                   "CFileMapping::CView::_Release - failed unmap file view\n  address    = " + at +
                       "\n  size       = 20\n  error code = 22\n  error desc = invalid address or size");
    EXPECT_EQ(mapped.GetAddress(), nullptr);
}

}  // namespace
}  // namespace Orlo
