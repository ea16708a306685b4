// UTF-8 to wide text and back, a megabyte of it, next to the C library's iconv, ICU and simdutf (which Debian
// ships inside libnode). All write into memory that they have. A peer that the machine lacks is left out.
// Names read direction/text/engine; the rate is bytes of UTF-8 a second.
//
// At the end, what making and dropping a converter costs while another one keeps the library loaded.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <iconv.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "orlo/textconv/text_conv.h"
#include "orlo/textconv/unicode.h"
#include "strings/utf8.h"
#include "textconv/text_lib_icu.h"

using namespace Orlo;

namespace {

constexpr std::size_t TEXT_SIZE = 1 << 20;

struct text {
    const char* name;
    std::string utf8;
    std::wstring wide;
};

/// Words of two to nine characters of the ranges, which are drawn by equal chance, each word from one range.
std::wstring words(std::initializer_list<std::pair<wchar_t, wchar_t>> ranges, unsigned seed) {
    std::mt19937 random(seed);
    std::wstring made;
    while (made.size() < TEXT_SIZE) {
        const auto [first, last] = ranges.begin()[random() % ranges.size()];
        for (unsigned left = 2 + random() % 8; left != 0; --left)
            made += static_cast<wchar_t>(first + static_cast<wchar_t>(random() % (last - first + 1u)));
        made += L' ';
    }
    return made;
}

/// As in a text of German or French: every eighth letter or so is beyond ASCII.
std::wstring latin() {
    std::mt19937 random(2);
    std::wstring made = words({{L'a', L'z'}}, 3);
    for (wchar_t& c : made) {
        if (c != L' ' && random() % 8 == 0) c = static_cast<wchar_t>(0xE0 + random() % 0x20);
    }
    return made;
}

const std::vector<text>& texts() {
    static const std::vector<text> all = [] {
        std::vector<text> made;
        const auto add = [&made](const char* name, std::wstring wide) {
            const stringEx whole = WCtoUTF8(wide);
            // cut where a character begins
            std::size_t end = TEXT_SIZE;
            while ((whole[end] & 0xC0) == 0x80)
                --end;
            const std::string utf8(whole.view().substr(0, end));
            made.push_back({name, utf8, std::wstring(UTF8toWC(utf8).view())});
        };
        add("ascii", words({{L'a', L'z'}}, 1));
        add("latin", latin());
        add("cjk", words({{0x4E00, 0x9FFF}}, 4));
        add("mixed", words({{L'a', L'z'}, {0x430, 0x44F}, {0x4E00, 0x9FFF}, {0x1F600, 0x1F64F}}, 5));
        return made;
    }();
    return all;
}

/// An engine: converts between the two buffers, and returns how many elements it wrote; 0 is a failure.
struct engine {
    const char* name;
    std::function<std::size_t(std::string_view, wchar_t*)> to_wide;
    std::function<std::size_t(std::wstring_view, char*)> from_wide;
};

template <class Function>
bool find(void* library, const std::string& name, Function& function) {
    void* const address = library != nullptr ? dlsym(library, name.c_str()) : nullptr;
    function = reinterpret_cast<Function>(address);
    return address != nullptr;
}

template <class From, class To>
std::size_t by_iconv(iconv_t descriptor, std::basic_string_view<From> from, To* to) {
    char* read = const_cast<char*>(reinterpret_cast<const char*>(from.data()));
    char* write = reinterpret_cast<char*>(to);
    std::size_t size = from.size() * sizeof(From);
    std::size_t room = from.size() * 4;
    if (iconv(descriptor, &read, &size, &write, &room) != 0) return 0;
    return static_cast<std::size_t>(write - reinterpret_cast<char*>(to)) / sizeof(To);
}

/// ICU's fastest road: through its own UTF-16.
void add_icu(std::vector<engine>& engines) {
    using error = int;
    char16_t* (*from_utf8)(char16_t*, std::int32_t, std::int32_t*, const char*, std::int32_t, error*);
    char32_t* (*to_utf32)(char32_t*, std::int32_t, std::int32_t*, const char16_t*, std::int32_t, error*);
    char16_t* (*from_utf32)(char16_t*, std::int32_t, std::int32_t*, const char32_t*, std::int32_t, error*);
    char* (*to_utf8)(char*, std::int32_t, std::int32_t*, const char16_t*, std::int32_t, error*);
    for (int version = 99; version >= 44; --version) {
        const std::string number = std::to_string(version);
        void* const icu = dlopen(("libicuuc.so." + number).c_str(), RTLD_LAZY);
        if (!find(icu, "u_strFromUTF8_" + number, from_utf8) ||
            !find(icu, "u_strToUTF32_" + number, to_utf32) ||
            !find(icu, "u_strFromUTF32_" + number, from_utf32) ||
            !find(icu, "u_strToUTF8_" + number, to_utf8))
            continue;
        const auto units = std::make_shared<std::vector<char16_t>>(2 * TEXT_SIZE);
        const auto room = static_cast<std::int32_t>(2 * TEXT_SIZE);
        engines.push_back(
            {"icu",
             [=](std::string_view from, wchar_t* to) {
                 std::int32_t count = 0, written = 0;
                 error failed = 0;
                 from_utf8(units->data(), room, &count, from.data(), static_cast<std::int32_t>(from.size()),
                           &failed);
                 to_utf32(reinterpret_cast<char32_t*>(to), room, &written, units->data(), count, &failed);
                 return failed <= 0 ? static_cast<std::size_t>(written) : 0;
             },
             [=](std::wstring_view from, char* to) {
                 std::int32_t count = 0, written = 0;
                 error failed = 0;
                 from_utf32(units->data(), room, &count, reinterpret_cast<const char32_t*>(from.data()),
                            static_cast<std::int32_t>(from.size()), &failed);
                 to_utf8(to, 2 * room, &written, units->data(), count, &failed);
                 return failed <= 0 ? static_cast<std::size_t>(written) : 0;
             }});
        return;
    }
}

void add_simdutf(std::vector<engine>& engines) {
    std::size_t (*to_utf32)(const char*, std::size_t, char32_t*);
    std::size_t (*to_utf8)(const char32_t*, std::size_t, char*);
    for (const char* const name : {"libsimdutf.so", "libnode.so.108", "libnode.so.115"}) {
        void* const library = dlopen(name, RTLD_LAZY);
        if (!find(library, "_ZN7simdutf21convert_utf8_to_utf32EPKcmPDi", to_utf32) ||
            !find(library, "_ZN7simdutf21convert_utf32_to_utf8EPKDimPc", to_utf8))
            continue;
        engines.push_back({"simdutf",
                           [=](std::string_view from, wchar_t* to) {
                               return to_utf32(from.data(), from.size(), reinterpret_cast<char32_t*>(to));
                           },
                           [=](std::wstring_view from, char* to) {
                               return to_utf8(reinterpret_cast<const char32_t*>(from.data()), from.size(),
                                              to);
                           }});
        return;
    }
}

std::vector<engine> engines() {
    std::vector<engine> all;
    const auto wide = std::make_shared<wstringEx>();
    const auto narrow = std::make_shared<stringEx>();
    all.push_back({"orlo",
                   [wide](std::string_view from, wchar_t*) {
                       wide->clear();
                       IMPL::append_utf8_as_wide(from, *wide);
                       return wide->size();
                   },
                   [narrow](std::wstring_view from, char*) {
                       narrow->clear();
                       IMPL::append_wide_as_utf8(from, *narrow);
                       return narrow->size();
                   }});
    all.push_back({"iconv",
                   [cd = iconv_open("UCS-4LE", "UTF-8")](std::string_view from, wchar_t* to) {
                       return by_iconv(cd, from, to);
                   },
                   [cd = iconv_open("UTF-8", "UCS-4LE")](std::wstring_view from, char* to) {
                       return by_iconv(cd, from, to);
                   }});
    add_icu(all);
    add_simdutf(all);
    return all;
}

template <class From, class To, class Convert>
void run(benchmark::State& state, std::basic_string_view<From> from, std::size_t expected,
         std::size_t utf8_size, Convert convert) {
    std::vector<To> room(4 * from.size() + 64);
    if (convert(from, room.data()) != expected) state.SkipWithError("the result is wrong");
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert(from, room.data()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(utf8_size));
}

/// Making and dropping a converter while `kept` lives.
void make_and_drop(benchmark::State& state, const shared_ptr<TTextConv>& kept) {
    for (auto _ : state)
        benchmark::DoNotOptimize(kept->Clone());
}

[[maybe_unused]] const bool registered = [] {
    for (const text& each : texts()) {
        for (const engine& with : engines()) {
            const std::string tail = std::string("/") + each.name + "/" + with.name;
            benchmark::RegisterBenchmark(("to_wide" + tail).c_str(), [&each, with](benchmark::State& state) {
                run<char, wchar_t>(state, each.utf8, each.wide.size(), each.utf8.size(), with.to_wide);
            });
            benchmark::RegisterBenchmark(
                ("from_wide" + tail).c_str(), [&each, with](benchmark::State& state) {
                    run<wchar_t, char>(state, each.wide, each.utf8.size(), each.utf8.size(), with.from_wide);
                });
        }
    }
    benchmark::RegisterBenchmark("make_and_drop/iconv", [](benchmark::State& state) {
        make_and_drop(state, TTextConv::Create("KOI8-R"_lit));
    });
    benchmark::RegisterBenchmark("make_and_drop/icu", [](benchmark::State& state) {
        make_and_drop(state, shared_ptr<TTextConv>(new CTextLibIcu("KOI8-R"_lit)));
    });
    benchmark::RegisterBenchmark("make_and_drop/utf8", [](benchmark::State& state) {
        make_and_drop(state, TTextConv::Create("UTF-8"_lit));
    });
    return true;
}();

}  // namespace
