#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "orlo/data/buffered.h"
#include "orlo/data/data_object.h"
#include "orlo/isxf/basic.h"
#include "orlo/isxf/items.h"
#include "orlo/isxf/mem_buffer.h"

namespace Orlo {

namespace IMPL {

/// What a reader of `Source` reads from.
template <class Source>
struct isxf_source {
    using type = Source;
};
/// A file is read through a buffer.
template <>
struct isxf_source<CSysFile> {
    using type = CBufferedSeekableSource<CSysFile>;
};

}  // namespace IMPL

/// Takes items from a source, in the order in which they were put; docs/isxf.md shows their bytes.
///
/// ```cpp
/// byteEx bytes(reinterpret_cast<const unsigned char*>("\x8C\x03\x00\x0A\x03\x00\x00\x00tea"), 11);
/// CMemBuffer cursor(&bytes);
/// CISXFReader<CMemBuffer> reader(cursor, 11);
/// if (reader.GetVersion() != 3) return;
/// const stringEx name = reader.GetString();
/// ```
///
/// `Source` is `TDataSource` (any source), `CSysFile`, for which the object is a
/// `CBufferedSeekableSource<CSysFile>`, or `CMemBuffer`; another class with a `Read` does as well. The source
/// is not owned.
///
/// Every `Get` consumes one item: the tag first, which must be the expected one, then the payload. `Void`
/// stands for the zero of every value item (0, 0.0, false, an empty text) and is refused for all others.
/// Integers are the bits that were written, without a sign.
///
/// The bound is charged with 1 for a tag, 4 for a length, and the size of a payload, each before it is read.
///
/// A source that ends early gives zeros: a tag reads as `Void`, a number as 0, and a text is as long as what
/// there was of it. Pass the number of bytes that the source has as the bound where that must be a failure. A
/// length field makes no memory by itself: of a source that knows its size no more is reserved than it has,
/// and of others a text of more than 64 KiB grows with what arrives.
///
/// Failures: `isxfExp` `isxf_code::wrong_type` for another tag and for `Void` where it is refused, when the
/// tag has been consumed; `isxf_code::overflow` when the bound is passed; what the source throws. Threads: one
/// object belongs to one thread at a time.
template <class Source>
class CISXFReader : public CISXFBasic<typename IMPL::isxf_source<Source>::type> {
public:
    using source_type = typename IMPL::isxf_source<Source>::type;

    /// Reads from `source`, which outlives this object, at most `bound` bytes.
    CISXFReader(source_type& source, std::int64_t bound) noexcept : CISXFBasic<source_type>(source, bound) {}

    // --- values -------------------------------------------------------------------------------------------

    [[nodiscard]] bool GetBool() { return _Verify(isxf_tag::Bool); }

    /// `GetInt8`, `GetInt16`, `GetInt32`, `GetInt64`, `GetFloat`, `GetDouble`, `GetLongDouble`.
#define ORLO_ISXF_GET(NAME, TAG, TYPE) \
    [[nodiscard]] TYPE Get##NAME() {   \
        return _GetNumber<TYPE>(TAG);  \
    }
    ORLO_ISXF_NUMBERS(ORLO_ISXF_GET)
#undef ORLO_ISXF_GET

    /// `GetString`, `GetWString`, `GetBlob`.
    ///
    /// The first form returns the text. The second puts it into `text`: a block that only `text` holds is used
    /// again, one that is shared is given up. The third copies it to `buffer`, without a terminator, and
    /// returns how many characters or bytes came; it throws `isxf_code::overflow`, after the length and in
    /// front of the text, exactly when `buffer` is too small.
    ///
    /// The fourth form is an old one that is kept for those who know it. With a null `buffer` it skips the text
    /// and returns 0. Otherwise its test is the wrong way round: it throws `isxf_code::overflow` when
    /// `capacity` (in bytes: four a wide character) is at least the length in bytes, and reads when it is
    /// smaller. It then writes the whole text and, but for a blob, a terminator, past the end of a buffer that
    /// has no more than `capacity`: the memory after it is overwritten with what the stream holds. For
    /// `Void` it stores a terminator if `capacity` is not 0. Take one of the other forms.
#define ORLO_ISXF_GET(NAME, TAG, TYPE)                                      \
    [[nodiscard]] TYPE Get##NAME() {                                        \
        TYPE text;                                                          \
        _GetText(TAG, text);                                                \
        return text;                                                        \
    }                                                                       \
    void Get##NAME(TYPE& text) {                                            \
        _GetText(TAG, text);                                                \
    }                                                                       \
    std::size_t Get##NAME(std::span<TYPE::value_type> buffer) {             \
        return _GetInto(TAG, buffer);                                       \
    }                                                                       \
    std::size_t Get##NAME(TYPE::value_type* buffer, std::size_t capacity) { \
        return _GetRaw(TAG, buffer, capacity);                              \
    }
    ORLO_ISXF_TEXTS(ORLO_ISXF_GET)
#undef ORLO_ISXF_GET

    // --- structural items -----------------------------------------------------------------------------------

    /// `GetCtrlCode`, `GetSegNumber`, `GetEnum`, `GetID`, `GetSize`, `GetBigSize`, `GetCommand`, `GetBigID`,
    /// `GetSmallID`, `GetTinyID`, `GetSmallEnum`, `GetSmallVersion`, `GetVersion`, `GetBigSegNumber`,
    /// `GetCompactCommand`; and `GetEofSegNumber` and `GetEofBigSegNumber`, which return nothing.
#define ORLO_ISXF_GET(NAME, TAG, TYPE, WORDS)                                                \
    TYPE Get##NAME() {                                                                       \
        if (!_Verify(TAG)) [[unlikely]]                                                      \
            isxf_failures::void_item("CISXFReader::Get" #NAME " - " WORDS " can't be void"); \
        return _Load<TYPE>();                                                                \
    }
    ORLO_ISXF_CODES(ORLO_ISXF_GET)
    ORLO_ISXF_MARKS(ORLO_ISXF_GET)
#undef ORLO_ISXF_GET

    // --- what comes next ------------------------------------------------------------------------------------

    /// The next tag, which stays. It is read, and charged, by the first call only.
    std::uint32_t PeekType() {
        if (m_nPeekedType == none_peeked) m_nPeekedType = _ReadTag();
        return m_nPeekedType;
    }

    /// True if the next item has this tag or is `Void`, the short form of every value.
    bool NextIs(std::uint32_t tag) {
        return PeekType() == tag || m_nPeekedType == isxf_tag::Void;
    }
    bool NextIsVoid() {
        return PeekType() == isxf_tag::Void;
    }
    bool NextIsBool() {
        return NextIs(isxf_tag::Bool);
    }
    /// `NextIsInt8`, ..., `NextIsBlob`: the next item can be got as that value, `Void` included.
#define ORLO_ISXF_NEXT(NAME, TAG, TYPE) \
    bool NextIs##NAME() {               \
        return NextIs(TAG);             \
    }
    ORLO_ISXF_NUMBERS(ORLO_ISXF_NEXT)
    ORLO_ISXF_TEXTS(ORLO_ISXF_NEXT)
#undef ORLO_ISXF_NEXT
    /// `NextIsCtrlCode`, ..., `NextIsEofBigSegNumber`: the next item is just that.
#define ORLO_ISXF_NEXT(NAME, TAG, TYPE, WORDS) \
    bool NextIs##NAME() {                      \
        return PeekType() == TAG;              \
    }
    ORLO_ISXF_CODES(ORLO_ISXF_NEXT)
    ORLO_ISXF_MARKS(ORLO_ISXF_NEXT)
#undef ORLO_ISXF_NEXT

    /// Consumes one tag and no payload. True if it is `tag`, false if it is `Void`; any other throws
    /// `isxf_code::wrong_type`.
    bool TakeType(std::uint32_t tag) {
        return _Verify(tag);
    }

    /// Consumes one item of any kind. Throws `isxf_code::unknown_type`, and leaves the tag to be peeked, when
    /// there is no such kind.
    void IgnoreNext() {
        const IMPL::isxf_payload payload = IMPL::isxf_payload_of(PeekType());
        if (payload.what == IMPL::isxf_payload::kind::unknown) isxf_failures::unknown_type(m_nPeekedType);
        m_nPeekedType = none_peeked;
        if (payload.what == IMPL::isxf_payload::kind::counted) {
            _Drop(_GetLength());
        } else if (payload.size != 0) {
            this->_CheckBound(payload.size);
            _Drop(payload.size);
        }
    }

    /// Reads and drops `size` bytes, or what there is of them. A peeked tag stays.
    void Skip(std::uint64_t size) {
        this->_CheckBound(size);
        _Drop(size);
    }

private:
    using CISXFBasic<source_type>::m_pData;
    static constexpr bool in_memory = std::is_same_v<source_type, CMemBuffer>;
    static constexpr std::uint32_t none_peeked = 0xFFFFFFFF;
    /// Up to here a length field is trusted with memory.
    static constexpr std::uint32_t trusted_length = 64 << 10;

    /// Consumes a tag: true for the expected one, false for `Void`.
    bool _Verify(std::uint32_t expected) {
        const std::uint32_t tag = m_nPeekedType == none_peeked ? _ReadTag() : m_nPeekedType;
        m_nPeekedType = none_peeked;
        if (tag == expected) [[likely]]
            return true;
        if (tag != isxf_tag::Void) isxf_failures::wrong_type(expected, tag);
        return false;
    }

    std::uint32_t _ReadTag() {
        this->_CheckBound(1);
        return _LoadChecked<unsigned char>();
    }

    template <class T>
    T _Load() {
        if constexpr (!std::is_void_v<T>) {
            this->_CheckBound(sizeof(T));
            return _LoadChecked<T>();
        }
    }

    template <class T>
    T _GetNumber(std::uint32_t tag) {
        return _Verify(tag) ? _Load<T>() : T{};
    }

    /// A number of which not all bytes are there is 0.
    template <class T>
    T _LoadChecked() {
        constexpr bool padded = std::is_same_v<T, long double>;
        constexpr std::size_t used = padded ? IMPL::ISXF_LONG_DOUBLE_BYTES : sizeof(T);
        T value{};
        if (const unsigned char* const place = _Take(sizeof value)) [[likely]] {
            std::memcpy(&value, place, used);
            return value;
        }
        unsigned char field[sizeof value];
        if (_FillNumber(field, sizeof value)) std::memcpy(&value, field, used);
        return value;
    }

    /// The next `size` bytes where they lie, if the source has them all in memory; otherwise null.
    const unsigned char* _Take(std::size_t size) noexcept {
        if constexpr (in_memory) {
            return size <= m_pData->Left() ? m_pData->Take(size) : nullptr;
        } else if constexpr (requires { m_pData->TakeBuffered(size); }) {
            return m_pData->TakeBuffered(size);
        } else {
            return nullptr;
        }
    }

    std::uint32_t _GetLength() {
        const auto length = _Load<std::uint32_t>();
        this->_CheckBound(length);
        return length;
    }

    /// Reads on until `size` bytes have come or no more do; returns how many. A source is never asked for
    /// nothing, for which `to` may be null.
    std::size_t _Fill(void* to, std::size_t size) {
        std::size_t filled = 0;
        while (filled < size) {
            const std::size_t got = m_pData->Read(static_cast<unsigned char*>(to) + filled, size - filled);
            if (got == 0) break;
            filled += got;
        }
        return filled;
    }

    [[gnu::noinline]] bool _FillNumber(void* to, std::size_t size) {
        return _Fill(to, size) == size;
    }

    void _Drop(std::uint64_t size) {
        if constexpr (in_memory) {
            m_pData->Take(std::min<std::uint64_t>(size, m_pData->Left()));
        } else {
            unsigned char scratch[384];
            while (size != 0) {
                const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(size, sizeof scratch));
                if (_Fill(scratch, step) < step) return;
                size -= step;
            }
        }
    }

    template <class Text>
    void _GetText(std::uint32_t tag, Text& text) {
        if (!_Verify(tag)) {
            text.clear();
            return;
        }
        std::uint32_t length = _GetLength();
        const unsigned char* place = nullptr;
        if constexpr (in_memory) {
            length = static_cast<std::uint32_t>(std::min<std::size_t>(length, m_pData->Left()));
            place = m_pData->Take(length);
        } else {
            place = _Take(length);
            if (place == nullptr) return _FillText(text, length);
        }
        constexpr std::size_t unit = sizeof(*text.data());
        const std::size_t count = length / unit;
        if (!text.is_unique() || count >= text.capacity()) text.assign_reserve(count + 1);
        IMPL::copy_bytes(text.mutable_data(), place, count * unit);
        text.set_size(count);
    }

    /// Bytes that the source says it has still; `trusted_length` if it cannot tell.
    std::uint64_t _Known() {
        const ISeekableObj* seekable = nullptr;
        if constexpr (std::is_convertible_v<source_type*, const ISeekableObj*>) {
            seekable = m_pData;
        } else if constexpr (std::is_polymorphic_v<source_type>) {
            seekable = dynamic_cast<const ISeekableObj*>(m_pData);
        }
        if (seekable == nullptr) return trusted_length;
        try {
            const std::int64_t left = seekable->GetSize() - seekable->GetCurrentPos();
            if (left > 0) return static_cast<std::uint64_t>(left);
        } catch (const rootExp&) {
            // a pipe, or the like
        }
        return trusted_length;
    }

    /// A text that goes through calls of `Read`.
    template <class Text>
    [[gnu::noinline]] void _FillText(Text& text, std::uint32_t length) {
        constexpr std::size_t unit = sizeof(*text.data());
        if (length <= trusted_length) {
            text.assign_reserve(length / unit + 2);
            text.set_size(_Fill(text.mutable_data(), length) / unit);
            return;
        }
        text.assign_reserve(0);
        std::size_t filled = 0;
        for (std::uint64_t room = _Known();; room *= 2) {
            const std::size_t until = std::min<std::uint64_t>(length, room);
            text.reserve_for_write(until / unit + 2);
            filled += _Fill(reinterpret_cast<unsigned char*>(text.mutable_data()) + filled, until - filled);
            text.set_size(filled / unit);
            if (filled < until || filled == length) return;
            text.set_size((filled + unit - 1) /
                          unit);  // a part of a unit is kept as well when the block grows
        }
    }

    template <class T>
    std::size_t _GetInto(std::uint32_t tag, std::span<T> buffer) {
        if (!_Verify(tag)) return 0;
        const std::uint32_t length = _GetLength();
        if (length > buffer.size_bytes()) isxf_failures::small_buffer(tag, length, buffer.size_bytes());
        return _Fill(buffer.data(), length) / sizeof(T);
    }

    template <class T>
    std::size_t _GetRaw(std::uint32_t tag, T* buffer, std::size_t capacity) {
        if (!_Verify(tag)) {
            if (buffer != nullptr && capacity != 0) *buffer = T{};
            return 0;
        }
        const std::uint32_t length = _GetLength();
        if (buffer == nullptr) {
            _Drop(length);
            return 0;
        }
        const std::uint64_t supplied = std::uint64_t{capacity} * sizeof(T);
        if (supplied >= length) isxf_failures::small_buffer(tag, length, supplied);
        if constexpr (text_unit<T>) buffer[length / sizeof(T)] = T{};
        return _Fill(buffer, length) / sizeof(T);
    }

    std::uint32_t m_nPeekedType = none_peeked;
};

extern template class ORLO_API CISXFReader<TDataSource>;
extern template class ORLO_API CISXFReader<CSysFile>;
extern template class ORLO_API CISXFReader<CMemBuffer>;

}  // namespace Orlo
