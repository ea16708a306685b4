#include "orlo/strings/buffer.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "strings/buffer_realloc.h"

namespace Orlo {
namespace {

template <class T>
class BufferStates : public testing::Test {
public:
    static basic_buffer<T> text(std::string_view ascii) {
        std::basic_string<T> wide(ascii.begin(), ascii.end());
        return basic_buffer<T>(wide.data(), wide.size());
    }
};
using AllUnits = testing::Types<char, wchar_t, unsigned char>;
TYPED_TEST_SUITE(BufferStates, AllUnits);

/// Every state a text can be in, each holding the same text "abcdef".
template <class T>
std::vector<basic_buffer<T>> in_every_state(const basic_buffer<T>& original,
                                            std::vector<basic_buffer<T>>& others) {
    std::vector<basic_buffer<T>> states;
    states.push_back(basic_buffer<T>::borrow(original.view()));
    states.emplace_back(original.view());
    states.push_back(original);
    others.push_back(original);
    states.emplace_back(original.view());
    states.back().reserve_for_write(200);
    return states;
}

// Copy, change either side by every modifying operation, compare: the other side never sees it.
TYPED_TEST(BufferStates, AChangeIsNeverSeenByACopy) {
    using buffer = basic_buffer<TypeParam>;
    const buffer original = this->text("abcdef");
    const buffer more = this->text("XY");
    using change = void (*)(buffer&, const buffer&);
    const std::pair<change, const char*> changes[] = {
        {[](buffer& b, const buffer& m) { b.append(m); }, "abcdefXY"},
        {[](buffer& b, const buffer& m) { b.append(m[0]); }, "abcdefX"},
        {[](buffer& b, const buffer& m) { b.at(0) = m[0]; }, "Xbcdef"},
        {[](buffer& b, const buffer&) { b.append(b, 4, 100); }, "abcdefef"},
        {[](buffer& b, const buffer&) { b.append(b); }, "abcdefabcdef"},
        {[](buffer& b, const buffer&) { b.append(b.data() + 5, 3); }, "abcdeff"},
        {[](buffer& b, const buffer& m) { b.replace_all(b.view().substr(1, 2), m.view()); }, "aXYdef"},
        {[](buffer& b, const buffer& m) { b.assign(m.view()); }, "XY"},
        {[](buffer& b, const buffer&) { b.assign(b.view().substr(2)); }, "cdef"},
        {[](buffer& b, const buffer&) { b = b.substr_view(2, 2); }, "cd"},
        {[](buffer& b, const buffer&) { b.clear(); }, ""},
        {[](buffer& b, const buffer& m) { b.assign_reserve(9), b.append(m); }, "XY"},
        {[](buffer& b, const buffer&) { b.reserve_for_write(1000); }, "abcdef"},
    };
    for (const auto& [apply, expected] : changes) {
        std::vector<buffer> others;
        for (const buffer& state : in_every_state(original, others)) {
            buffer changed = state;
            const buffer kept = changed;
            apply(changed, more);
            EXPECT_TRUE(changed == this->text(expected)) << expected;
            EXPECT_TRUE(kept == original) << expected;
            EXPECT_TRUE(state == original) << expected;
            if constexpr (buffer::is_text) {
                if (!changed.is_borrowed()) {
                    EXPECT_EQ(changed.data()[changed.size()], TypeParam{}) << expected;
                }
            }
        }
        EXPECT_TRUE(original == this->text("abcdef"));
    }
}

TYPED_TEST(BufferStates, CapacityFollowsTheGrowthRule) {
    using buffer = basic_buffer<TypeParam>;
    const std::vector<std::uint64_t> expected = sizeof(TypeParam) == 4
                                                    ? std::vector<std::uint64_t>{7, 15, 23, 34, 51}
                                                    : std::vector<std::uint64_t>{31, 63, 95, 142, 213};
    std::vector<std::uint64_t> seen;
    buffer grown;
    while (seen.size() < expected.size()) {
        grown.append(TypeParam('x'));
        if (seen.empty() || grown.capacity() != seen.back()) seen.push_back(grown.capacity());
    }
    EXPECT_EQ(seen, expected);

    const std::uint64_t terminator = buffer::is_text ? 1 : 0;
    buffer owned = this->text("abc");
    EXPECT_EQ(owned.capacity(), 3 + terminator);
    const buffer share = owned;
    owned.at(1) = TypeParam('x');
    EXPECT_EQ(owned.capacity(), 4u) << "a detached copy has size + 1 elements";
    buffer shared = share;
    shared.append(TypeParam('d'));
    EXPECT_EQ(shared.capacity(), sizeof(TypeParam) == 4 ? 7u : 31u);
    EXPECT_EQ(buffer().capacity(), 0u);
    EXPECT_EQ(buffer::borrow(share.view()).capacity(), buffer::borrowed_capacity);
    EXPECT_EQ(this->text("").capacity(), 0u) << "an empty text allocates nothing";

    owned.assign_reserve(77);
    EXPECT_EQ(owned.capacity(), 77u);
    buffer second = share;
    second.assign_reserve(5);
    EXPECT_EQ(second.capacity(), 5u);
}

TEST(Buffer, ClearKeepsAUniqueBlockAndGivesUpAShare) {
    stringEx unique("some text");
    const char* const block = unique.data();
    unique.clear();
    unique.append("again");
    EXPECT_EQ(unique.data(), block);

    stringEx shared = unique;
    shared.clear();
    EXPECT_EQ(shared.capacity(), 0u);
    EXPECT_FALSE(unique.is_shared());
    shared.append('x');
    EXPECT_EQ(shared.capacity(), 31u);
    EXPECT_EQ(unique, "again");
}

TEST(Buffer, AssignmentBetweenViewsAndOwnersKeepsTextAlive) {
    stringEx path("/data/in/file.csv");
    path = path.tail_view("/");
    EXPECT_EQ(path, "file.csv");
    path = path.head_view(".");
    EXPECT_EQ(path, "file");
    const stringEx view = path.substr_view(0);
    path = view;
    EXPECT_EQ(path, "file");
    path.append(".txt");
    EXPECT_EQ(path, "file.txt");
    stringEx& self = path;
    path = self;
    path = std::move(self);
    EXPECT_EQ(path, "file.txt");
}

TEST(Buffer, OffsetsBehindTheEndThrow) {
    stringEx text("abc");
    const stringEx& reading = text;
    for (const std::size_t offset : {std::size_t{3}, std::size_t{4}, stringEx::npos}) {
        for (const bool write : {false, true}) {
            try {
                static_cast<void>(write ? text.at(offset) : reading.at(offset));
                ADD_FAILURE() << offset;
            } catch (const std::out_of_range& failure) {
                EXPECT_STREQ(failure.what(), "basic_buffer::at - offset out of range");
            }
        }
    }
}

TEST(Buffer, OrderAndEnds) {
    const char* const ascending[] = {"", "a", "a b", "a!", "ab", "b", "\x7f", "\x80", "\xff"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            EXPECT_EQ(stringEx(ascending[i]) < stringEx(ascending[j]), i < j) << i << ' ' << j;
            EXPECT_EQ(stringEx(ascending[i]) == stringEx(ascending[j]), i == j) << i << ' ' << j;
        }
    }
    EXPECT_TRUE(wstringEx(L"a") < wstringEx(L"\x10000"));
    EXPECT_FALSE(wstringEx(L"\x10000") < wstringEx(L"\x0101"));
    const stringEx text("switch");
    EXPECT_TRUE(text.starts_with("swi") && text.starts_with("") && !text.starts_with("switches"));
    EXPECT_TRUE(text.ends_with("tch") && text.ends_with("") && !text.ends_with("aswitch"));
    EXPECT_TRUE(text.first_in("-s") && !text.first_in("-") && !text.first_in("") &&
                !stringEx().first_in("s"));
}

TEST(Buffer, StreamInsertionHonoursWidthFillAndSide) {
    std::ostringstream stream;
    stream << '[' << std::setw(5) << std::setfill('.') << "ab"_lit << std::left << std::setw(5) << "ab"_lit
           << stringEx() << std::setw(1) << "abc"_lit << ']';
    EXPECT_EQ(stream.str(), "[...abab...abc]");
}

// The choice of the allocator helper over its whole table; `used` and `wanted` in bytes.
TEST(BufferRealloc, ChoosesByUsableWantedAndUsed) {
    using IMPL::growth;
    struct row {
        std::size_t usable, wanted, used;
        growth plain, with_tcmalloc;
    };
    const row rows[] = {
        {100, 100, 10, growth::keep, growth::keep},
        {1000, 2000, 744, growth::extend, growth::extend},   // slack 256
        {1000, 2000, 743, growth::extend, growth::fresh},    // slack 257, wanted at most twice usable
        {768, 100000, 0, growth::extend, growth::fresh},     // small
        {769, 100000, 0, growth::fresh, growth::fresh},      // middle, hardly used, grows a lot
        {1024, 100000, 256, growth::extend, growth::fresh},  // a quarter used
        {1024, 100000, 255, growth::fresh, growth::fresh},
        {0x20000, 0x40000, 0, growth::extend, growth::fresh},  // exactly twice
        {0x20000, 0x80000, 0, growth::extend, growth::fresh},  // not above four times
        {0x20000, 0x80001, 0, growth::fresh, growth::fresh},
        {0x20001, 0x100000, 0x10000, growth::fresh, growth::fresh},  // above middle, less than half used
        {0x20000, 0x100000, 0x10000, growth::extend, growth::fresh},
        {0x80000, 0x300000, 0x40000, growth::extend, growth::fresh},  // half used
        {0x80000, 0x300000, 0x3FFFF, growth::fresh, growth::fresh},
        {0x80001, 0x300000, 0, growth::extend, growth::fresh},  // remapped, not copied
        {9000, 20000, 8000, growth::extend, growth::extend},
        {9001, 20000, 8000, growth::extend, growth::fresh},
    };
    for (const row& r : rows) {
        EXPECT_EQ(IMPL::choose_growth(r.usable, r.wanted, r.used, []() noexcept { return false; }), r.plain)
            << r.usable << ' ' << r.wanted << ' ' << r.used;
        EXPECT_EQ(IMPL::choose_growth(r.usable, r.wanted, r.used, []() noexcept { return true; }),
                  r.with_tcmalloc)
            << r.usable << ' ' << r.wanted << ' ' << r.used;
    }
}

// Random edits against std::string, with copies kept on the side.
TEST(Buffer, AgreesWithAPlainStringUnderRandomEdits) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    stringEx text;
    std::string plain;
    std::vector<std::pair<stringEx, std::string>> kept;
    for (int step = 0; step < 20000; ++step) {
        const std::size_t at = plain.empty() ? 0 : random() % plain.size();
        switch (random() % 8) {
            case 0:
                text.append(static_cast<char>('a' + step % 26));
                plain.push_back(static_cast<char>('a' + step % 26));
                break;
            case 1:
                text.append(text, at, 40);
                plain.append(std::string(plain, at, 40));
                break;
            case 2:
                kept.emplace_back(text, plain);
                break;
            case 3:
                if (plain.empty()) break;
                text.at(at) = '#';
                plain[at] = '#';
                break;
            case 4:
                if (!kept.empty()) std::tie(text, plain) = kept[random() % kept.size()];
                break;
            case 5:
                text.reserve_for_write(random() % 3000);
                break;
            case 6:
                if (plain.size() > 5000) text.clear(), plain.clear();
                break;
            case 7:
                text = text.substr_view(at);
                plain = plain.substr(at);
                break;
        }
        ASSERT_EQ(text.view(), plain) << step;
        if (kept.size() > 20) kept.erase(kept.begin());
    }
    for (const auto& [shared, expected] : kept)
        EXPECT_EQ(shared.view(), expected);
}

// Two threads copy, read, change and destroy objects that share a block; the sanitizers watch.
TEST(Buffer, SharedBlocksServeTwoThreads) {
    for (int round = 0; round < 200; ++round) {
        stringEx shared("a text that both threads hold");
        const auto work = [](stringEx own, char mark) {
            for (int i = 0; i < 50; ++i) {
                stringEx copy = own;
                ASSERT_EQ(copy.size(), 29u);
                copy.append(mark);
                stringEx second = std::move(copy);
                ASSERT_EQ(second[29], mark);
            }
            own.at(0) = mark;
            ASSERT_EQ(own[0], mark);
        };
        std::thread first(work, shared, '1');
        std::thread second(work, shared, '2');
        shared.release();
        first.join();
        second.join();
    }
}

}  // namespace
}  // namespace Orlo
