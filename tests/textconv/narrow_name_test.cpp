// Wide names, paths and values on their way to the system.

#include "strings/narrow_name.h"

#include <gtest/gtest.h>

#include "orlo/files/dir.h"
#include "orlo/files/shm.h"
#include "orlo/files/sys_file.h"
#include "orlo/textconv/text_conv.h"
#include "support/expect_throw.h"
#include "support/temp_dir.h"
#include "textconv/in_environment.h"
#include "textconv/text_lib_icu.h"

using namespace Orlo;
using namespace Orlo::IMPL;
using testing_support::in_environment;

namespace {

TEST(narrow_name, by_the_default_encoding) {
    const struct {
        const char* encoding;
        std::wstring wide;
        std::optional<std::string> narrow;
    } rows[] = {
        {"UTF-8", L"n\u00E9\U0001F600", "n\xC3\xA9\xF0\x9F\x98\x80"},
        {"UTF-8", std::wstring(1, static_cast<wchar_t>(0xD800)), std::nullopt},
        {"UTF-8", std::wstring(1, static_cast<wchar_t>(0x110000)), std::nullopt},
        {"UTF-8", L"\uFFFD", "\xEF\xBF\xBD"},
        {"ISO-8859-1", L"n\u00E9", "n\xE9"},
        {"ISO-8859-1", L"n\u20AC", std::nullopt},
        {"ASCII", L"n\u00E9", std::nullopt},
        {"ASCII", std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {"ASCII", L"", ""},
        {"no such", L"n\u00E9", "n\xE9"},     // the converter of last resort
        {"EBCDIC", L"/tmp/tea", "/tmp/tea"},  // ASCII is itself
    };
    for (const auto& row : rows) {
        in_environment({{"ORLO_DEFAULT_MBCS", row.encoding}}, [&row] {
            const std::optional<stringEx> made = TryNarrow(row.wide);
            ASSERT_EQ(made.has_value(), row.narrow.has_value());
            if (!made) return;
            EXPECT_EQ(std::string(made->view()), *row.narrow);
            EXPECT_TRUE(Widen(*made).view() == row.wide);
        });
    }
}

// Never another file's name, and never a new one.
TEST(narrow_name, a_name_that_the_encoding_lacks) {
    in_environment({{"ORLO_DEFAULT_MBCS", "ISO-8859-1"}}, [] {
        const std::string inner =
            "TTextConv::WCtoMB - the encoding lacks a character of the name\n"
            "  name          = /tmp/\xE2\x82\xAC\n  encoding name = ISO-8859-1";
        EXPECT_FAILURE(NarrowName(L"/tmp/\u20AC"), tconvExp, 1, inner);
        EXPECT_FAILURE(CShMem::Open(L"/tmp/\u20AC"_lit), tconvExp, 1, inner);
        CSysFile file;
        file.Open("/dev/null"_lit, file_access::read);
        EXPECT_FAILURE(file.Open(L"/tmp/\u20AC", file_access::write, O_CREAT), sysfileExp, sysfile_code::open,
                       "CSysFile::Open - failed determine the file path to open\n"
                       "  file path = /tmp/\xE2\x82\xAC\n@ " +
                           inner);
        EXPECT_EQ(file.GetPath(), "/dev/null") << "as it was";
        CDir dir;
        dir.Open("/"_lit);
        EXPECT_FAILURE(dir.Open(L"/tmp/\u20AC"_lit, true), tconvExp, 1, inner);
        EXPECT_FALSE(CDir::IsDir(L"/tmp/\u20AC"_lit));
        EXPECT_EQ(dir.GetPath(), "/") << "as it was";
    });
}

TEST(narrow_name, directories) {
    const testing_support::temp_dir temp;
    in_environment({{"ORLO_DEFAULT_MBCS", "ISO-8859-1"}}, [&temp] {
        CDir dir;
        dir.Open(stringEx(temp / ""));
        dir.ChangeDir(L"n\u00E9"_lit, true);
        const stringEx made(temp / "n\xE9/");
        EXPECT_EQ(dir.GetPath(), made);
        EXPECT_TRUE(CDir::IsDir(made) && CDir::IsDir(Widen(made)));
        CDir again;
        again.Open(Widen(made));
        EXPECT_EQ(again.GetPath(), made);
    });
}

TEST(narrow_name, ascii_loads_nothing) {
    in_environment({{"ORLO_DEFAULT_MBCS", "MacGreek"}}, [] {
        EXPECT_EQ(NarrowName(L"/tmp"), "/tmp");
        EXPECT_EQ(Widen("/tmp"), L"/tmp");
        EXPECT_EQ(icu_library().Count(), 0u);
        EXPECT_EQ(NarrowName(L"\u03B1"), "\xE1");
        EXPECT_EQ(icu_library().Count(), 1u);
    });
}

}  // namespace
