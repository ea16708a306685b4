// The numbers in cells, by the rules of `Orlo::parse_int64`, fast for what cells mostly hold: a minus sign or
// none, and a few digits.
//
// Eight characters are loaded as one word and moved up until the last digit is the highest byte; "0" is
// filled in below, as if the number had leading zeros. One test tells whether all eight are digits. Three
// multiplications then add neighbours up: digits to pairs, pairs to fours, fours to eight. "12345" becomes
// "00012345", then 00 01 23 45, then 0001 2345, then 12345.
//
// With AVX2 four cells go through this side by side; a minus sign costs one of the eight characters there.
// Alone, a cell may have sixteen digits, taken in two steps. Blanks, a plus sign, text behind the digits, and
// numbers that may saturate go the slow road, cell by cell.

#include "number_cells.h"

#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "orlo/strings/buffer.h"

namespace tallycsv {
namespace {

constexpr std::uint64_t ZEROS = 0x3030303030303030u;

/// The first `digits` (1 to 8) characters at `text` in the highest bytes, "0" below. Reads eight bytes.
std::uint64_t load_right(const char* text, std::size_t digits) {
    std::uint64_t word;
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

/// The number of one cell, behind which eight bytes can be read.
std::int64_t number_of(std::string_view cell) {
    if (cell.empty()) return 0;
    const bool minus = cell.front() == '-';
    std::uint64_t value;
    if (digits_to_value(cell.data() + minus, cell.size() - minus, value)) {
        return static_cast<std::int64_t>(minus ? 0 - value : value);
    }
    return Orlo::parse_int64(Orlo::stringEx::borrow(cell));
}

}  // namespace

void number_cells::one_by_one(const Orlo::csv_row_view& row, std::size_t first, std::int64_t* numbers) {
    for (std::size_t i = first; i < row.size(); ++i)
        *numbers++ = number_of(row[i]);
}

namespace {

/// The first eight bytes of the cells 0, 2, 1 and 3: the order in which `lengths_of` has their lengths.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i texts_of(const char* base,
                                                                    const Orlo::csv_cell* cell) {
    long long words[4];
    std::memcpy(&words[0], base + cell[0].begin, 8);
    std::memcpy(&words[1], base + cell[2].begin, 8);
    std::memcpy(&words[2], base + cell[1].begin, 8);
    std::memcpy(&words[3], base + cell[3].begin, 8);
    return _mm256_set_epi64x(words[3], words[2], words[1], words[0]);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i lengths_of(const Orlo::csv_cell* cell) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cell));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cell + 2));
    return _mm256_unpackhi_epi64(low, high);
}

/// Writes the numbers of all cells up to the first four of which one needs the slow road; returns these.
[[gnu::target("avx2"), gnu::always_inline]] inline const Orlo::csv_cell* plain_fours(
    const char* base, const Orlo::csv_cell* cell, const Orlo::csv_cell* end, std::int64_t*& numbers) {
    const __m256i zeros = _mm256_set1_epi8('0');
    for (; cell < end; cell += 4, numbers += 4) {
        const __m256i text = texts_of(base, cell);
        const __m256i first_byte = _mm256_and_si256(text, _mm256_set1_epi64x(0xFF));
        const __m256i minus = _mm256_cmpeq_epi64(first_byte, _mm256_set1_epi64x('-'));
        const __m256i sign_bits = _mm256_and_si256(minus, _mm256_set1_epi64x(8));
        const __m256i digit_bits = _mm256_sub_epi64(_mm256_slli_epi64(lengths_of(cell), 3), sign_bits);
        const __m256i unused_bits = _mm256_sub_epi64(_mm256_set1_epi64x(64), digit_bits);

        // Shifts by 64 and more, or by less than 0, give 0. So an empty cell becomes all "0"; one of more
        // than eight characters, or an empty one in front of a "-", gets zero bytes, which are no digits.
        const __m256i digits = _mm256_sllv_epi64(_mm256_srlv_epi64(text, sign_bits), unused_bits);
        const __m256i word = _mm256_or_si256(digits, _mm256_srlv_epi64(zeros, digit_bits));
        const __m256i values = _mm256_xor_si256(word, zeros);
        const __m256i above_nine = _mm256_subs_epu8(values, _mm256_set1_epi8(9));
        if (!_mm256_testz_si256(above_nine, above_nine)) return cell;
        const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(1 << 8 | 10));
        const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(1 << 16 | 100));
        const __m256i sum = _mm256_add_epi64(_mm256_mul_epu32(fours, _mm256_set1_epi64x(10000)),
                                             _mm256_srli_epi64(fours, 32));
        const __m256i result = _mm256_sub_epi64(_mm256_xor_si256(sum, minus), minus);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(numbers), _mm256_permute4x64_epi64(result, 0xD8));
    }
    return end;
}

[[gnu::noinline]] void few_one_by_one(const char* base, const Orlo::csv_cell* cell, std::ptrdiff_t count,
                                      std::int64_t* numbers) {
    for (std::ptrdiff_t i = 0; i < count; ++i)
        numbers[i] = number_of({base + cell[i].begin, cell[i].length});
}

}  // namespace

[[gnu::target("avx2")]] void number_cells::by_fours(const Orlo::csv_row_view& row, std::size_t first,
                                                    std::int64_t* numbers) {
    const Orlo::csv_cell* const end = row.cells() + row.size();
    const Orlo::csv_cell* cell = row.cells() + first;
    while ((cell = plain_fours(row.base(), cell, end, numbers)) < end) {
        few_one_by_one(row.base(), cell, std::min<std::ptrdiff_t>(end - cell, 4), numbers);
        cell += 4;
        numbers += 4;
    }
}

namespace {

const auto chosen = __builtin_cpu_supports("avx2") ? number_cells::by_fours : number_cells::one_by_one;

}  // namespace

void NumbersOfCells(const Orlo::csv_row_view& row, std::size_t first, std::int64_t* numbers) {
    chosen(row, first, numbers);
}

}  // namespace tallycsv
