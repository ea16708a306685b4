// Finding the marks of rows, 64 bytes to a word of bits.
//
// For each of the three characters a vector compare gives a byte mask, and its sign bits are gathered into an
// integer; two (AVX2) or four (SSE2, which every x86-64 has) of those make a word. AVX-512 compares into
// words.

#include "rows/csv_index.h"

#include <immintrin.h>

#include <cstring>

namespace Orlo::IMPL {
namespace {

/// Fills `count` words; returns all bits of quotes, or-ed.
using build_words = std::uint64_t (*)(const char*, std::size_t count, const csv_marks&, csv_word*);

[[gnu::always_inline]] inline std::uint64_t bits_of(__m128i same, int part) {
    return std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(same))} << (16 * part);
}

std::uint64_t build_sse2(const char* text, std::size_t count, const csv_marks& marks, csv_word* words) {
    const __m128i quote = _mm_set1_epi8(marks.quote);
    const __m128i delimiter = _mm_set1_epi8(marks.delimiter);
    const __m128i line_end = _mm_set1_epi8(marks.line_end);
    std::uint64_t quotes = 0;
    for (; count != 0; --count, text += 64) {
        csv_word word{};
        for (int part = 0; part < 4; ++part) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * part));
            word.quotes |= bits_of(_mm_cmpeq_epi8(bytes, quote), part);
            word.delimiters |= bits_of(_mm_cmpeq_epi8(bytes, delimiter), part);
            word.line_ends |= bits_of(_mm_cmpeq_epi8(bytes, line_end), part);
        }
        *words++ = word;
        quotes |= word.quotes;
    }
    return quotes;
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t bits_of(__m256i same, int part) {
    return std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(same))} << (32 * part);
}

[[gnu::target("avx2")]] std::uint64_t build_avx2(const char* text, std::size_t count, const csv_marks& marks,
                                                 csv_word* words) {
    const __m256i quote = _mm256_set1_epi8(marks.quote);
    const __m256i delimiter = _mm256_set1_epi8(marks.delimiter);
    const __m256i line_end = _mm256_set1_epi8(marks.line_end);
    std::uint64_t quotes = 0;
    for (; count != 0; --count, text += 64) {
        csv_word word{};
        for (int part = 0; part < 2; ++part) {
            const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32 * part));
            word.quotes |= bits_of(_mm256_cmpeq_epi8(bytes, quote), part);
            word.delimiters |= bits_of(_mm256_cmpeq_epi8(bytes, delimiter), part);
            word.line_ends |= bits_of(_mm256_cmpeq_epi8(bytes, line_end), part);
        }
        *words++ = word;
        quotes |= word.quotes;
    }
    return quotes;
}

[[gnu::target("avx512f,avx512bw")]] std::uint64_t build_avx512(const char* text, std::size_t count,
                                                               const csv_marks& marks, csv_word* words) {
    const __m512i quote = _mm512_set1_epi8(marks.quote);
    const __m512i delimiter = _mm512_set1_epi8(marks.delimiter);
    const __m512i line_end = _mm512_set1_epi8(marks.line_end);
    std::uint64_t quotes = 0;
    for (; count != 0; --count, text += 64) {
        const __m512i bytes = _mm512_loadu_si512(text);
        const csv_word word{_mm512_cmpeq_epi8_mask(bytes, quote), _mm512_cmpeq_epi8_mask(bytes, delimiter),
                            _mm512_cmpeq_epi8_mask(bytes, line_end)};
        *words++ = word;
        quotes |= word.quotes;
    }
    return quotes;
}

}  // namespace

void csv_index::build(const char* text, std::size_t size, const csv_marks& marks,
                      instructions with) noexcept {
    static constexpr build_words ways[] = {build_sse2, build_avx2, build_avx512};
    const build_words fill = ways[static_cast<int>(with)];

    const std::size_t whole = size / 64;
    std::uint64_t quotes = fill(text, whole, marks, words_.data());
    const std::size_t rest = size % 64;
    if (rest != 0) {
        // zeros may be marks, too
        char padded[64] = {};
        std::memcpy(padded, text + whole * 64, rest);
        csv_word& last = words_[whole];
        fill(padded, 1, marks, &last);
        const std::uint64_t inside = (std::uint64_t{1} << rest) - 1;
        last.quotes &= inside;
        last.delimiters &= inside;
        last.line_ends &= inside;
        quotes |= last.quotes;
    }
    has_quotes_ = quotes != 0;
}

}  // namespace Orlo::IMPL
