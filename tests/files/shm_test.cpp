#include "orlo/files/shm.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <optional>

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

std::string open_text(const char* how, const std::string& name, const char* flag = "0x2") {
    return std::string("CShMem/") + how + "SharedMemoryObject - failed create shared memory object\n" +
           "  smo name    = " + name + "\n  flag        = " + flag + "\n  access mode = 0666\n";
}

TEST_F(shm, creator_and_openers_share_the_bytes_until_the_creator_goes) {
    {
        const CShMem made = CShMem::Create(name, 5000);
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
        system_text(open_text("Open", unique.text), ENOENT, "the shared memory object does not exist", " "));
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
    for (const std::uint32_t access : {ACCESS_READ_WRITE, ACCESS_READ, ACCESS_COPY_ON_WRITE}) {
        const auto write = [](void* view) { std::strcpy(static_cast<char*>(view), "seen"); };
        const CShMem made = CShMem::Create(name, 64, access, nullptr, write);
        EXPECT_STREQ(bytes(made), "seen");
        EXPECT_STREQ(bytes(CShMem::Open(name, ACCESS_READ)), "seen");
    }
    EXPECT_THROW(CShMem::Create(name, 64, ACCESS_READ_WRITE, nullptr, [](void*) { throw 5; }), int);
    EXPECT_THROW(CShMem::Open(name), shmemExp);
}

TEST_F(shm, the_copy_of_a_forked_child_removes_nothing) {
    std::optional<CShMem> made(CShMem::Create(name, 64));
    const auto drop = [&] {
        const bool is_creator = made->IsCreator();
        made.reset();
        return is_creator ? 1 : 0;
    };
    EXPECT_EQ(child(drop).wait(), 0);
    EXPECT_TRUE(made->IsCreator() && CShMem::Open(name).GetSize() == 64);
    made.reset();
    EXPECT_THROW(CShMem::Open(name), shmemExp);
}

TEST_F(shm, failures) {
    const std::string &own = unique.text, too_long(256, 'x'), zero("/a\0b", 4);
    EXPECT_FAILURE(CShMem::Create(stringEx(too_long), 1), shmemExp, 1,
                   system_text(open_text("Create", too_long), ENAMETOOLONG, "name is too long", " "));
    EXPECT_FAILURE(CShMem::Open(stringEx(zero), ACCESS_READ), shmemExp, 3,
                   system_text(open_text("Open", zero, "0"), EINVAL, "unsupport name", " "));

    const std::string resize =
        "CShMem/CreateSharedMemoryObject - failed set the size of shared memory object\n  smo name    = " +
        own + "\n  smo size    = ";
    const std::string view = "CShMem/SetupMapView - failed create memory view\n  size        = ";
    const std::string view_of_0 =
        system_text(view + "0\n  address arg = 0\n", EINVAL, "invalid size, address, or flags argument", " ");
    EXPECT_FAILURE(CShMem::Create(name, 0), shmemExp, 5, view_of_0);
    EXPECT_FAILURE(CShMem::Create(name, ~0ull), shmemExp, 2,
                   system_text(resize + "18446744073709551615\n", EINVAL,
                               "invalid size or there is no write permission", " "));
    EXPECT_THROW(CShMem::Open(name), shmemExp) << "the name stayed";
    close(shm_open(own.c_str(), O_CREAT | O_RDWR, 0600));  // never gets bytes
    EXPECT_FAILURE(CShMem::Open(name), shmemExp, 5, view_of_0);
    shm_unlink(own.c_str());

    const auto create_and_open = [&] {
        const CShMem made = CShMem::Create(name, 64);
        CShMem::Open(name);
    };
    expect_faults<shmemExp>(
        create_and_open,
        {{"shm_open", EMFILE, 1, open_text("Create", own),
          "too many file descriptors are currently in use by this process"},
         {"ftruncate", EIO, 2, resize + "64\n", "io error to the file system"},
         {"mmap", ENODEV, 5, view + "64\n  address arg = 0\n",
          "the device of the descriptor does not support memory mapping"},
         {"fstat", EOVERFLOW, 4,
          "CShMem/OpenSharedMemoryObject - failed retrive shared memory object's state\n  smo name    = " +
              own + "\n",
          "gid or uid is too large"}},
        " ");
    const std::string end = "CShMem/CloseAndRemoveSharedMemoryObject - failed ";
    const std::string named = " shared memory object\n  smo name   = " + own + "\n";
    expect_faults<shmemExp>(create_and_open,
                            {{"close", EIO, 6, end + "close" + named, "io error occurred"},
                             {"shm_unlink", EACCES, 7, end + "remove" + named, "permission denied"}});
    shm_unlink(own.c_str());
    faults::fail_next("shm_open", EINTR, 3);
    faults::fail_next("flock", EINTR, 3);
    create_and_open();
    EXPECT_EQ(faults::pending(), 0);
}

}  // namespace
