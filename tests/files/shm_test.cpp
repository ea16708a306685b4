#include "orlo/files/shm.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "support/child.h"
#include "support/system_fault.h"
#include "support/watchdog.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct shm : testing::Test {
    watchdog dog{60};
    faults::clean_slate slate;
    shm_name unique;
    stringEx name{unique.text};

    static char* bytes(const CShMem& region) { return static_cast<char*>(region.GetAddress()); }
};

std::string open_head(const char* operation, const std::string& name, const char* flag = "0x2") {
    return std::string("CShMem/") + operation +
           "SharedMemoryObject - failed create shared memory object\n  smo name    = " + name +
           "\n  flag        = " + flag + "\n  access mode = 0666\n";
}

std::string size_head(const std::string& name, std::uint64_t size) {
    return "CShMem/CreateSharedMemoryObject - failed set the size of shared memory object\n  smo name    = " +
           name + "\n  smo size    = " + std::to_string(size) + "\n";
}

std::string view_head(std::uint64_t size) {
    return "CShMem/SetupMapView - failed create memory view\n  size        = " + std::to_string(size) +
           "\n  address arg = 0\n";
}

TEST_F(shm, creator_and_openers_share_the_bytes_until_the_creator_goes) {
    {
        const CShMem made = CShMem::Create(name, 5000);
        { const CShMem opened = CShMem::Open(name); }
        CShMem moving = CShMem::Create(name, 9);
        const CShMem found(std::move(moving));
        const CShMem opened = CShMem::Open(wstringEx(std::wstring(name.begin(), name.end()).c_str()));
        EXPECT_TRUE(made.IsCreator() && !found.IsCreator() && !opened.IsCreator());
        EXPECT_TRUE(found.GetSize() == 5000 && opened.GetSize() == 5000);

        void* const place = mmap(nullptr, 8192, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        munmap(place, 8192);
        const CShMem reader = CShMem::Open(name, ACCESS_READ, place);
        EXPECT_EQ(reader.GetAddress(), place);
        const CShMem copy = CShMem::Open(name, ACCESS_COPY_ON_WRITE);
        std::strcpy(bytes(made) + 4990, "all");
        for (const CShMem* region : {&found, &opened, &reader, &copy})
            EXPECT_STREQ(bytes(*region) + 4990, "all");
        std::strcpy(bytes(copy) + 4990, "own");
        EXPECT_STREQ(bytes(opened) + 4990, "all");
    }
    EXPECT_FAILURE(
        CShMem::Open(name), shmemExp, 3,
        system_text(open_head("Open", unique.text), ENOENT, "the shared memory object does not exist", " "));
}

TEST_F(shm, what_a_crashed_run_left_is_opened_as_it_is) {
    const auto die_as_creator = [&] {
        const CShMem made = CShMem::Create(name, 100);
        std::strcpy(bytes(made), "left");
        _exit(0);
        return 0;
    };
    child(die_as_creator).wait();
    const CShMem found = CShMem::Create(name, 7);
    EXPECT_FALSE(found.IsCreator());
    EXPECT_EQ(found.GetSize(), 100u);
    EXPECT_STREQ(bytes(found), "left");
}

TEST_F(shm, of_racing_creators_one_makes_and_prepares) {
    for (int round = 0; round < 20; ++round) {
        const shared_number opened;
        const auto create = [&] {
            int prepared = 0;
            const CShMem region = CShMem::Create(name, 64, ACCESS_READ_WRITE, nullptr, [&](void* view) {
                usleep(2000);
                std::strcpy(static_cast<char*>(view), "ready");
                prepared = 1;
            });
            const bool ready = std::strcmp(bytes(region), "ready") == 0;
            ++*opened;
            opened.await(4);
            return (ready ? 0 : 50) + prepared + (region.IsCreator() ? 10 : 0);
        };
        EXPECT_EQ(race(4, create), 11);
    }
    EXPECT_THROW(CShMem::Create(name, 64, ACCESS_READ_WRITE, nullptr, [](void*) { throw 5; }), int);
    EXPECT_THROW(CShMem::Open(name), shmemExp);
}

TEST_F(shm, names_and_sizes_that_cannot_be) {
    const std::string too_long(256, 'x'), with_zero("/a\0b", 4);
    EXPECT_FAILURE(CShMem::Create(stringEx(too_long), 1), shmemExp, 1,
                   system_text(open_head("Create", too_long), ENAMETOOLONG, "name is too long", " "));
    EXPECT_FAILURE(CShMem::Open("/a/b"_lit, ACCESS_READ), shmemExp, 3,
                   system_text(open_head("Open", "/a/b", "0"), EINVAL, "unsupport name", " "));
    EXPECT_FAILURE(CShMem::Open(stringEx(with_zero)), shmemExp, 3,
                   system_text(open_head("Open", with_zero), EINVAL, "unsupport name", " "));
    struct {
        std::uint64_t size;
        int code;
        std::string head;
        int error;
        const char* sentence;
    } const rows[] = {
        {0, 5, view_head(0), EINVAL, "invalid size, address, or flags argument"},
        {1ull << 62, 5, view_head(1ull << 62), ENOMEM, "insufficient memory"},
        {~0ull, 2, size_head(unique.text, ~0ull), EINVAL, "invalid size or there is no write permission"}};
    for (const auto& row : rows) {
        EXPECT_FAILURE(CShMem::Create(name, row.size), shmemExp, row.code,
                       system_text(row.head, row.error, row.sentence, " "));
        EXPECT_THROW(CShMem::Open(name), shmemExp) << "the name stayed";
    }
    close(shm_open(unique.text.c_str(), O_CREAT | O_RDWR, 0600));  // never gets bytes
    EXPECT_FAILURE(CShMem::Open(name), shmemExp, 5,
                   system_text(view_head(0), EINVAL, "invalid size, address, or flags argument", " "));
}

TEST_F(shm, failures_of_the_system) {
    const std::string at_end = "CShMem/CloseAndRemoveSharedMemoryObject - failed ";
    const std::string named = " shared memory object\n  smo name   = " + unique.text + "\n";
    const auto create = [&] {
        shm_unlink(unique.text.c_str());
        CShMem::Create(name, 64);
    };
    expect_faults<shmemExp>(
        create,
        {{"shm_open", EMFILE, 1, open_head("Create", unique.text),
          "too many file descriptors are currently in use by this process"},
         {"ftruncate", EIO, 2, size_head(unique.text, 64), "io error to the file system"},
         {"mmap", ENODEV, 5, view_head(64), "the device of the descriptor does not support memory mapping"}},
        " ");
    const auto remove = [&] { CShMem::Create(name, 64); };
    expect_faults<shmemExp>(remove,
                            {{"close", EIO, 6, at_end + "close" + named, "io error occurred"},
                             {"shm_unlink", EACCES, 7, at_end + "remove" + named, "permission denied"}});
    const auto open = [&] { return CShMem::Open(name).GetSize(); };
    expect_faults<shmemExp>(open,
                            {{"fstat", EOVERFLOW, 4,
                              "CShMem/OpenSharedMemoryObject - failed retrive shared memory object's state\n"
                              "  smo name    = " +
                                  unique.text + "\n",
                              "gid or uid is too large"}},
                            " ");
    faults::fail_next("shm_open", EINTR, 3);
    faults::fail_next("flock", EINTR, 3);
    EXPECT_EQ(open(), 64u);
    EXPECT_EQ(faults::pending(), 0);
}

}  // namespace
