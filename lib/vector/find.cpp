// Finding where one of a few texts may begin.
//
// Each text has a bit. A table says, for each place and byte, which texts can have the byte there; if the
// bits of three places have one in common, that text may begin here. For "cat" (bit 0) and "dog" (bit 1):
//
//   c -> 1, d -> 2      a -> 1, o -> 2      t -> 1, g -> 2        "cog": 1 & 2 & 2 = 0
//
// With AVX2 32 begins are examined together. A register cannot look up 256 entries, so the halves of a byte
// are looked up apart, 16 entries each: a byte can be there only if both halves can. That finds somewhat too
// much, and what it finds is checked with the full tables. Costs about three loads and six look-ups for 32
// bytes. If all texts have the same byte at their rarest place, only that byte is looked for, which costs one
// load and one comparison; that pays while it is met less than every few hundred bytes, and where it is met
// more often the search changes over to all places.

#include "vector/find.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "vector/instructions.h"

namespace Orlo::IMPL {

void byte_fingerprint::reset(const std::size_t* offsets, std::size_t places) {
    *this = {};
    places_ = places;
    // places that are not used are like the first, so that there are always three
    for (std::size_t i = 0; i < most_places; ++i)
        offsets_[i] = offsets[i < places ? i : 0];
}

void byte_fingerprint::add(std::size_t text, std::size_t place, unsigned char byte) {
    if (place == 0) first_byte_ = byte;
    const auto bit = static_cast<std::uint8_t>(1u << text);
    if (place == 0 && by_byte_[0][byte] == 0) ++bytes_of_first_;
    for (std::size_t i = 0; i < most_places; ++i) {
        if (i != place && (place != 0 || i < places_)) continue;
        by_byte_[i][byte] |= bit;
        by_low_[i][byte & 15] |= bit;
        by_high_[i][byte >> 4] |= bit;
    }
}

bool byte_fingerprint::may_begin(const char* at) const {
    const auto bits = [&](std::size_t i) { return by_byte_[i][static_cast<unsigned char>(at[offsets_[i]])]; };
    return (bits(0) & bits(1) & bits(2)) != 0;
}

/// `last` is the last begin to look at.
const char* byte_fingerprint::find_plain(const char* begin, const char* last) const {
    while (begin <= last && !may_begin(begin))
        ++begin;
    return begin;
}

/// The first begin that the bits of `found` tell and that passes the full check; null if there is none.
const char* byte_fingerprint::first_of(std::uint32_t found, const char* begin) const {
    for (; found != 0; found &= found - 1)
        if (may_begin(begin + std::countr_zero(found))) return begin + std::countr_zero(found);
    return nullptr;
}

__attribute__((target("avx2"))) const char* byte_fingerprint::find_byte(const char* begin,
                                                                        const char* last) const {
    const __m256i wanted = _mm256_set1_epi8(static_cast<char>(first_byte_));
    const std::size_t offset = offsets_[0];
    const auto equal = [&](const char* at) __attribute__((target("avx2"))) {
        return _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + offset)), wanted);
    };
    std::size_t blocks_met = 0;
    const char* const start = begin;
    for (; last - begin >= 127; begin += 128) {
        const __m256i a = equal(begin);
        const __m256i b = equal(begin + 32);
        const __m256i c = equal(begin + 64);
        const __m256i d = equal(begin + 96);
        const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (_mm256_testz_si256(any, any) != 0) continue;
        const __m256i blocks[] = {a, b, c, d};
        for (std::size_t i = 0; i < 4; ++i)
            if (const char* const at =
                    first_of(static_cast<std::uint32_t>(_mm256_movemask_epi8(blocks[i])), begin + 32 * i))
                return at;
        if (++blocks_met > 8 && static_cast<std::size_t>(begin - start) < blocks_met * 512) {
            begin += 128;
            break;
        }
    }
    return find_any(begin, last);
}

__attribute__((target("avx2"))) const char* byte_fingerprint::find_any(const char* begin,
                                                                       const char* last) const {
    __m256i low[most_places];
    __m256i high[most_places];
    for (std::size_t i = 0; i < most_places; ++i) {
        low[i] =
            _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(by_low_[i].data())));
        high[i] = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(by_high_[i].data())));
    }
    const __m256i half = _mm256_set1_epi8(15);
    for (; last - begin >= 31; begin += 32) {
        __m256i bits = _mm256_set1_epi8(-1);
        for (std::size_t i = 0; i < most_places; ++i) {
            const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(begin + offsets_[i]));
            const __m256i by_low = _mm256_shuffle_epi8(low[i], _mm256_and_si256(bytes, half));
            const __m256i by_high =
                _mm256_shuffle_epi8(high[i], _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half));
            bits = _mm256_and_si256(bits, _mm256_and_si256(by_low, by_high));
        }
        const __m256i none = _mm256_cmpeq_epi8(bits, _mm256_setzero_si256());
        if (const char* const at = first_of(~static_cast<std::uint32_t>(_mm256_movemask_epi8(none)), begin))
            return at;
    }
    return find_plain(begin, last);
}

const char* byte_fingerprint::find(const char* begin, const char* end) const {
    const auto reach = static_cast<std::ptrdiff_t>(*std::max_element(offsets_.begin(), offsets_.end()));
    if (end - begin <= reach) return end;
    const char* const last = end - reach - 1;
    const char* found = nullptr;
    if (best_instructions() < instructions::avx2) {
        found = find_plain(begin, last);
    } else {
        found = bytes_of_first_ == 1 ? find_byte(begin, last) : find_any(begin, last);
    }
    return found > last ? end : found;
}

}  // namespace Orlo::IMPL
