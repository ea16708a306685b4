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

/// Puts items on a sink, one behind the other; docs/isxf.md shows their bytes.
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

    void _PutItem(std::uint32_t tag, const void* payload, std::size_t size) {
        this->_CheckBound(1 + size);
        const auto first = static_cast<unsigned char>(tag);
        if constexpr (in_memory) {
            unsigned char* const place = m_pData->Claim(1 + size);
            *place = first;
            if (size != 0) std::memcpy(place + 1, payload, size);
        } else {
            WriteAll(*m_pData, &first, 1);
            if (size != 0) WriteAll(*m_pData, payload, size);
        }
    }

    template <class T>
    void _PutText(std::uint32_t tag, const T* data, std::size_t count) {
        const auto length = static_cast<std::uint32_t>(count * sizeof(T));
        if (length == 0) {
            PutVoid();
            return;
        }
        this->_CheckBound(length + std::uint32_t{5});
        const auto first = static_cast<unsigned char>(tag);
        if constexpr (in_memory) {
            unsigned char* const place = m_pData->Claim(std::size_t{length} + 5);
            *place = first;
            std::memcpy(place + 1, &length, 4);
            IMPL::copy_bytes(place + 5, data, length);
        } else {
            WriteAll(*m_pData, &first, 1);
            WriteAll(*m_pData, &length, 4);
            WriteAll(*m_pData, data, length);
        }
    }
};

extern template class ORLO_API CISXFWriter<TDataSink>;
extern template class ORLO_API CISXFWriter<CBufferedSeekableSink<CSysFile>>;
extern template class ORLO_API CISXFWriter<CMemBuffer>;

}  // namespace Orlo
