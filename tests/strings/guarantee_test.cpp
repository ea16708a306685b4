// Every operation that changes a text, with each of its allocations failing in turn: the text, whatever its
// state, and the other owners of its block hold what they held, and the text is as usable as before.

#include <gtest/gtest.h>

#include <new>

#include "orlo/strings/dump.h"
#include "orlo/strings/environment.h"
#include "orlo/strings/match_cmd.h"
#include "strings/twins.h"
#include "support/allocations.h"

using namespace Orlo;
using testing_support::allocations::fail_nth;
using testing_support::allocations::fault_happened;

namespace {

template <class T>
struct Guarantee : testing::Test {};
using TextUnits = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Guarantee, TextUnits);

/// Longer than the rounding of blocks, with something to find for each operation.
constexpr std::string_view TEXT = "  <a> & $O_HOLD \\n ~k \"Quoted\" text that is longer than a block  ";

template <class T>
struct twice_cmd : IStrMatchCmd<basic_buffer<T>> {
    std::int32_t Match(const basic_buffer<T>&, basic_buffer<T>& out) override {
        for (int i = 0; i < 40; ++i)
            out.append(T('x'));
        return MATCH_REPLACE;
    }
    std::uint64_t GetMatchedLen() const override { return 1; }
};

template <class T>
using change = void (*)(basic_buffer<T>&);

template <class T>
const std::vector<change<T>>& changes() {
    using buffer = basic_buffer<T>;
    static const T formatted[] = {'%', 'd', '%', '1', '0', '0', '0', 'd', 0};
    static const T letter[] = {'%', 'd', 0};
    static const buffer long_text = twin<T>(std::string(2000, 'y')), a = twin<T>("a");
    static const str_replacement<buffer> table[] = {{long_text, twin<T>("k")}, {}};
    static const std::vector<change<T>> ALL = {
        [](buffer& b) { b.append(long_text); },
        [](buffer& b) { b.append(b); },
        [](buffer& b) { b.append(T('x')); },
        [](buffer& b) { b.at(2) = T('x'); },
        [](buffer& b) { b.reserve_for_write(1000); },
        [](buffer& b) { b.assign_reserve(1000); },
        [](buffer& b) { b.assign(long_text.view()); },
        [](buffer& b) { b.assign(b.view().substr(3)); },
        [](buffer& b) { b = b.substr_view(1, 40); },
        [](buffer& b) { b.append_number(std::int64_t{-77}); },
        [](buffer& b) { b.assign_number(std::int64_t{-77}); },
        [](buffer& b) { b.assign_number(~std::uint64_t{0}, 2); },
        [](buffer& b) { b.replace_all(a.view(), long_text.view()); },
        [](buffer& b) { b.trim(); },
        [](buffer& b) { b.to_upper(); },
        [](buffer& b) { b.format(100, letter, 5); },
        [](buffer& b) { b.format(stringEx::npos, formatted, 5, 6); },
        [](buffer& b) { b.append_format(100, letter, 5); },
        [](buffer& b) { b.append_format(1000, formatted, 5, 6); },
        [](buffer& b) { b.xml_escape_append_to(b); },
        [](buffer& b) { b.xml_restore_append_to(b); },
        [](buffer& b) { b.html_escape_append_to(b); },
        [](buffer& b) { b.json_escape_append_to(b); },
        [](buffer& b) { b.json_restore_append_to(b); },
        [](buffer& b) { buffer(b.view()).json_escape_append_to(b); },
        [](buffer& b) {
            twice_cmd<T> cmd;
            b.replace_by_cmd(T('~'), cmd);
        },
        [](buffer& b) {
            twice_cmd<T> cmd;
            buffer::replace_by_cmd(long_text, b, T('y'), cmd);
        },
        [](buffer& b) {
            twice_cmd<T> cmd;
            buffer::replace_between(b, b, a.view(), a.view(), cmd);
        },
        [](buffer& b) { b.replace_by_table(T('~'), table); },
        [](buffer& b) { ExpandEnvRefs(b); },
        [](buffer& b) { c_array_dump(b, twin<unsigned char>(TEXT), b); },
        [](buffer& b) { hex_dump(b, twin<unsigned char>(TEXT)); },
    };
    return ALL;
}

}  // namespace

TYPED_TEST(Guarantee, AFailedAllocationLeavesEveryTextAsItWas) {
    using buffer = basic_buffer<TypeParam>;
    SetEnv("O_HOLD", std::string(500, 'h'));
    const buffer exact = twin<TypeParam>(TEXT);
    enum { EMPTY, BORROWED, SHARED, EXACT, ROOMY, STATES };
    for (std::size_t number = 0; number < changes<TypeParam>().size(); ++number) {
        for (int state = EMPTY; state < STATES; ++state) {
            bool failed = true;
            for (int n = 0; failed; ++n) {
                SCOPED_TRACE(testing::Message() << "change " << number << " state " << state << " n " << n);
                buffer text;
                if (state == BORROWED) text = buffer::borrow(exact.view());
                if (state == SHARED) text = exact;
                if (state >= EXACT) text = buffer(exact.view());
                if (state == ROOMY) text.reserve_for_write(exact.size() + 40);
                const std::string before = untwin(text);
                fail_nth(n);
                bool threw = false;
                try {
                    changes<TypeParam>()[number](text);
                } catch (const std::bad_alloc&) {
                    threw = true;
                } catch (const std::out_of_range&) {
                    // the empty text has no such element
                }
                failed = fault_happened();
                ASSERT_EQ(threw, failed);
                ASSERT_TRUE(!failed || untwin(text) == before) << untwin(text);
                ASSERT_EQ(untwin(exact), TEXT);
                text.append(TypeParam('.'));
                ASSERT_EQ(text[text.size() - 1], TypeParam('.'));
            }
        }
    }
}
