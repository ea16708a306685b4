// Finding characters, 64 bytes to a word of bits.
//
// For each character a vector compare gives a byte mask, and its sign bits are gathered into an integer; two
// (AVX2) or four (SSE2, which every x86-64 has) of those make a word. AVX-512 compares into words.

#include "vector/marks.h"

#include <immintrin.h>

#include <cstring>

namespace Orlo::IMPL {
namespace {

/// Fills `count` elements; returns all words of the first mark, or-ed.
template <std::size_t N>
using find_words = std::uint64_t (*)(const char*, std::size_t count, const std::array<char, N>&,
                                     mark_words<N>*);

/// The loops over the marks have to be unrolled: their vectors stay in registers then.
#define ORLO_FOR_EACH_MARK _Pragma("GCC unroll 8") for (std::size_t mark = 0; mark < N; ++mark)

[[gnu::always_inline]] inline std::uint64_t bits_of(__m128i same, int part) {
    return std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(same))} << (16 * part);
}

template <std::size_t N>
std::uint64_t find_sse2(const char* text, std::size_t count, const std::array<char, N>& marks,
                        mark_words<N>* found) {
    __m128i sought[N];
    ORLO_FOR_EACH_MARK sought[mark] = _mm_set1_epi8(marks[mark]);
    std::uint64_t first = 0;
    for (; count != 0; --count, text += 64, ++found) {
        mark_words<N> words{};
        for (int part = 0; part < 4; ++part) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * part));
            ORLO_FOR_EACH_MARK words[mark] |= bits_of(_mm_cmpeq_epi8(bytes, sought[mark]), part);
        }
        *found = words;
        first |= words[0];
    }
    return first;
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t bits_of(__m256i same, int part) {
    return std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(same))} << (32 * part);
}

template <std::size_t N>
[[gnu::target("avx2")]] std::uint64_t find_avx2(const char* text, std::size_t count,
                                                const std::array<char, N>& marks, mark_words<N>* found) {
    __m256i sought[N];
    ORLO_FOR_EACH_MARK sought[mark] = _mm256_set1_epi8(marks[mark]);
    std::uint64_t first = 0;
    for (; count != 0; --count, text += 64, ++found) {
        mark_words<N> words{};
        for (int part = 0; part < 2; ++part) {
            const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32 * part));
            ORLO_FOR_EACH_MARK words[mark] |= bits_of(_mm256_cmpeq_epi8(bytes, sought[mark]), part);
        }
        *found = words;
        first |= words[0];
    }
    return first;
}

template <std::size_t N>
[[gnu::target("avx512f,avx512bw")]] std::uint64_t find_avx512(const char* text, std::size_t count,
                                                              const std::array<char, N>& marks,
                                                              mark_words<N>* found) {
    __m512i sought[N];
    ORLO_FOR_EACH_MARK sought[mark] = _mm512_set1_epi8(marks[mark]);
    std::uint64_t first = 0;
    for (; count != 0; --count, text += 64, ++found) {
        const __m512i bytes = _mm512_loadu_si512(text);
        mark_words<N> words;
        ORLO_FOR_EACH_MARK words[mark] = _mm512_cmpeq_epi8_mask(bytes, sought[mark]);
        *found = words;
        first |= words[0];
    }
    return first;
}

}  // namespace

template <std::size_t N>
std::uint64_t find_marks(const char* text, std::size_t size, const std::array<char, N>& marks,
                         mark_words<N>* found, instructions with) noexcept {
    static constexpr find_words<N> ways[] = {find_sse2<N>, find_avx2<N>, find_avx512<N>};
    const find_words<N> find = ways[static_cast<std::size_t>(with)];

    const std::size_t whole = size / 64;
    std::uint64_t first = find(text, whole, marks, found);
    const std::size_t rest = size % 64;
    if (rest != 0) {
        // zeros may be marks, too
        char padded[64] = {};
        std::memcpy(padded, text + whole * 64, rest);
        mark_words<N>& last = found[whole];
        find(padded, 1, marks, &last);
        for (std::uint64_t& word : last)
            word &= (std::uint64_t{1} << rest) - 1;
        first |= last[0];
    }
    return first;
}

template std::uint64_t find_marks(const char*, std::size_t, const std::array<char, 3>&, mark_words<3>*,
                                  instructions) noexcept;

}  // namespace Orlo::IMPL
