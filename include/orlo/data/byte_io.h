#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

namespace Orlo {

namespace IMPL {

/// `std::memcpy` for sizes that are mostly small, which it copies without a call.
[[gnu::always_inline]] inline void copy_bytes(void* to, const void* from, std::size_t size) noexcept {
    struct sixteen {
        std::uint64_t halves[2];
    };
    auto* const target = static_cast<unsigned char*>(to);
    const auto* source = static_cast<const unsigned char*>(from);
    // Two pieces of a known size that may overlap make up any size from one piece to two.
    const auto ends = [&](auto piece) {
        auto last = piece;
        std::memcpy(&piece, source, sizeof piece);
        std::memcpy(&last, source + size - sizeof last, sizeof last);
        std::memcpy(target, &piece, sizeof piece);
        std::memcpy(target + size - sizeof last, &last, sizeof last);
    };
    if (size > 32) {
        asm("" : "+r"(source));  // or g++ warns of literals below 33 bytes, whatever their size here
        std::memcpy(target, source, size);
    } else if (size >= 16) {
        ends(sixteen{});
    } else if (size >= 8) {
        ends(std::uint64_t{});
    } else if (size >= 4) {
        ends(std::uint32_t{});
    } else if (size >= 2) {
        ends(std::uint16_t{});
    } else if (size == 1) {
        *target = *source;
    }
}

}  // namespace IMPL

/// A view of a `byteEx` that reads and writes like a file: a pointer to the buffer, which it does not own, and
/// a position in bytes. It fits the generic adapters and is what the buffered objects keep their bytes with.
///
/// ```cpp
/// byteEx bytes;
/// CByteIO io(&bytes);
/// io.Write("tea", 3);
/// io.SeekBegin(1);
/// char rest[2];
/// io.Read(rest, sizeof rest);  // "ea"
/// ```
///
/// The seeks check nothing: the position may stand past the end, where nothing can be read.
///
/// Failures: `std::bad_alloc` when the buffer cannot grow, or when position and size pass 2^63 - 1 bytes;
/// buffer and position are then as they were. Threads: none but the one that uses the buffer.
class CByteIO {
public:
    explicit CByteIO(byteEx* buffer, std::uint64_t position = 0) noexcept
        : m_buffer(buffer), m_position(position) {}

    /// Always true: there is nothing to open or to close.
    bool IsOpen() const noexcept { return true; }
    bool IsEof() const noexcept { return m_position >= m_buffer->size(); }

    /// Copies at most `size` bytes from the position on and moves it after them. Returns how many, 0 at the
    /// end or past it.
    std::size_t Read(void* buffer, std::size_t size) noexcept {
        const std::size_t left = Left();
        if (size > left) size = left;
        if (size == 0) return 0;
        IMPL::copy_bytes(buffer, m_buffer->data() + m_position, size);
        m_position += size;
        return size;
    }

    /// The next `size` bytes where they lie, of which at least so many are `Left`; the position moves after them.
    const unsigned char* Take(std::size_t size) noexcept {
        const unsigned char* const place = m_buffer->data() + m_position;
        m_position += size;
        return place;
    }

    /// Puts `size` bytes at the position, over what is there and past the end, and moves it after them.
    /// Returns `size`. `data` may not lie inside the buffer.
    ///
    /// A shared or borrowed buffer is made private first. When the position is past the end and the buffer
    /// has to grow, the bytes between are zero; when the block is large enough they are what it held there.
    std::size_t Write(const void* data, std::size_t size) {
        if (size == 0) return 0;
        IMPL::copy_bytes(Claim(size), data, size);
        return size;
    }

    /// The place of `size` bytes that the caller fills now: `Write` without the copy. Valid until the buffer
    /// is changed; `size` is not 0.
    unsigned char* Claim(std::size_t size) {
        byteEx& bytes = *m_buffer;
        const std::uint64_t position = m_position;
        const bool fits =
            bytes.is_unique() && position <= bytes.size() && size <= bytes.capacity() - position;
        if (!fits) [[unlikely]]
            _MakeRoom(size);
        const std::uint64_t end = position + size;
        m_position = end;
        if (end > bytes.size()) bytes.set_size(end);
        return bytes.mutable_data() + position;
    }

    /// Does nothing.
    void Flush() noexcept {}

    /// The position becomes `offset`, counted from the start, from where it is, or from the buffer's end. The
    /// new position is returned.
    std::int64_t SeekBegin(const std::int64_t& offset) noexcept {
        m_position = static_cast<std::uint64_t>(offset);
        return offset;
    }
    std::int64_t SeekCurrent(const std::int64_t& offset) noexcept {
        m_position += static_cast<std::uint64_t>(offset);
        return GetCurrentPos();
    }
    std::int64_t SeekEnd(const std::int64_t& offset) noexcept {
        m_position = m_buffer->size() + static_cast<std::uint64_t>(offset);
        return GetCurrentPos();
    }
    std::int64_t GetCurrentPos() const noexcept { return static_cast<std::int64_t>(m_position); }
    std::int64_t GetSize() const noexcept { return static_cast<std::int64_t>(m_buffer->size()); }

    /// Bytes from the position to the end.
    std::size_t Left() const noexcept { return IsEof() ? 0 : m_buffer->size() - m_position; }

protected:
    byteEx& _Buffer() noexcept { return *m_buffer; }

private:
    ORLO_API void _MakeRoom(std::size_t size);

    byteEx* m_buffer;
    std::uint64_t m_position;
};

}  // namespace Orlo
