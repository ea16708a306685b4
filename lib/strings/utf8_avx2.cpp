// UTF-8 by AVX2.
//
// Decoding. For each of eight neighbouring bytes a lane of 32 bits takes that byte and the three that follow
// it, as if a character began there; multiplications bring the six-bit groups together, and two shifts by
// amounts that the lead byte tells cut off what does not belong to the character:
//
//     text     61 C3 A9 E2 82 AC ...           "aé€"
//     lanes    61C3A9E2  C3A9E282  A9E282AC  E282AC..  82AC....  AC......
//     shifted  61        E9        (none)    20AC      (none)    (none)
//     packed   61 E9 20AC
//
// A permutation by the mask of lead bytes packs the lanes where a character does begin. No step depends on
// how long the characters are, so mixed text costs what uniform text costs; only 32 bytes of nothing but
// ASCII are widened at once.
//
// Whether the bytes are well-formed is asked of 32 at a time by three tables: of the high and the low half of
// the byte before, and the high half of the byte itself. Each names the errors that its half allows, and an
// error that all three allow is one (J. Keiser, D. Lemire, "Validating UTF-8 in less than one instruction per
// byte"). The window of this question lies three bytes ahead of the bytes that are decoded: a character that
// begins in the last of them is known to be whole.
//
// Encoding. A lane holds a character's four bytes as if it needed them all; the class of its length chooses
// masks and marks, and a byte shuffle, chosen by the classes of four lanes, packs what is needed.

#include <immintrin.h>

#include <array>
#include <bit>

#include "strings/utf8_kernels.h"

#define ORLO_AVX2 gnu::target("avx2,bmi,bmi2,popcnt")
#define ORLO_AVX2_INLINE ORLO_AVX2, gnu::always_inline

namespace Orlo::IMPL {
namespace {

using bytes16 = std::array<std::uint8_t, 16>;

constexpr std::size_t STEP = 32;
/// How far from the start of a step memory is read: the last eight bytes are loaded as sixteen.
constexpr std::size_t READ_AHEAD = STEP + 8;
/// How far the question of well-formedness lies ahead of decoding.
constexpr std::size_t LOOK_AHEAD = 3;

[[ORLO_AVX2_INLINE]] inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[ORLO_AVX2_INLINE]] inline void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

/// The same sixteen bytes in both halves of a register.
[[ORLO_AVX2_INLINE]] inline __m256i both_halves(const void* from) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(from)));
}

/// Eight bytes, each as a lane of 32 bits.
[[ORLO_AVX2_INLINE]] inline __m256i widened(const void* from) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(static_cast<const __m128i*>(from)));
}

[[ORLO_AVX2_INLINE]] inline __m256i high_halves(__m256i bytes) {
    return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
}

[[ORLO_AVX2_INLINE]] inline std::uint32_t signs(__m256i bytes) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
}

// --- well-formedness ----------------------------------------------------------------------------------------

enum error : std::uint8_t {
    too_short = 0x01,       // a lead or ASCII where a tail is due
    too_long = 0x02,        // a tail after ASCII
    overlong_3 = 0x04,      // E0 80..9F
    too_large = 0x08,       // F4 90..BF, F5..FF 80..BF
    surrogate = 0x10,       // ED A0..BF
    overlong_2 = 0x20,      // C0 and C1
    too_large_1000 = 0x40,  // F5..FF 80..8F
    overlong_4 = 0x40,      // F0 80..8F
    two_tails = 0x80,       // right after a longer lead, which the bytes further back tell
};
constexpr std::uint8_t ANY_LOW = too_short | too_long | two_tails;
constexpr std::uint8_t LARGE_LOW = ANY_LOW | too_large | too_large_1000;
constexpr std::uint8_t ANY_TAIL = too_long | overlong_2 | two_tails;

constexpr bytes16 BY_HIGH_BEFORE = {too_long,
                                    too_long,
                                    too_long,
                                    too_long,
                                    too_long,
                                    too_long,
                                    too_long,
                                    too_long,
                                    two_tails,
                                    two_tails,
                                    two_tails,
                                    two_tails,
                                    too_short | overlong_2,
                                    too_short,
                                    too_short | overlong_3 | surrogate,
                                    too_short | too_large | too_large_1000 | overlong_4};
constexpr bytes16 BY_LOW_BEFORE = {ANY_LOW | overlong_2 | overlong_3 | overlong_4,
                                   ANY_LOW | overlong_2,
                                   ANY_LOW,
                                   ANY_LOW,
                                   ANY_LOW | too_large,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW,
                                   LARGE_LOW | surrogate,
                                   LARGE_LOW,
                                   LARGE_LOW};
constexpr bytes16 BY_HIGH = {too_short,
                             too_short,
                             too_short,
                             too_short,
                             too_short,
                             too_short,
                             too_short,
                             too_short,
                             ANY_TAIL | overlong_3 | too_large_1000 | overlong_4,
                             ANY_TAIL | overlong_3 | too_large,
                             ANY_TAIL | surrogate | too_large,
                             ANY_TAIL | surrogate | too_large,
                             too_short,
                             too_short,
                             too_short,
                             too_short};

/// True if no byte of the 32 at `text` is wrong there; the three bytes in front are read, too.
[[ORLO_AVX2_INLINE]] inline bool well_formed(const char* text) {
    const __m256i bytes = load(text);
    const __m256i before = load(text - 1);
    const __m256i low_before = _mm256_and_si256(before, _mm256_set1_epi8(0x0F));
    const __m256i wrong = _mm256_and_si256(
        _mm256_and_si256(_mm256_shuffle_epi8(both_halves(BY_HIGH_BEFORE.data()), high_halves(before)),
                         _mm256_shuffle_epi8(both_halves(BY_LOW_BEFORE.data()), low_before)),
        _mm256_shuffle_epi8(both_halves(BY_HIGH.data()), high_halves(bytes)));
    // two tails in a row are right, and due, two bytes after E0..FF and three bytes after F0..FF
    const __m256i third = _mm256_subs_epu8(load(text - 2), _mm256_set1_epi8(0xE0 - 0x80));
    const __m256i fourth = _mm256_subs_epu8(load(text - 3), _mm256_set1_epi8(0xF0 - 0x80));
    const __m256i due =
        _mm256_and_si256(_mm256_or_si256(third, fourth), _mm256_set1_epi8(static_cast<char>(0x80)));
    const __m256i errors = _mm256_xor_si256(wrong, due);
    return _mm256_testz_si256(errors, errors) != 0;
}

// --- decoding -----------------------------------------------------------------------------------------------

/// For each mask of lanes, which lane goes where.
constexpr auto PACKING = [] {
    std::array<std::array<std::uint8_t, 8>, 256> table{};
    for (std::size_t mask = 0; mask < 256; ++mask) {
        std::size_t count = 0;
        for (std::uint8_t lane = 0; lane < 8; ++lane) {
            if ((mask >> lane & 1) != 0) table[mask][count++] = lane;
        }
    }
    return table;
}();

// By the high half of a lead byte: how far its lane is shifted to the left, which drops the mark of the
// length, and to the right, which drops the bytes after the character.
constexpr bytes16 SHIFT_LEFT = {7, 7, 7, 7, 7, 7, 7, 7, 0, 0, 0, 0, 9, 9, 10, 11};
constexpr bytes16 SHIFT_RIGHT = {25, 25, 25, 25, 25, 25, 25, 25, 0, 0, 0, 0, 21, 21, 16, 11};

constexpr std::array<std::uint8_t, 32> FOUR_FROM_EACH = {0, 1, 2, 3, 1, 2, 3, 4, 2, 3, 4, 5, 3, 4, 5, 6,
                                                         4, 5, 6, 7, 5, 6, 7, 8, 6, 7, 8, 9, 7, 8, 9, 10};

/// Decodes the characters that begin in the 32 bytes at `text`, all of them well-formed.
[[ORLO_AVX2_INLINE]] inline wchar_t* decode_step(const char* text, wchar_t* out) {
    alignas(32) std::uint8_t left[STEP];
    alignas(32) std::uint8_t right[STEP];
    const __m256i bytes = load(text);
    const __m256i high = high_halves(bytes);
    store(left, _mm256_shuffle_epi8(both_halves(SHIFT_LEFT.data()), high));
    store(right, _mm256_shuffle_epi8(both_halves(SHIFT_RIGHT.data()), high));
    std::uint32_t leads = signs(_mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(static_cast<char>(0xBF))));

    const __m256i groups = _mm256_set1_epi32(0x3F3F3F7F);
    const __m256i pairs = _mm256_set1_epi16(0x0140);
    const __m256i whole = _mm256_set1_epi32(0x00011000);
    for (std::size_t at = 0; at < STEP; at += 8, leads >>= 8) {
        __m256i lanes = _mm256_shuffle_epi8(both_halves(text + at), load(FOUR_FROM_EACH.data()));
        lanes = _mm256_maddubs_epi16(_mm256_and_si256(lanes, groups), pairs);
        lanes = _mm256_madd_epi16(lanes, whole);
        lanes = _mm256_sllv_epi32(lanes, widened(left + at));
        lanes = _mm256_srlv_epi32(lanes, widened(right + at));
        store(out, _mm256_permutevar8x32_epi32(lanes, widened(PACKING[leads & 0xFF].data())));
        out += std::popcount(leads & 0xFF);
    }
    return out;
}

[[ORLO_AVX2_INLINE]] inline wchar_t* widen_step(const char* text, wchar_t* out) {
    for (std::size_t at = 0; at < STEP; at += 8)
        store(out + at, widened(text + at));
    return out + STEP;
}

bool is_tail(char byte) noexcept {
    return (byte & 0xC0) == 0x80;
}

/// True if whole characters stand at `text`, one after the other, in the bytes that a step's own question
/// leaves out.
bool begins_well_formed(const char* text, const char* end) noexcept {
    for (std::size_t at = 0; at < LOOK_AHEAD;) {
        const decoded_point decoded = decode_utf8(text + at, end);
        if (!decoded.well_formed) return false;
        at += decoded.length;
    }
    return true;
}

[[ORLO_AVX2]] std::size_t decode(const char* text, std::size_t size, wchar_t* out) noexcept {
    const char* const end = text + size;
    wchar_t* write = out;
    const auto decode_one = [&] {
        const decoded_point decoded = decode_utf8(text, end);
        *write++ = static_cast<wchar_t>(decoded.point);
        text += decoded.length;
    };
    const auto room_for_step = [&] { return static_cast<std::size_t>(end - text) >= READ_AHEAD; };
    while (room_for_step()) {
        // here a character begins at `text`; steps go on from wherever the last one ended
        bool stepping = begins_well_formed(text, end);
        while (stepping && room_for_step()) {
            const __m256i any = _mm256_or_si256(load(text), load(text + LOOK_AHEAD));
            if (signs(any) == 0) {
                write = widen_step(text, write);
            } else if (well_formed(text + LOOK_AHEAD)) {
                write = decode_step(text, write);
            } else {
                break;
            }
            text += STEP;
        }
        // the rest of the character that the last step ended with; what stands further on may be wrong
        for (std::size_t i = 0; stepping && i < LOOK_AHEAD && text != end && is_tail(*text); ++i)
            ++text;
        const char* const retry = end - text > std::ptrdiff_t{STEP} ? text + STEP : end;
        while (text < retry)
            decode_one();
    }
    while (text != end)
        decode_one();
    return static_cast<std::size_t>(write - out);
}

// --- encoding -----------------------------------------------------------------------------------------------

// The class of a length is minus the number of limits that the character exceeds, modulo 4: 0 stands for one
// byte, 3 for two, 2 for three, 1 for four.
constexpr std::array<std::uint8_t, 4> LENGTH_OF_CLASS = {1, 4, 3, 2};

/// For the classes of four lanes, two bits each: their bytes next to each other. A lane's bytes lie at its
/// upper end.
constexpr auto LANE_PACKING = [] {
    std::array<bytes16, 256> table{};
    for (std::size_t classes = 0; classes < 256; ++classes) {
        std::size_t count = 0;
        for (std::size_t lane = 0; lane < 4; ++lane) {
            const std::uint8_t length = LENGTH_OF_CLASS[classes >> (2 * lane) & 3];
            for (std::size_t byte = 4 - length; byte < 4; ++byte)
                table[classes][count++] = static_cast<std::uint8_t>(4 * lane + byte);
        }
    }
    return table;
}();
constexpr auto PACKED_LENGTH = [] {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t classes = 0; classes < 256; ++classes) {
        for (std::size_t lane = 0; lane < 4; ++lane)
            table[classes] =
                static_cast<std::uint8_t>(table[classes] + LENGTH_OF_CLASS[classes >> (2 * lane) & 3]);
    }
    return table;
}();

/// Appends what four lanes need.
[[ORLO_AVX2_INLINE]] inline char* write_lanes(__m128i lanes, std::uint32_t class_bytes, char* out) {
    // four bytes of two bits, moved next to each other by the one multiplication
    const std::uint32_t classes = class_bytes * 0x01041040u >> 24;
    const __m128i shuffle = _mm_loadu_si128(reinterpret_cast<const __m128i*>(LANE_PACKING[classes].data()));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(lanes, shuffle));
    return out + PACKED_LENGTH[classes];
}

[[ORLO_AVX2_INLINE]] inline char* encode_eight(const wchar_t* text, char* out) {
    __m256i points = load(text);
    const __m256i first_too_large = _mm256_set1_epi32(0x110000);
    const __m256i surrogates = _mm256_set1_epi32(0xD800);
    const __m256i wrong =
        _mm256_or_si256(_mm256_cmpeq_epi32(_mm256_max_epu32(points, first_too_large), points),
                        _mm256_cmpeq_epi32(_mm256_and_si256(points, _mm256_set1_epi32(~0x7FF)), surrogates));
    points = _mm256_blendv_epi8(points, _mm256_set1_epi32(REPLACEMENT_POINT), wrong);

    const __m256i classes =
        _mm256_add_epi32(_mm256_add_epi32(_mm256_cmpgt_epi32(points, _mm256_set1_epi32(0x7F)),
                                          _mm256_cmpgt_epi32(points, _mm256_set1_epi32(0x7FF))),
                         _mm256_cmpgt_epi32(points, _mm256_set1_epi32(0xFFFF)));
    const __m256 masks = _mm256_castsi256_ps(_mm256_setr_epi32(
        0x7F000000, 0x3F3F3F07, 0x3F3F0F00, 0x3F1F0000, 0x7F000000, 0x3F3F3F07, 0x3F3F0F00, 0x3F1F0000));
    const __m256 marks = _mm256_castsi256_ps(_mm256_setr_epi32(
        0, static_cast<int>(0x808080F0), static_cast<int>(0x8080E000), static_cast<int>(0x80C00000), 0,
        static_cast<int>(0x808080F0), static_cast<int>(0x8080E000), static_cast<int>(0x80C00000)));
    const __m256i upper =
        _mm256_or_si256(_mm256_slli_epi32(points, 24),
                        _mm256_and_si256(_mm256_slli_epi32(points, 10), _mm256_set1_epi32(0xFF0000)));
    const __m256i lower =
        _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(points, 4), _mm256_set1_epi32(0xFF00)),
                        _mm256_srli_epi32(points, 18));
    __m256i lanes = _mm256_or_si256(upper, lower);
    lanes = _mm256_and_si256(lanes, _mm256_castps_si256(_mm256_permutevar_ps(masks, classes)));
    lanes = _mm256_or_si256(lanes, _mm256_castps_si256(_mm256_permutevar_ps(marks, classes)));

    // the lowest byte of each lane's class, for four lanes in the first 32 bits of each half
    const __m256i first_bytes = _mm256_set1_epi32(0x0C080400);
    const __m256i class_bytes =
        _mm256_and_si256(_mm256_shuffle_epi8(classes, first_bytes), _mm256_set1_epi8(3));
    out = write_lanes(_mm256_castsi256_si128(lanes),
                      static_cast<std::uint32_t>(_mm256_cvtsi256_si32(class_bytes)), out);
    return write_lanes(_mm256_extracti128_si256(lanes, 1),
                       static_cast<std::uint32_t>(_mm256_extract_epi32(class_bytes, 4)), out);
}

[[ORLO_AVX2]] std::size_t encode(const wchar_t* text, std::size_t size, char* out) noexcept {
    const wchar_t* const end = text + size;
    char* write = out;
    while (end - text >= std::ptrdiff_t{STEP}) {
        const __m256i a = load(text);
        const __m256i b = load(text + 8);
        const __m256i c = load(text + 16);
        const __m256i d = load(text + 24);
        const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (_mm256_testz_si256(any, _mm256_set1_epi32(~0x7F)) != 0) {
            // packing goes by halves of registers, so fours end up out of order
            const __m256i packed = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
            const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
            store(write, _mm256_permutevar8x32_epi32(packed, order));
            write += STEP;
        } else {
            for (std::size_t at = 0; at < STEP; at += 8)
                write = encode_eight(text + at, write);
        }
        text += STEP;
    }
    for (; end - text >= 8; text += 8)
        write = encode_eight(text, write);
    for (; text != end; ++text)
        write += write_utf8(encodable(*text), write);
    return static_cast<std::size_t>(write - out);
}

}  // namespace

constinit const utf8_kernel AVX2_UTF8 = {decode, encode};

}  // namespace Orlo::IMPL
