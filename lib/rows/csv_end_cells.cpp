// From bits to cells. A word holds some ten ends as a rule, so a dozen or sixteen cells are written at once,
// however many ends there are, without a branch between them. Those too many are overwritten by the next
// word's.

#include "rows/csv_end_cells.h"

#if defined(__GNUC__) && !defined(__clang__)
// this compiler takes registers that its own headers leave undefined on purpose for mistakes
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <array>
#include <bit>

namespace Orlo::IMPL {
namespace {

/// Ends the cell `out` at the lowest bit, where the next one begins.
[[gnu::always_inline]] inline void end_cell(csv_cell*& out, std::size_t at, std::uint64_t& ends) {
    const std::size_t end = at + static_cast<unsigned>(std::countr_zero(ends));
    out->end = end;
    ++out;
    out->begin = end + 1;
    ends &= ends - 1;
}

[[gnu::always_inline]] inline void end_four_cells(csv_cell*& out, std::size_t at, std::uint64_t& ends) {
    end_cell(out, at, ends);
    end_cell(out, at, ends);
    end_cell(out, at, ends);
    end_cell(out, at, ends);
}

[[gnu::always_inline]] inline void end_one_by_one(const csv_ends* words, std::size_t count, std::size_t at,
                                                  csv_cell* out) {
    for (; count != 0; --count, ++words, at += 64) {
        std::uint64_t ends = words->cells;
        csv_cell* cell = out;
        out += std::popcount(ends);
        do {
            end_four_cells(cell, at, ends);
            end_four_cells(cell, at, ends);
            end_four_cells(cell, at, ends);
        } while (ends != 0);
    }
}

void end_baseline(const csv_ends* words, std::size_t count, std::size_t at, csv_cell* out) {
    end_one_by_one(words, count, at, out);
}

[[gnu::target("bmi,bmi2,popcnt")]] void end_bmi(const csv_ends* words, std::size_t count, std::size_t at,
                                                csv_cell* out) {
    end_one_by_one(words, count, at, out);
}

constexpr auto NUMBERS = [] {
    std::array<char, 64> numbers{};
    for (int i = 0; i < 64; ++i)
        numbers[static_cast<std::size_t>(i)] = static_cast<char>(i);
    return numbers;
}();

[[gnu::target("avx512f"), gnu::always_inline]] inline void write_four_cells(std::uint64_t* to, __m128i pairs,
                                                                            __m512i base) {
    _mm512_storeu_si512(to, _mm512_add_epi64(_mm512_cvtepu8_epi64(pairs), base));
}

/// Gathers the numbers of the bits, a byte each, and writes them twice, as the end of a cell and, plus one,
/// as the beginning of the next: four cells are a register.
[[gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi2,popcnt")]] void end_avx512(const csv_ends* words,
                                                                                std::size_t count,
                                                                                std::size_t at,
                                                                                csv_cell* out) {
    const __m512i numbers = _mm512_loadu_si512(NUMBERS.data());
    const __m512i step = _mm512_set1_epi64(64);
    __m512i base = _mm512_add_epi64(_mm512_set1_epi64(static_cast<long long>(at)),
                                    _mm512_set_epi64(1, 0, 1, 0, 1, 0, 1, 0));
    for (; count != 0; --count, ++words) {
        std::uint64_t* to = &out->end;
        std::uint64_t left = static_cast<unsigned>(std::popcount(words->cells));
        out += left;
        __m512i bits = _mm512_maskz_compress_epi8(words->cells, numbers);
        for (;;) {
            const __m128i some = _mm512_castsi512_si128(bits);
            const __m128i low = _mm_unpacklo_epi8(some, some);
            const __m128i high = _mm_unpackhi_epi8(some, some);
            write_four_cells(to, low, base);
            write_four_cells(to + 8, _mm_unpackhi_epi64(low, low), base);
            write_four_cells(to + 16, high, base);
            write_four_cells(to + 24, _mm_unpackhi_epi64(high, high), base);
            if (left <= 16) break;
            left -= 16;
            to += 32;
            bits = _mm512_alignr_epi64(bits, bits, 2);
        }
        base = _mm512_add_epi64(base, step);
    }
}

}  // namespace

void end_cells(const csv_ends* words, std::size_t count, std::size_t at, csv_cell* out, instructions with) {
    static constexpr auto ways = std::to_array({end_baseline, end_bmi, end_avx512});
    ways[static_cast<std::size_t>(with)](words, count, at, out);
}

}  // namespace Orlo::IMPL
