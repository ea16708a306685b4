// The kernels against a slow decoder and encoder: on all that is short, on random text, and at the edge of
// memory that may not be touched.

#include "strings/utf8.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "strings/utf8_kernels.h"
#include "vector/instructions.h"

using namespace Orlo;
using namespace Orlo::IMPL;

namespace {

/// A row of table 3-7: the lead bytes, and what may follow.
struct form {
    unsigned first, last;
    std::size_t length;
    std::pair<unsigned, unsigned> tails[3];
};
constexpr form FORMS[] = {
    {0x00, 0x7F, 1, {}},
    {0xC2, 0xDF, 2, {{0x80, 0xBF}}},
    {0xE0, 0xE0, 3, {{0xA0, 0xBF}, {0x80, 0xBF}}},
    {0xE1, 0xEC, 3, {{0x80, 0xBF}, {0x80, 0xBF}}},
    {0xED, 0xED, 3, {{0x80, 0x9F}, {0x80, 0xBF}}},
    {0xEE, 0xEF, 3, {{0x80, 0xBF}, {0x80, 0xBF}}},
    {0xF0, 0xF0, 4, {{0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {0xF1, 0xF3, 4, {{0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {0xF4, 0xF4, 4, {{0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}}},
};

/// The length of the well-formed sequence at `at`, 0 for none.
std::size_t slow_length(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const form& f : FORMS) {
        if (byte(at) < f.first || byte(at) > f.last) continue;
        if (at + f.length > text.size()) return 0;
        for (std::size_t i = 1; i < f.length; ++i) {
            const auto [low, high] = f.tails[i - 1];
            if (byte(at + i) < low || byte(at + i) > high) return 0;
        }
        return f.length;
    }
    return 0;
}

std::wstring slow_decode(const std::string& text) {
    std::wstring made;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = slow_length(text, at);
        unsigned point = static_cast<unsigned char>(text[at]);
        if (length > 1) point &= 0x7F >> length;
        for (std::size_t i = 1; i < length; ++i)
            point = point << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3F);
        made += static_cast<wchar_t>(point);
        at += std::max<std::size_t>(length, 1);
    }
    return made;
}

std::string slow_encode(const std::wstring& text) {
    std::string made;
    for (const wchar_t c : text) {
        auto point = static_cast<unsigned>(c);
        if (point > 0x10FFFF || (point >> 11) == 0x1B) point = 0xFFFD;
        const int tails = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        const unsigned mark = tails == 0 ? 0 : 0xFF00u >> (tails + 1) & 0xFF;
        made += static_cast<char>(mark | point >> (6 * tails));
        for (int i = tails - 1; i >= 0; --i)
            made += static_cast<char>(0x80 | (point >> (6 * i) & 0x3F));
    }
    return made;
}

/// `count` units that end where memory that must not be touched begins.
template <class T>
class fenced {
public:
    explicit fenced(std::size_t count) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t used = (count * sizeof(T) + page - 1) / page * page;
        size_ = used + page;
        pages_ = static_cast<char*>(
            mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(pages_ + used, page, PROT_NONE);
        data = reinterpret_cast<T*>(pages_ + used) - count;
    }
    explicit fenced(const std::basic_string<T>& text) : fenced(text.size()) {
        std::copy(text.begin(), text.end(), data);
    }
    fenced(const fenced&) = delete;
    fenced& operator=(const fenced&) = delete;
    ~fenced() { munmap(pages_, size_); }

    T* data;

private:
    char* pages_;
    std::size_t size_;
};

struct named_kernel {
    const char* name;
    const utf8_kernel* kernel;
};

/// The kernels that this machine can run.
std::vector<named_kernel> kernels() {
    std::vector<named_kernel> all{{"plain", &PLAIN_UTF8}};
    if (best_instructions() >= instructions::avx2) all.push_back({"avx2", &AVX2_UTF8});
    return all;
}

// Text and room both end at a fence.
void expect_decodes(const std::string& text) {
    const std::wstring expected = slow_decode(text);
    for (const auto& [name, kernel] : kernels()) {
        const fenced<char> source(text);
        const fenced<wchar_t> room(text.size());
        const std::size_t size = kernel->decode(source.data, text.size(), room.data);
        ASSERT_TRUE(std::wstring_view(room.data, size) == expected) << name;
    }
}

void expect_encodes(const std::wstring& text) {
    const std::string expected = slow_encode(text);
    for (const auto& [name, kernel] : kernels()) {
        const fenced<wchar_t> source(text);
        const fenced<char> room(text.size() * 4);
        const std::size_t size = kernel->encode(source.data, text.size(), room.data);
        ASSERT_TRUE(std::string_view(room.data, size) == expected) << name;
    }
}

// Between two of them stands an ASCII character, and every second is also embedded in well-formed text.
TEST(utf8_kernels, decode_all_byte_strings_up_to_three) {
    for (unsigned first = 0; first < 256; ++first) {
        std::string text;
        for (unsigned rest = 0; rest < 0x10000; ++rest) {
            text += static_cast<char>(first);
            text += static_cast<char>(rest >> 8);
            text += static_cast<char>(rest);
            text += 'A';
            if (rest % 256 == 255)
                text += "\xE2\x82\xAC\xC3\xA9 \xF0\x9F\x98\x80, and more to be stepped over at once...";
        }
        SCOPED_TRACE(first);
        expect_decodes(text);
    }
}

TEST(utf8_kernels, all_code_points_go_through) {
    std::wstring all;
    for (int c = -1; c < 0x110002; ++c)
        all += static_cast<wchar_t>(c);
    all += {static_cast<wchar_t>(0x7FFFFFFF), static_cast<wchar_t>(-0x7FFFFFFF - 1)};
    expect_encodes(all);
    expect_decodes(slow_encode(all));
}

/// Text of characters of every length, in runs, with `errors` wrong bytes in a thousand.
std::string random_text(std::mt19937& random, unsigned errors) {
    std::wstring text;
    const std::size_t size = random() % 300;
    while (text.size() < size) {
        static constexpr unsigned LIMITS[] = {0x80, 0x80, 0x800, 0x10000, 0x110000};
        const unsigned limit = LIMITS[random() % 5];
        for (unsigned run = random() % 60; run != 0; --run)
            text += static_cast<wchar_t>(random() % limit);
    }
    std::string encoded = slow_encode(text);
    for (char& c : encoded) {
        if (random() % 1000 < errors) c = static_cast<char>(random());
    }
    // mostly this cuts the last character
    encoded.resize(encoded.size() - std::min<std::size_t>(encoded.size(), random() % 3));
    return encoded;
}

TEST(utf8_kernels, random_text) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 10000; ++i) {
        const std::string text = random_text(random, i % 3 == 0 ? 0 : i % 3 == 1 ? 4 : 200);
        SCOPED_TRACE(i);
        expect_decodes(text);
        std::wstring any = slow_decode(text);
        for (wchar_t& c : any) {
            if (random() % 50 == 0) c = static_cast<wchar_t>(random());
        }
        expect_encodes(any);
    }
}

TEST(utf8, appends_to_what_is_there) {
    for (const std::size_t size : {0, 1, 255, 256, 257, 5000}) {
        std::string text;
        while (text.size() < size)
            text += "\xC3\xA9 ";
        wstringEx wide(L"<");
        append_utf8_as_wide(text, wide);
        EXPECT_EQ(std::wstring(wide.view()), L"<" + slow_decode(text));
        stringEx narrow("<");
        append_wide_as_utf8(wide.substr_view(1), narrow);
        EXPECT_EQ(std::string(narrow.view()), "<" + slow_encode(slow_decode(text)));
        if (size < 256) {
            EXPECT_LE(narrow.capacity(), size + 34) << "short text is kept with no room to spare";
        }
    }
    stringEx unused;
    EXPECT_THROW(append_wide_as_utf8({L"", SIZE_MAX / 8}, unused), std::bad_alloc);
}

}  // namespace
