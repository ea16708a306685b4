#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "orlo/data/buffered.h"
#include "orlo/data/data_object.h"
#include "orlo/data/write_all.h"
#include "orlo/isxf/basic.h"
#include "orlo/isxf/items.h"
#include "orlo/isxf/mem_buffer.h"

namespace Orlo {

/// Puts items on a sink, one after the other; docs/isxf.md shows their bytes.
///
/// ```cpp
/// byteEx bytes;
/// CMemBuffer cursor(&bytes);
/// CISXFWriter<CMemBuffer> writer(cursor, ISXF_NO_BOUND);
/// writer.PutVersion(3);
/// writer.PutString("tea"_lit);
/// writer.PutInt32(350);
/// ```
///
/// `Sink` is `TDataSink` (any sink), `CBufferedSeekableSink<CSysFile>` or `CMemBuffer`; another class with a
/// `Write` does as well. The sink is not owned, and what it buffers is its own to flush.
///
/// A value that says nothing (zero, 0.0 and -0.0, false, an empty text) is written as one byte, `Void`. The
/// bound is charged with a whole item before any of it is written: 1 + payload, and for texts their length + 5
/// in 32 bits, which wraps.
///
/// Failures: `isxfExp` `isxf_code::overflow` when the bound is passed, with nothing written; what the sink
/// throws; `ioExp` `io_code::sink_full` when it takes nothing and gives no reason. Threads: one object belongs
/// to one thread at a time.
template <class Sink>
class CISXFWriter : public CISXFBasic<Sink> {
public:
    /// Writes to `sink`, which outlives this object, at most `bound` bytes.
    CISXFWriter(Sink& sink, std::int64_t bound) noexcept : CISXFBasic<Sink>(sink, bound) {}

    void PutVoid() { _PutItem(isxf_tag::Void, nullptr, 0); }
    void PutBool(bool value) { _PutItem(value ? isxf_tag::Bool : isxf_tag::Void, nullptr, 0); }

    /// `PutInt8`, `PutInt16`, `PutInt32`, `PutInt64`, `PutFloat`, `PutDouble`, `PutLongDouble`.
#define ORLO_ISXF_PUT(NAME, TAG, TYPE) \
    void Put##NAME(TYPE value) {       \
        _PutNumber(TAG, value);        \
    }
    ORLO_ISXF_NUMBERS(ORLO_ISXF_PUT)
#undef ORLO_ISXF_PUT

    /// `PutString`, `PutWString`, `PutBlob`: a text, or `count` characters or bytes at `data`. The length
    /// field has 32 bits and counts bytes: of longer texts it holds the low 32 bits, and so much is written.
    /// The text may not be the buffer that is written to.
#define ORLO_ISXF_PUT(NAME, TAG, TYPE)                                \
    void Put##NAME(const TYPE& text) {                                \
        _PutText(TAG, text.data(), text.size());                      \
    }                                                                 \
    void Put##NAME(const TYPE::value_type* data, std::size_t count) { \
        _PutText(TAG, data, count);                                   \
    }
    ORLO_ISXF_TEXTS(ORLO_ISXF_PUT)
#undef ORLO_ISXF_PUT

    /// `PutCtrlCode`, `PutSegNumber`, `PutEnum`, `PutID`, `PutSize`, `PutBigSize`, `PutCommand`, `PutBigID`,
    /// `PutSmallID`, `PutTinyID`, `PutSmallEnum`, `PutSmallVersion`, `PutVersion`, `PutBigSegNumber`,
    /// `PutCompactCommand`: always in full.
#define ORLO_ISXF_PUT(NAME, TAG, TYPE, WORDS) \
    void Put##NAME(TYPE value) {              \
        _PutItem(TAG, &value, sizeof value);  \
    }
    ORLO_ISXF_CODES(ORLO_ISXF_PUT)
#undef ORLO_ISXF_PUT

    /// `PutEofSegNumber`, `PutEofBigSegNumber`: end marks.
#define ORLO_ISXF_PUT(NAME, TAG, TYPE, WORDS) \
    void Put##NAME() {                        \
        _PutItem(TAG, nullptr, 0);            \
    }
    ORLO_ISXF_MARKS(ORLO_ISXF_PUT)
#undef ORLO_ISXF_PUT

private:
    using CISXFBasic<Sink>::m_pData;
    static constexpr bool in_memory = std::is_same_v<Sink, CMemBuffer>;

    template <class T>
    void _PutNumber(std::uint32_t tag, T value) {
        if (value == T{}) {
            PutVoid();
        } else if constexpr (std::is_same_v<T, long double>) {
            unsigned char field[sizeof value] = {};
            std::memcpy(field, &value, IMPL::ISXF_LONG_DOUBLE_BYTES);
            _PutItem(tag, field, sizeof field);
        } else {
            _PutItem(tag, &value, sizeof value);
        }
    }

    /// The place of a whole item, where the sink has it in memory; otherwise null.
    unsigned char* _Claim(std::size_t size) {
        if constexpr (in_memory) {
            return m_pData->Claim(size);
        } else if constexpr (requires { m_pData->ClaimBuffered(size); }) {
            return m_pData->ClaimBuffered(size);
        } else {
            return nullptr;
        }
    }

    void _PutItem(std::uint32_t tag, const void* payload, std::size_t size) {
        this->_CheckBound(1 + size);
        unsigned char* const place = _Claim(1 + size);
        if (!in_memory && place == nullptr) return _PutPieces(tag, nullptr, payload, size);
        *place = static_cast<unsigned char>(tag);
        if (size != 0) std::memcpy(place + 1, payload, size);
    }

    template <class T>
    void _PutText(std::uint32_t tag, const T* data, std::size_t count) {
        const auto length = static_cast<std::uint32_t>(count * sizeof(T));
        if (length == 0) return PutVoid();
        this->_CheckBound(length + std::uint32_t{5});
        unsigned char* const place = _Claim(std::size_t{length} + 5);
        if (!in_memory && place == nullptr) return _PutPieces(tag, &length, data, length);
        *place = static_cast<unsigned char>(tag);
        std::memcpy(place + 1, &length, 4);
        IMPL::copy_bytes(place + 5, data, length);
    }

    /// An item that goes through calls of `Write`: one for the tag, the length if there is one, the payload.
    [[gnu::noinline]] void _PutPieces(std::uint32_t tag, const std::uint32_t* length, const void* payload,
                                      std::size_t size) {
        const auto first = static_cast<unsigned char>(tag);
        WriteAll(*m_pData, &first, 1);
        if (length != nullptr) WriteAll(*m_pData, length, sizeof *length);
        WriteAll(*m_pData, payload, size);
    }
};

extern template class ORLO_API CISXFWriter<TDataSink>;
extern template class ORLO_API CISXFWriter<CBufferedSeekableSink<CSysFile>>;
extern template class ORLO_API CISXFWriter<CMemBuffer>;

}  // namespace Orlo
