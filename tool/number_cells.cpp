// The numbers in cells, by the rules of `Orlo::parse_int64`, fast for what cells mostly hold: a minus sign or
// none, and a few digits.
//
// Eight characters are loaded as one word and moved up until the last digit is the highest byte; "0" is
// filled in below, as if the number had leading zeros. One test tells whether all eight are digits. Three
// multiplications then add neighbours up: digits to pairs, pairs to fours, fours to eight. "12345" becomes
// "00012345", then 00 01 23 45, then 0001 2345, then 12345.
//
// With AVX2 four cells go through this side by side and are added to their sums as they are; a minus sign
// costs one of the eight characters there. Alone, a cell may have sixteen digits, taken in two steps. Blanks,
// a plus sign, text after the digits, and numbers that may saturate are left to `Orlo::parse_int64`, cell by cell.

#include "number_cells.h"

#include <immintrin.h>

#include <cstring>
#include <string_view>

#include "orlo/strings/buffer.h"

namespace tallycsv {
namespace {

constexpr std::uint64_t ZEROS = 0x3030303030303030u;

/// The first `digits` (1 to 8) characters at `text` in the highest bytes, "0" below. Reads eight bytes.
std::uint64_t load_right(const char* text, std::size_t digits) {
    std::uint64_t word;
    static_assert(sizeof word <= Orlo::csv_rows_view::readable_after);
    std::memcpy(&word, text, sizeof word);
    return word << (64 - 8 * digits) | ZEROS >> (8 * digits - 8) >> 8;
}

bool all_digits(std::uint64_t word) {
    constexpr std::uint64_t high = 0xF0F0F0F0F0F0F0F0u;
    return ((word & high) | ((word + 0x0606060606060606u) & high) >> 4) == 0x3333333333333333u;
}

std::uint64_t value_of(std::uint64_t word) {
    word = (word & 0x0F0F0F0F0F0F0F0Fu) * 2561 >> 8;
    word = (word & 0x00FF00FF00FF00FFu) * 6553601 >> 16;
    return (word & 0x0000FFFF0000FFFFu) * 42949672960001 >> 32;
}

/// The value of up to sixteen characters, if all are digits.
bool digits_to_value(const char* text, std::size_t digits, std::uint64_t& value) {
    if (digits - 1 < 8) {
        const std::uint64_t word = load_right(text, digits);
        value = value_of(word);
        return all_digits(word);
    }
    if (digits - 9 < 8) {
        const std::uint64_t high = load_right(text, digits - 8);
        const std::uint64_t low = load_right(text + digits - 8, 8);
        value = value_of(high) * 100000000 + value_of(low);
        return all_digits(high) && all_digits(low);
    }
    return false;
}

/// The number of one cell.
std::int64_t number_of(std::string_view cell) {
    if (cell.empty()) return 0;
    const bool minus = cell.front() == '-';
    std::uint64_t value;
    if (digits_to_value(cell.data() + minus, cell.size() - minus, value)) {
        return static_cast<std::int64_t>(minus ? 0 - value : value);
    }
    return Orlo::parse_int64(Orlo::stringEx::borrow(cell));
}

[[gnu::noinline]] void add_cells(const char* base, const Orlo::csv_cell* cell, std::size_t count,
                                 std::int64_t* sums) {
    for (; count != 0; --count, ++cell, ++sums) {
        const std::int64_t number = number_of({base + cell->begin, cell->length()});
        *sums =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(*sums) + static_cast<std::uint64_t>(number));
    }
}

}  // namespace

void number_cells::add_one_by_one(std::span<const merge_key> rows, const char* base,
                                  std::size_t key_columns) {
    for (const merge_key& row : rows)
        add_cells(base, row.cells + key_columns, row.sum_cells, row.group->sums);
}

namespace {

static_assert(Orlo::csv_rows_view::spare_cells >= 3 && Orlo::csv_rows_view::readable_after >= 8);

/// Four cells in the order 0, 2, 1 and 3, the one in which vectors of their offsets come. Up to three of them
/// may be spare ones.
struct four_cells {
    __m256i texts;  ///< the first eight bytes of each
    __m256i lengths;
};

[[gnu::target("avx2"), gnu::always_inline]] inline four_cells load(const char* base,
                                                                   const Orlo::csv_cell* cell) {
    long long words[4];
    std::memcpy(&words[0], base + cell[0].begin, 8);
    std::memcpy(&words[1], base + cell[2].begin, 8);
    std::memcpy(&words[2], base + cell[1].begin, 8);
    std::memcpy(&words[3], base + cell[3].begin, 8);
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cell));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cell + 2));
    return {_mm256_set_epi64x(words[3], words[2], words[1], words[0]),
            _mm256_sub_epi64(_mm256_unpackhi_epi64(low, high), _mm256_unpacklo_epi64(low, high))};
}

/// All bits set for the first so many cells, in that order.
alignas(32) constexpr std::int64_t FIRST_CELLS[][4] = {{}, {-1}, {-1, 0, -1}, {-1, -1, -1}};

/// The numbers of four cells in their own order; false if one of them is for `Orlo::parse_int64`.
[[gnu::target("avx2"), gnu::always_inline]] inline bool numbers_of(const four_cells& cells,
                                                                   __m256i& numbers) {
    const __m256i zeros = _mm256_set1_epi8('0');
    const __m256i first_byte = _mm256_and_si256(cells.texts, _mm256_set1_epi64x(0xFF));
    const __m256i minus = _mm256_cmpeq_epi64(first_byte, _mm256_set1_epi64x('-'));
    const __m256i sign_bits = _mm256_and_si256(minus, _mm256_set1_epi64x(8));
    const __m256i digit_bits = _mm256_sub_epi64(_mm256_slli_epi64(cells.lengths, 3), sign_bits);
    const __m256i unused_bits = _mm256_sub_epi64(_mm256_set1_epi64x(64), digit_bits);

    // Shifts by 64 and more, or by less than 0, give 0. So an empty cell becomes all "0"; one of more
    // than eight characters, or an empty one followed by a "-", gets zero bytes, which are no digits.
    const __m256i digits = _mm256_sllv_epi64(_mm256_srlv_epi64(cells.texts, sign_bits), unused_bits);
    const __m256i word = _mm256_or_si256(digits, _mm256_srlv_epi64(zeros, digit_bits));
    const __m256i values = _mm256_xor_si256(word, zeros);
    const __m256i above_nine = _mm256_subs_epu8(values, _mm256_set1_epi8(9));
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(1 << 8 | 10));
    const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(1 << 16 | 100));
    const __m256i sum =
        _mm256_add_epi64(_mm256_mul_epu32(fours, _mm256_set1_epi64x(10000)), _mm256_srli_epi64(fours, 32));
    const __m256i signed_sum = _mm256_sub_epi64(_mm256_xor_si256(sum, minus), minus);
    numbers = _mm256_permute4x64_epi64(signed_sum, 0xD8);
    return _mm256_testz_si256(above_nine, above_nine) != 0;
}

[[gnu::target("avx2"), gnu::always_inline]] inline void add_pair(std::int64_t* sums, __m128i two) {
    const auto at = reinterpret_cast<__m128i*>(sums);
    _mm_storeu_si128(at, _mm_add_epi64(_mm_loadu_si128(at), two));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void add_one(std::int64_t* sum, __m128i one) {
    const auto at = reinterpret_cast<__m128i*>(sum);
    _mm_storel_epi64(at, _mm_add_epi64(_mm_loadl_epi64(at), one));
}

}  // namespace

[[gnu::target("avx2")]] void number_cells::add_by_fours(std::span<const merge_key> rows, const char* base,
                                                        std::size_t key_columns) {
    for (const merge_key& row : rows) {
        const Orlo::csv_cell* cell = row.cells + key_columns;
        const Orlo::csv_cell* const end = cell + row.sum_cells;
        std::int64_t* sums = row.group->sums;
        __m256i numbers;
        for (; end - cell >= 4; cell += 4, sums += 4) {
            if (numbers_of(load(base, cell), numbers)) [[likely]] {
                const auto at = reinterpret_cast<__m256i*>(sums);
                _mm256_storeu_si256(at, _mm256_add_epi64(_mm256_loadu_si256(at), numbers));
            } else {
                add_cells(base, cell, 4, sums);
            }
        }
        const auto left = static_cast<std::size_t>(end - cell);
        if (left == 0) continue;
        // those after the row's last cell are loaded, too, and made empty
        const __m256i counted = _mm256_load_si256(reinterpret_cast<const __m256i*>(FIRST_CELLS[left]));
        const four_cells all = load(base, cell);
        const four_cells some = {_mm256_and_si256(all.texts, counted),
                                 _mm256_and_si256(all.lengths, counted)};
        if (!numbers_of(some, numbers)) [[unlikely]] {
            add_cells(base, cell, left, sums);
            continue;
        }
        __m128i last = _mm256_castsi256_si128(numbers);
        if (left >= 2) {
            add_pair(sums, last);
            sums += 2;
            last = _mm256_extracti128_si256(numbers, 1);
        }
        if (left % 2 != 0) add_one(sums, last);
    }
}

namespace {

// the program uses public headers only, so it asks the processor by itself
const auto chosen =
    __builtin_cpu_supports("avx2") ? number_cells::add_by_fours : number_cells::add_one_by_one;

}  // namespace

void add_numbers(std::span<const merge_key> rows, const char* base, std::size_t key_columns) {
    chosen(rows, base, key_columns);
}

}  // namespace tallycsv
