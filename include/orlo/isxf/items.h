#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

// The items of the format, once. Tags, readers, writers, the test of the next item's kind and the skipping of
// items are all made from these rows. docs/isxf.md shows the bytes.
//
//   ROW(name, tag, type)         a value: Get and Put of `type`; nothing (zero, empty) travels as `Void`
//   ROW(name, tag, type, words)  a structural item; `words` name it where it is found to be `Void`
//
// `Void` itself (0) and `Bool` (9), which has no payload, are written out where they are needed.

#define ORLO_ISXF_NUMBERS(ROW)   \
    ROW(Int8, 1, std::uint8_t)   \
    ROW(Int16, 2, std::uint16_t) \
    ROW(Int32, 3, std::uint32_t) \
    ROW(Int64, 5, std::uint64_t) \
    ROW(Float, 6, float)         \
    ROW(Double, 7, double)       \
    ROW(LongDouble, 8, long double)

#define ORLO_ISXF_TEXTS(ROW)          \
    ROW(String, 10, Orlo::stringEx)   \
    ROW(WString, 11, Orlo::wstringEx) \
    ROW(Blob, 12, Orlo::byteEx)

#define ORLO_ISXF_CODES(ROW)                                    \
    ROW(CtrlCode, 128, std::uint8_t, "control code")            \
    ROW(SegNumber, 129, std::uint16_t, "segment number")        \
    ROW(Enum, 130, std::uint32_t, "enumeration")                \
    ROW(ID, 131, std::uint32_t, "identification")               \
    ROW(Size, 132, std::uint32_t, "size")                       \
    ROW(BigSize, 133, std::uint64_t, "size")                    \
    ROW(Command, 134, std::uint32_t, "command code")            \
    ROW(BigID, 135, std::uint64_t, "identification")            \
    ROW(SmallID, 136, std::uint16_t, "small identification")    \
    ROW(TinyID, 137, std::uint8_t, "tiny identification")       \
    ROW(SmallEnum, 138, std::uint8_t, "small enumeration")      \
    ROW(SmallVersion, 139, std::uint8_t, "version")             \
    ROW(Version, 140, std::uint16_t, "version")                 \
    ROW(BigSegNumber, 142, std::uint32_t, "big segment number") \
    ROW(CompactCommand, 144, std::uint16_t, "compact command code")

/// End marks, which have no payload: the type is void.
#define ORLO_ISXF_MARKS(ROW)                              \
    ROW(EofSegNumber, 141, void, "segment ending number") \
    ROW(EofBigSegNumber, 143, void, "big segment ending number")

namespace Orlo {

/// The bound that counts nothing.
inline constexpr std::int64_t ISXF_NO_BOUND = std::numeric_limits<std::int64_t>::min();

/// The first byte of each item, by the item's name.
namespace isxf_tag {
#define ORLO_ISXF_ROW(NAME, TAG, ...) NAME = TAG,
enum : std::uint32_t {
    Void = 0,
    Bool = 9,
    ORLO_ISXF_NUMBERS(ORLO_ISXF_ROW) ORLO_ISXF_TEXTS(ORLO_ISXF_ROW) ORLO_ISXF_CODES(ORLO_ISXF_ROW)
        ORLO_ISXF_MARKS(ORLO_ISXF_ROW)
};
#undef ORLO_ISXF_ROW
}  // namespace isxf_tag

/// Codes of `isxfExp`.
namespace isxf_code {
enum : std::int32_t {
    wrong_type = 1,    ///< another item than the one asked for, or none
    overflow = 2,      ///< the bound is passed, or a buffer is too small
    unknown_type = 3,  ///< `IgnoreNext` met a tag that no item has
};
}

/// What goes wrong with items. Each throws an `isxfExp`.
struct ORLO_API isxf_failures {
    [[noreturn]] static void bound(std::uint64_t size, std::int64_t rest);
    [[noreturn]] static void wrong_type(std::uint32_t expected, std::uint32_t real);
    [[noreturn]] static void unknown_type(std::uint32_t tag);
    [[noreturn]] static void void_item(const char* text);
    [[noreturn]] static void small_buffer(std::uint32_t tag, std::uint32_t requested, std::uint64_t supplied);
};

namespace IMPL {

/// How an item goes on after its tag.
struct isxf_payload {
    enum class kind : std::uint8_t { unknown, fixed, counted };
    kind what = kind::unknown;
    std::uint8_t size = 0;
};

template <class T>
constexpr std::uint8_t isxf_size() noexcept {
    if constexpr (std::is_void_v<T>) {
        return 0;
    } else {
        return sizeof(T);
    }
}

/// The payload by the tag. Tags without an item are unknown, `Void` has none.
constexpr isxf_payload isxf_payload_of(std::uint32_t tag) noexcept {
#define ORLO_ISXF_FIXED(NAME, TAG, TYPE, ...) \
    case TAG:                                 \
        return {isxf_payload::kind::fixed, isxf_size<TYPE>()};
#define ORLO_ISXF_COUNTED(NAME, TAG, TYPE) \
    case TAG:                              \
        return {isxf_payload::kind::counted, 4};
    switch (tag) {
        ORLO_ISXF_NUMBERS(ORLO_ISXF_FIXED)
        ORLO_ISXF_TEXTS(ORLO_ISXF_COUNTED)
        ORLO_ISXF_CODES(ORLO_ISXF_FIXED)
        ORLO_ISXF_MARKS(ORLO_ISXF_FIXED)
        case isxf_tag::Void:
        case isxf_tag::Bool:
            return {isxf_payload::kind::fixed, 0};
        default:
            return {};
    }
#undef ORLO_ISXF_FIXED
#undef ORLO_ISXF_COUNTED
}

/// Bytes of a `long double` that mean something; its field has 16.
constexpr std::size_t ISXF_LONG_DOUBLE_BYTES = 10;

}  // namespace IMPL

}  // namespace Orlo
