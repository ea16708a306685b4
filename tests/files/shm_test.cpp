#include "orlo/files/shm.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>

#include "support/child.h"
#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/shm_name.h"
#include "support/watchdog.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct shm : testing::Test {
    faults::clean_slate slate;
    watchdog dog{60};
    shm_name unique;
    stringEx name{unique.text()};

    static char* bytes(const CShMem& region) { return static_cast<char*>(region.GetAddress()); }
};

std::string open_text(const char* operation, const std::string& name, const char* flag, int error,
                      const char* sentence) {
    return std::string("CShMem/") + operation +
           "SharedMemoryObject - failed create shared memory object\n  smo name    = " + name +
           "\n  flag        = " + flag + "\n  access mode = 0666\n  error code  = " + std::to_string(error) +
           "\n  error desc  = " + sentence;
}

TEST_F(shm, creator_and_openers_share_the_bytes_until_the_creator_goes) {
    {
        const CShMem made = CShMem::Create(name, 5000);
        const CShMem found = CShMem::Create(name, 9);
        const CShMem opened = CShMem::Open(wstringEx(std::wstring(name.begin(), name.end()).c_str()));
        const CShMem reader = CShMem::Open(name, ACCESS_READ);
        EXPECT_TRUE(made.IsCreator());
        EXPECT_FALSE(found.IsCreator() || opened.IsCreator());
        EXPECT_EQ(found.GetSize(), 5000u);
        EXPECT_EQ(opened.GetSize(), 5000u);

        std::strcpy(bytes(made) + 4990, "all");
        EXPECT_STREQ(bytes(found) + 4990, "all");
        EXPECT_STREQ(bytes(reader) + 4990, "all");
        const CShMem copy = CShMem::Open(name, ACCESS_COPY_ON_WRITE);
        std::strcpy(bytes(copy) + 4990, "own");
        EXPECT_STREQ(bytes(opened) + 4990, "all");
    }
    EXPECT_FAILURE(
        CShMem::Open(name), shmemExp, 3,
        open_text("Open", unique.text(), "0x2", ENOENT, "the shared memory object does not exist"));
}

TEST_F(shm, only_the_creator_removes_the_name) {
    const CShMem made = CShMem::Create(name, 1);
    { const CShMem opened = CShMem::Open(name); }
    CShMem moved = CShMem::Open(name);
    const CShMem target(std::move(moved));
    EXPECT_EQ(target.GetSize(), 1u);
    EXPECT_FALSE(CShMem::Create(name, 1).IsCreator());
}

TEST_F(shm, a_view_lies_where_it_is_asked_to) {
    const CShMem made = CShMem::Create(name, 4096);
    void* const place = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(place, 4096);
    EXPECT_EQ(CShMem::Open(name, ACCESS_READ, place).GetAddress(), place);
}

TEST_F(shm, what_a_crashed_run_left_is_opened_as_it_is) {
    child([&] {
        static std::deque<CShMem> never_destroyed;
        never_destroyed.push_back(CShMem::Create(name, 100));
        std::strcpy(bytes(never_destroyed[0]), "left");
        return 0;
    }).wait();
    const CShMem found = CShMem::Create(name, 7);
    EXPECT_FALSE(found.IsCreator());
    EXPECT_EQ(found.GetSize(), 100u);
    EXPECT_STREQ(bytes(found), "left");
}

TEST_F(shm, of_racing_creators_one_makes_and_prepares) {
    for (int round = 0; round < 20; ++round) {
        const shared_value<std::atomic<int>> started, opened;
        const auto race = [&] {
            ++*started;
            while (*started < 4) {
            }
            bool prepared = false;
            const CShMem region = CShMem::Create(name, 64, ACCESS_READ_WRITE, nullptr, [&](void* view) {
                usleep(2000);
                std::strcpy(static_cast<char*>(view), "ready");
                prepared = true;
            });
            const bool ready = std::strcmp(bytes(region), "ready") == 0;
            ++*opened;
            await(*opened, 4);
            return (ready ? 0 : 50) + (prepared ? 1 : 0) + (region.IsCreator() ? 10 : 0);
        };
        child a(race), b(race), c(race), d(race);
        EXPECT_EQ(a.wait() + b.wait() + c.wait() + d.wait(), 11);
    }
}

TEST_F(shm, a_failed_preparation_undoes_the_creation) {
    EXPECT_THROW(CShMem::Create(name, 64, ACCESS_READ_WRITE, nullptr, [](void*) { throw 5; }), int);
    EXPECT_THROW(CShMem::Open(name), shmemExp);
}

TEST_F(shm, names_and_sizes_that_cannot_be) {
    const std::string long_name(256, 'x');
    EXPECT_FAILURE(CShMem::Create(stringEx(long_name), 1), shmemExp, 1,
                   open_text("Create", long_name, "0x2", ENAMETOOLONG, "name is too long"));
    EXPECT_FAILURE(CShMem::Open("/a/b"_lit, ACCESS_READ), shmemExp, 3,
                   open_text("Open", "/a/b", "0", EINVAL, "unsupport name"));
    const std::string with_zero("/a\0b", 4);
    EXPECT_FAILURE(CShMem::Open(stringEx(with_zero)), shmemExp, 3,
                   open_text("Open", with_zero, "0x2", EINVAL, "unsupport name"));

    struct {
        std::uint64_t size;
        int code;
        std::string text;
    } const rows[] = {
        {0, 5,
         "CShMem/SetupMapView - failed create memory view\n  size        = 0\n  address arg = 0\n"
         "  error code  = 22\n  error desc  = invalid size, address, or flags argument"},
        {~std::uint64_t{0}, 2,
         "CShMem/CreateSharedMemoryObject - failed set the size of shared memory object\n  smo name    = " +
             unique.text() +
             "\n  smo size    = 18446744073709551615\n  error code  = 22\n"
             "  error desc  = invalid size or there is no write permission"},
        {1ull << 62, 5,
         "CShMem/SetupMapView - failed create memory view\n  size        = 4611686018427387904\n"
         "  address arg = 0\n  error code  = 12\n  error desc  = insufficient memory"},
    };
    for (const auto& row : rows) {
        EXPECT_FAILURE(CShMem::Create(name, row.size), shmemExp, row.code, row.text);
        EXPECT_THROW(CShMem::Open(name), shmemExp) << "the name stayed";
    }
}

TEST_F(shm, a_region_that_never_gets_bytes_is_given_up) {
    close(shm_open(unique.text().c_str(), O_CREAT | O_RDWR, 0600));
    EXPECT_FAILURE(CShMem::Open(name), shmemExp, 5,
                   "CShMem/SetupMapView - failed create memory view\n  size        = 0\n"
                   "  address arg = 0\n  error code  = 22\n"
                   "  error desc  = invalid size, address, or flags argument");
}

TEST_F(shm, failures_of_the_system) {
    const std::string named = "  smo name    = " + unique.text() + "\n";
    const std::string closing = "CShMem/CloseAndRemoveSharedMemoryObject - failed ";
    const std::string closed = " shared memory object\n  smo name   = " + unique.text() + "\n";
    struct {
        const char* call;
        int error;
        int code;
        std::string text;
    } const rows[] = {
        {"shm_open", EMFILE, 1,
         open_text("Create", unique.text(), "0x2", EMFILE,
                   "too many file descriptors are currently in use by this process")},
        {"ftruncate", EIO, 2,
         "CShMem/CreateSharedMemoryObject - failed set the size of shared memory object\n" + named +
             "  smo size    = 64\n  error code  = 5\n  error desc  = io error to the file system"},
        {"mmap", ENODEV, 5,
         "CShMem/SetupMapView - failed create memory view\n  size        = 64\n  address arg = 0\n"
         "  error code  = 19\n"
         "  error desc  = the device of the descriptor does not support memory mapping"},
        {"close", EIO, 6, closing + "close" + closed + "  error code = 5\n  error desc = io error occurred"},
        {"shm_unlink", EACCES, 7,
         closing + "remove" + closed + "  error code = 13\n  error desc = permission denied"},
        {"shm_unlink", ENOENT, 7,
         closing + "remove" + closed +
             "  error code = 2\n  error desc = unexpect system error: No such file or directory"},
    };
    for (const auto& row : rows) {
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(CShMem::Create(name, 64), shmemExp, row.code, row.text);
        shm_unlink(unique.text().c_str());
    }

    const CShMem made = CShMem::Create(name, 64);
    faults::fail_next("fstat", EOVERFLOW);
    EXPECT_FAILURE(CShMem::Open(name), shmemExp, 4,
                   "CShMem/OpenSharedMemoryObject - failed retrive shared memory object's state\n" + named +
                       "  error code  = 75\n  error desc  = gid or uid is too large");
    faults::fail_next("shm_open", EINTR, 3);
    faults::fail_next("flock", EINTR, 3);
    EXPECT_EQ(CShMem::Open(name).GetSize(), 64u);
    EXPECT_EQ(faults::pending(), 0);
}

}  // namespace
