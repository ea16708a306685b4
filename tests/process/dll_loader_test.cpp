#include "orlo/process/dll_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "orlo/strings/environment.h"
#include "support/child.h"
#include "support/expect_throw.h"
#include "support/faults.h"

namespace {

using namespace Orlo;
using namespace testing_support;

TEST(dll_loader, tries_the_name_with_lib_in_front_second) {
    const CDllLoader math("m.so.6"_lit);
    const auto floor = reinterpret_cast<double (*)(double)>(math.GetProc("floor"_lit));
    EXPECT_EQ(floor(2.5), 2.0);
    EXPECT_EQ(math.TryGetProc("no_such_symbol"_lit), nullptr);
    EXPECT_EQ(CDllLoader(L"libm.so.6"_lit).GetProc("floor"_lit), reinterpret_cast<void*>(floor));
    EXPECT_NE(CDllLoader().TryGetProc("malloc"_lit), nullptr);
}

TEST(dll_loader, a_library_that_is_not_there) {
    constexpr auto missing = ": cannot open shared object file: No such file or directory";
    const struct {
        std::string name, hex, error;
    } rows[] = {
        {"./no.so", "2E2F6E6F2E736F", std::string("./no.so") + missing},
        {"libno_such.so", "6C69626E6F5F737563682E736F", std::string("libno_such.so") + missing},
        {"n\xC3\xA9.so", "6EC3A92E736F", std::string("libn\xC3\xA9.so") + missing},
        {{"libm.so.6\0x", 11}, "6C69626D2E736F2E360078", "unknwon system error"},
    };
    const auto text = [](const auto& row) {
        return "CDllLoader::CDllLoader - error loading dynamic library\n  dll path       = " + row.name +
               "\n  path hex code  = " + row.hex + "\n  sys error desc = " + row.error;
    };
    for (const auto& row : rows)
        EXPECT_FAILURE(CDllLoader(stringEx(row.name)), dlllExp, 1, text(row));
    child process([&] {
        SetEnv("ORLO_DEFAULT_MBCS", "UTF-8");
        EXPECT_FAILURE(CDllLoader(L"n\u00E9.so"_lit), dlllExp, 1, text(rows[2]));
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(process.wait(), 0);
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
    const auto release = [](bool in_flight) {
        const CDllLoader loader("libm.so.6"_lit);
        faults::fail_next("dlclose", 0);
        if (in_flight) throw 1;
    };
    EXPECT_FAILURE(release(false), dlllExp, 2,
                   "CDllLoader::~CDllLoader - error release dynamic library\n"
                   "  sys error desc = unknwon system error");
    EXPECT_THROW(release(true), int);
}

}  // namespace
