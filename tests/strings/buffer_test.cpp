#include "orlo/strings/buffer.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <random>
#include <sstream>
#include <thread>
#include <tuple>

#include "strings/buffer_realloc.h"
#include "strings/twins.h"

using namespace Orlo;

namespace {

template <class T>
struct BufferStates : testing::Test {};
using AllUnits = testing::Types<char, wchar_t, unsigned char>;
TYPED_TEST_SUITE(BufferStates, AllUnits);

template <class T>
struct TextUnits : testing::Test {};
using Text = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(TextUnits, Text);

}  // namespace

// Every modifying operation, on a text alone and on a copy of one in each state, which never sees it.
TYPED_TEST(BufferStates, AChangeIsNeverSeenByACopy) {
    using buffer = basic_buffer<TypeParam>;
    const buffer more = twin<TypeParam>("XY"), roomy = twin<TypeParam>("abcdef"), text(roomy.view());
    const std::pair<void (*)(buffer&, const buffer&), const char*> changes[] = {
        {[](buffer& b, const buffer& m) { b.append(m); }, "abcdefXY"},
        {[](buffer& b, const buffer& m) { b.append(m[0]); }, "abcdefX"},
        {[](buffer& b, const buffer& m) { b.at(0) = m[0]; }, "Xbcdef"},
        {[](buffer& b, const buffer&) { b.append(b, 4, 100); }, "abcdefef"},
        {[](buffer& b, const buffer&) { b.append(b); }, "abcdefabcdef"},
        {[](buffer& b, const buffer&) { b.append(b.data() + 5, b.is_borrowed() ? 1 : 3); }, "abcdeff"},
        {[](buffer& b, const buffer& m) { b.replace_all(b.view().substr(1, 2), m.view()); }, "aXYdef"},
        {[](buffer& b, const buffer& m) { b.assign(m.view()); }, "XY"},
        {[](buffer& b, const buffer&) { b.assign(b.view().substr(2)); }, "cdef"},
        {[](buffer& b, const buffer&) { b = b.substr_view(2, 2); }, "cd"},
        {[](buffer& b, const buffer&) { b.clear(); }, ""},
        {[](buffer& b, const buffer&) { b.assign({}); }, ""},
        {[](buffer& b, const buffer& m) { b.assign_reserve(9), b.append(m); }, "XY"},
        {[](buffer& b, const buffer&) { b.reserve_for_write(1000); }, "abcdef"},
    };
    for (const auto& [change, expected] : changes) {
        for (const buffer& state : {buffer::borrow(text.view()), text, roomy}) {
            buffer alone(text.view()), copy = state;
            change(alone, more);
            change(copy, more);
            EXPECT_EQ(untwin(alone), expected);
            EXPECT_EQ(untwin(copy), expected);
            EXPECT_EQ(untwin(state), "abcdef") << expected;
            const bool terminated = buffer::is_text && !copy.is_borrowed();
            EXPECT_TRUE(!terminated || copy.data()[copy.size()] == TypeParam{}) << expected;
        }
    }
}

// A source is the object's own only inside its own block: not next to a view's end, nor at the start of an
// empty one.
TYPED_TEST(BufferStates, AppendingToAViewTakesTheWholeSource) {
    using buffer = basic_buffer<TypeParam>;
    const buffer whole = twin<TypeParam>("abc,def");
    const std::tuple<buffer, buffer, const char*> rows[] = {
        {whole.substr_view(0, 3), whole, "abcabc,def"},
        {whole.substr_view(0, 3), whole.substr_view(3), "abc,def"},
        {whole.substr_view(0, 0), whole, "abc,def"},
        {whole.substr_view(2, 3), whole.substr_view(1, 3), "c,dbc,"},
        {whole, whole.substr_view(5), "abc,defef"},
    };
    for (auto [text, source, expected] : rows)
        EXPECT_EQ(untwin(text.append(source)), expected);
}

TYPED_TEST(BufferStates, CapacityFollowsTheGrowthRule) {
    using buffer = basic_buffer<TypeParam>;
    using list = std::vector<std::uint64_t>;
    constexpr bool WIDE = sizeof(TypeParam) == 4;
    list seen;
    for (buffer grown; grown.size() < (WIDE ? 40 : 200); grown.append(TypeParam('x')))
        if (seen.empty() || grown.capacity() != seen.back()) seen.push_back(grown.capacity());
    EXPECT_EQ(seen, WIDE ? (list{0, 7, 15, 23, 34, 51}) : (list{0, 31, 63, 95, 142, 213}));

    const buffer exact(twin<TypeParam>("abc").view());
    buffer detached = exact, appended = exact, reserved = exact, cleared = exact, own(exact.view()), kept;
    kept = exact.substr(0, 2);
    kept.clear();
    detached.at(1) = TypeParam('x');
    appended.append(TypeParam('d'));
    reserved.assign_reserve(5);
    cleared.clear();
    EXPECT_EQ((list{exact.capacity(), detached.capacity(), appended.capacity(), reserved.capacity(),
                    cleared.capacity(), kept.capacity()}),
              (list{buffer::is_text + 3u, 4, WIDE ? 7 : 31, 5, 0, buffer::is_text + 2u}));
    constexpr std::size_t FULL = buffer::is_text ? 32 / sizeof(TypeParam) - 1 : 30;
    const buffer full = twin<TypeParam>(std::string(FULL, 'f'));
    buffer with_terminator = full;
    with_terminator.reserve_for_write(10);
    EXPECT_EQ(with_terminator.capacity(), buffer::is_text ? 2 * FULL + 1 : 31) << "not in the old one";
    own.assign_reserve(77);
    EXPECT_EQ(own.capacity(), 77u);
    EXPECT_EQ(buffer().capacity() + buffer(exact.view().substr(3)).capacity(), 0u) << "nothing to allocate";
    EXPECT_EQ(buffer::borrow(exact.view()).capacity(), buffer::borrowed_capacity);
}

TEST(Buffer, OffsetsBehindTheEndThrow) {
    stringEx text("abc");
    const auto read = [](auto& from, std::size_t offset) -> std::string {
        try {
            return {from.at(offset)};
        } catch (const std::out_of_range& failure) {
            return failure.what();
        }
    };
    for (const std::size_t offset : {std::size_t{3}, std::size_t{4}, stringEx::npos}) {
        EXPECT_EQ(read(text, offset), "basic_buffer::at - offset out of range");
        EXPECT_EQ(read(std::as_const(text), offset), "basic_buffer::at - offset out of range");
    }
}

TEST(Buffer, OrderAndEnds) {
    const char* const ascending[] = {"", "a", "a b", "a!", "ab", "b", "\x7f", "\x80", "\xff"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const stringEx a(ascending[i]), b(ascending[j]);
            EXPECT_TRUE((a < b) == (i < j) && (a == b) == (i == j)) << i << ' ' << j;
        }
    }
    EXPECT_TRUE(wstringEx(L"a") < wstringEx(L"\x10000") && !(wstringEx(L"\x10000") < wstringEx(L"\x0101")));
    const stringEx text("switch");
    EXPECT_TRUE(text.starts_with("swi") && text.starts_with("") && !text.starts_with("switches"));
    EXPECT_TRUE(text.ends_with("tch") && text.ends_with("") && !text.ends_with("aswitch"));
    EXPECT_TRUE(text.first_in("-s") && !text.first_in("-") && !text.first_in("") && !""_lit.first_in("s"));
}

// With texts, strings and views of the standard library, literals and pointers, on either side.
TYPED_TEST(TextUnits, ComparesWithAndAddsToStandardTexts) {
    using buffer = basic_buffer<TypeParam>;
    using string = std::basic_string<TypeParam>;
    const buffer b = twin<TypeParam>("b");
    const string a = twin<TypeParam>("a").str(), same = b.str();
    const TypeParam literal[] = {'b', 0};
    const std::basic_string_view<TypeParam> view = same;
    EXPECT_TRUE(b == same && same == b && b == view && view == b && b == literal && literal == b);
    EXPECT_TRUE(b != a && a != b && !(b == a) && !(b != literal) && b != view.substr(1));
    EXPECT_TRUE(a < b && b > a && b <= view && view >= b && !(b < literal) && !(b <= a) && literal <= b);
    EXPECT_TRUE((b <=> a) == std::strong_ordering::greater && (b <=> b) == std::strong_ordering::equal);

    const buffer ab = twin<TypeParam>("ab"), bb = twin<TypeParam>("bb");
    EXPECT_TRUE(a + b == ab && b + same == bb && b + view == bb && b + literal == bb && literal + b == bb);
    EXPECT_TRUE(TypeParam('a') + b == ab && b + TypeParam('b') == bb && b + b == bb && b == literal);
    buffer sum;
    sum += b, sum += view, sum += TypeParam('a'), sum += literal;
    EXPECT_EQ(untwin(sum), "bbab");
    const TypeParam* const block = sum.data();
    sum = std::move(sum) + b;
    EXPECT_EQ(sum.data(), block) << "the block of a temporary is used on";
    EXPECT_EQ(std::hash<buffer>()(b), std::hash<string>()(same));
}

TEST(Buffer, StreamInsertionHonoursWidthFillAndSide) {
    std::ostringstream stream;
    stream << '[' << std::setw(5) << std::setfill('.') << "ab"_lit << std::left << std::setw(5) << "ab"_lit
           << stringEx() << std::setw(1) << "abc"_lit << ']';
    EXPECT_EQ(stream.str(), "[...abab...abc]");
}

// Usable, wanted and used bytes on both sides of each limit, and the choice: plain and with tcmalloc.
TEST(BufferRealloc, ChoosesByUsableWantedAndUsed) {
    constexpr auto KEEP = IMPL::growth::keep, MORE = IMPL::growth::extend, NEW = IMPL::growth::fresh;
    const std::tuple<std::size_t, std::size_t, std::size_t, IMPL::growth, IMPL::growth> rows[] = {
        {100, 100, 10, KEEP, KEEP},      {0x20000, 0x80000, 0, MORE, NEW},
        {1000, 2000, 744, MORE, MORE},   {0x20000, 0x80001, 0, NEW, NEW},
        {1000, 2000, 743, MORE, NEW},    {0x20001, 0x100000, 0x10000, NEW, NEW},
        {768, 100000, 0, MORE, NEW},     {0x20000, 0x100000, 0x10000, MORE, NEW},
        {769, 100000, 0, NEW, NEW},      {0x80000, 0x300000, 0x40000, MORE, NEW},
        {1024, 100000, 256, MORE, NEW},  {0x80000, 0x300000, 0x3FFFF, NEW, NEW},
        {1024, 100000, 255, NEW, NEW},   {0x80001, 0x300000, 0, MORE, NEW},
        {9000, 20000, 8000, MORE, MORE}, {9001, 20000, 8000, MORE, NEW},
    };
    for (const auto& [usable, wanted, used, plain, with_tcmalloc] : rows) {
        SCOPED_TRACE(testing::Message() << usable << ' ' << wanted << ' ' << used);
        EXPECT_EQ(IMPL::choose_growth(usable, wanted, used, []() noexcept { return false; }), plain);
        EXPECT_EQ(IMPL::choose_growth(usable, wanted, used, []() noexcept { return true; }), with_tcmalloc);
    }
}

// A middle-sized block of which little is used: the used part is copied into a fresh one.
TEST(BufferRealloc, AFreshBlockHoldsTheOldContent) {
    stringEx text("what is in use");
    text.reserve_for_write(100000);
    const char* const old = text.data();
    text.reserve_for_write(600000);
    EXPECT_NE(text.data(), old);
    EXPECT_EQ(text, "what is in use");
}

// Random edits against std::string, with copies kept on the side.
TEST(Buffer, AgreesWithAPlainStringUnderRandomEdits) {
    std::mt19937 random(20);
    std::pair<stringEx, std::string> both, kept[20];
    auto& [text, plain] = both;
    for (int step = 0; step < 20000; ++step) {
        const std::size_t at = plain.empty() ? 0 : random() % plain.size(), what = random() % 8;
        const char c = static_cast<char>('a' + step % 26);
        if (what == 0) text.append(c), plain.push_back(c);
        if (what == 1) text.append(text, at, 40), plain.append(std::string(plain, at, 40));
        if (what == 2) kept[random() % 20] = both;
        if (what == 3 && !plain.empty()) text.at(at) = plain[at] = '#';
        if (what == 4) both = random() % 2 == 0 ? both : kept[random() % 20];
        if (what == 5) text.reserve_for_write(random() % 3000);
        if (what == 6 && plain.size() > 5000) text.clear(), plain.clear();
        if (what == 7) {
            const stringEx view = text.substr_view(at);
            step % 2 == 0 ? text = view : text = text.substr_view(at);
            plain = plain.substr(at);
        }
        ASSERT_EQ(text.view(), plain) << step;
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
                copy.append(mark);
                const stringEx moved = std::move(copy);
                ASSERT_TRUE(moved.size() == 30 && moved[29] == mark);
            }
            own.at(0) = mark;
        };
        std::thread first(work, shared, '1'), second(work, shared, '2');
        shared.release();
        first.join();
        second.join();
    }
}
