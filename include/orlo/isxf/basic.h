#pragma once

#include <cstdint>
#include <limits>

#include "orlo/isxf/items.h"

namespace Orlo {

/// What reader and writer share: the data object, which they do not own, and the bound, the number of bytes
/// that may still pass. `ISXF_NO_BOUND` counts nothing.
///
/// Every movement of bytes is charged against the bound before it happens. One that does not fit throws
/// `isxfExp` `isxf_code::overflow`, and leaves a bound of 0, so that nothing more passes.
template <class Data>
class CISXFBasic {
public:
    /// Replaces the bound.
    void SetCheckBound(std::int64_t bound) noexcept { m_nCheckBound = bound; }
    /// What is left of the bound.
    std::int64_t GetCheckBound() const noexcept { return m_nCheckBound; }

protected:
    CISXFBasic(Data& data, std::int64_t bound) noexcept : m_nCheckBound(bound), m_pData(&data) {}

    void _CheckBound(std::uint64_t size) {
        if (m_nCheckBound == ISXF_NO_BOUND) return;
        std::int64_t rest;
        if (__builtin_sub_overflow(m_nCheckBound, size, &rest))
            rest = std::numeric_limits<std::int64_t>::min();
        m_nCheckBound = rest;
        if (rest < 0) [[unlikely]] {
            m_nCheckBound = 0;
            isxf_failures::bound(size, rest);
        }
    }

    std::int64_t m_nCheckBound;
    Data* m_pData;
};

}  // namespace Orlo
