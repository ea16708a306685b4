#include "orlo/process/dll_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "support/expect_throw.h"
#include "support/faults.h"

namespace {

using namespace Orlo;
using namespace testing_support;

TEST(dll_loader, tries_the_base_name_behind_lib_second) {
    const CDllLoader math("m.so.6"_lit);
    const auto floor = reinterpret_cast<double (*)(double)>(math.GetProc("floor"_lit));
    EXPECT_EQ(floor(2.5), 2.0);
    EXPECT_EQ(math.TryGetProc("no_such_symbol"_lit), nullptr);
    EXPECT_EQ(CDllLoader(L"libm.so.6"_lit).GetProc("floor"_lit), reinterpret_cast<void*>(floor));
    EXPECT_NE(CDllLoader().TryGetProc("malloc"_lit), nullptr);
}

TEST(dll_loader, a_library_that_is_not_there) {
    constexpr struct {
        std::string_view name;
        const char* hex;
        const char* error;
    } rows[] = {
        {"/no/such/lib.so", "2F6E6F2F737563682F6C69622E736F", "/no/such/lib.so: "},
        {"./no.so", "2E2F6E6F2E736F", "./no.so: "},
        {"libno_such.so", "6C69626E6F5F737563682E736F", "libno_such.so: "},
        {"no_such.so", "6E6F5F737563682E736F", "libno_such.so: "},
        {"n\xC3\xA9.so", "6EC3A92E736F", "libn\xC3\xA9.so: "},
        {{"libm.so.6\0x", 11}, "6C69626D2E736F2E360078", nullptr},
    };
    const auto text = [](const auto& row) {
        return "CDllLoader::CDllLoader - error loading dynamic library\n  dll path       = " +
               std::string(row.name) + "\n  path hex code  = " + row.hex + "\n  sys error desc = " +
               (row.error
                    ? row.error + std::string("cannot open shared object file: No such file or directory")
                    : "unknwon system error");
    };
    for (const auto& row : rows)
        EXPECT_FAILURE(CDllLoader(stringEx(row.name)), dlllExp, 1, text(row));
    EXPECT_FAILURE(CDllLoader(L"n\u00E9.so"_lit), dlllExp, 1, text(rows[4]));
}

TEST(dll_loader, a_symbol_that_is_not_there_and_a_failed_release) {
    const CDllLoader math("libm.so.6"_lit);
    void* const handle = dlopen("libm.so.6", RTLD_LAZY);
    dlsym(handle, "no_such_symbol");
    const std::string error = dlerror();
    dlclose(handle);
    EXPECT_FAILURE(math.GetProc("no_such_symbol"_lit), dlllExp, 3,
                   "CDllLoader::GetProc - error get the address of specific proc\n"
                   "  proc name      = no_such_symbol\n  sys error desc = " +
                       error);

    const faults::clean_slate slate;
    faults::fail_next("dlclose", 0, 2);
    EXPECT_FAILURE(CDllLoader("libm.so.6"_lit), dlllExp, 2,
                   "CDllLoader::~CDllLoader - error release dynamic library\n"
                   "  sys error desc = unknwon system error");
    const auto release_in_flight = [] {
        const CDllLoader loader("libm.so.6"_lit);
        throw 1;
    };
    EXPECT_THROW(release_in_flight(), int);
}

}  // namespace
