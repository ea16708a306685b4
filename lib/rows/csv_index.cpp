// Finding the marks of rows, 64 bytes to a word of bits.
//
// For each of the three characters a vector compare gives a byte mask, and its sign bits are gathered into an
// integer; two (AVX2) or four (SSE2) of those make a word. Every x86-64 has SSE2; AVX2 is used where the
// processor says so, which is asked once.

#include "rows/csv_index.h"

#include <immintrin.h>

#include <cstring>

namespace Orlo::IMPL {
namespace {

struct word_pair {
    std::uint64_t delimiters;
    std::uint64_t stops;
};

using build_words = void (*)(const char*, std::size_t, const csv_marks&, std::uint64_t*, std::uint64_t*);

void build_sse2(const char* text, std::size_t count, const csv_marks& marks, std::uint64_t* delimiters,
                std::uint64_t* stops) {
    const __m128i quote = _mm_set1_epi8(marks.quote);
    const __m128i delimiter = _mm_set1_epi8(marks.delimiter);
    const __m128i line_end = _mm_set1_epi8(marks.line_end);
    for (std::size_t word = 0; word < count; ++word, text += 64) {
        word_pair pair{};
        for (int part = 0; part < 4; ++part) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * part));
            const __m128i is_stop =
                _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, line_end));
            const __m128i is_delimiter = _mm_cmpeq_epi8(bytes, delimiter);
            const auto found_stops = static_cast<std::uint32_t>(_mm_movemask_epi8(is_stop));
            const auto found_delimiters = static_cast<std::uint32_t>(_mm_movemask_epi8(is_delimiter));
            pair.stops |= std::uint64_t{found_stops} << (16 * part);
            pair.delimiters |= std::uint64_t{found_delimiters} << (16 * part);
        }
        delimiters[word] = pair.delimiters;
        stops[word] = pair.stops;
    }
}

__attribute__((target("avx2"))) void build_avx2(const char* text, std::size_t count, const csv_marks& marks,
                                                std::uint64_t* delimiters, std::uint64_t* stops) {
    const __m256i quote = _mm256_set1_epi8(marks.quote);
    const __m256i delimiter = _mm256_set1_epi8(marks.delimiter);
    const __m256i line_end = _mm256_set1_epi8(marks.line_end);
    for (std::size_t word = 0; word < count; ++word, text += 64) {
        word_pair pair{};
        for (int part = 0; part < 2; ++part) {
            const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32 * part));
            const __m256i is_stop =
                _mm256_or_si256(_mm256_cmpeq_epi8(bytes, quote), _mm256_cmpeq_epi8(bytes, line_end));
            const __m256i is_delimiter = _mm256_cmpeq_epi8(bytes, delimiter);
            const auto found_stops = static_cast<std::uint32_t>(_mm256_movemask_epi8(is_stop));
            const auto found_delimiters = static_cast<std::uint32_t>(_mm256_movemask_epi8(is_delimiter));
            pair.stops |= std::uint64_t{found_stops} << (32 * part);
            pair.delimiters |= std::uint64_t{found_delimiters} << (32 * part);
        }
        delimiters[word] = pair.delimiters;
        stops[word] = pair.stops;
    }
}

}  // namespace

void csv_index::build(const char* text, std::size_t size, const csv_marks& marks) noexcept {
    static const build_words fill = __builtin_cpu_supports("avx2") ? build_avx2 : build_sse2;

    const std::size_t whole = size / 64;
    fill(text, whole, marks, delimiters_.data(), stops_.data());
    const std::size_t rest = size % 64;
    if (rest == 0) return;

    char padded[64] = {};
    std::memcpy(padded, text + whole * 64, rest);
    fill(padded, 1, marks, &delimiters_[whole], &stops_[whole]);
    const std::uint64_t inside = (std::uint64_t{1} << rest) - 1;
    delimiters_[whole] &= inside;
    stops_[whole] &= inside;
}

}  // namespace Orlo::IMPL
