#pragma once

#include <utility>

#include "orlo/data/byte_io.h"
#include "orlo/data/data_object.h"
#include "orlo/data/write_all.h"
#include "orlo/export.h"
#include "orlo/files/sys_file.h"
#include "orlo/strings/destructor_guard.h"

namespace Orlo {

// A buffer in memory in front of a file: it turns many small reads or writes into few system calls.
//
// The object holds the file by value: over `CSysFile` a copy, which shares the descriptor and its position and
// keeps it open. The file is opened before; a close that fails leaves the destructor, unless an exception is
// in flight. Failures of the file pass through. Objects cannot be copied. Threads: one object belongs to one
// thread at a time.

/// What both directions have, and no class to use by itself: the file, the buffer's size, its bytes, and a view of them.
template <class Interface, class File>
class buffered_file : public Interface {
public:
    buffered_file(const buffered_file&) = delete;
    buffered_file& operator=(const buffered_file&) = delete;

    bool IsOpen() const override { return m_file.IsOpen(); }
    int GetKind() const override { return 4; }

protected:
    buffered_file(File file, std::uint64_t bufferSize)
        : m_file(std::move(file)), m_bufferSize(bufferSize), m_view(&m_store) {
        if (bufferSize != 0) m_store.assign_reserve(bufferSize);
    }

    void _Empty() noexcept {
        m_store.clear();
        m_view.SeekBegin(0);
    }

    // Mutable for the sink, which has to write before it can tell the file's size.
    mutable File m_file;
    std::uint64_t m_bufferSize;
    mutable byteEx m_store;
    mutable CByteIO m_view;
};

/// Reads a file through a buffer.
///
/// ```cpp
/// CSysFile file;
/// file.Open("data.bin", file_access::read);
/// CBufferedSeekableSource<CSysFile> source(file, 8192);
/// char mark[4];
/// if (source.Read(mark, sizeof mark) < sizeof mark) return;
/// ```
template <class File>
class CBufferedSeekableSource final : public buffered_file<TSeekableSource, File> {
public:
    /// Reads `bufferSize` bytes ahead, which are reserved here; with 0 every read goes to the file.
    CBufferedSeekableSource(File file, std::uint64_t bufferSize)
        : buffered_file<TSeekableSource, File>(std::move(file), bufferSize) {}

    const char* GetDesc() const override { return "Buffered Seekable Data Source"; }

    /// True when the buffer is used up and the file is at its end, which costs four seeks.
    bool IsEof() override { return m_view.IsEof() && m_file.GetCurrentPos() >= m_file.GetSize(); }

    /// Reads at most `size` bytes, with at most one read of the file, whose short count is the caller's short
    /// count. What the buffer does not hold is read straight into `buffer` if it is at least as much as the
    /// buffer's size. A read that fails has taken nothing.
    std::size_t Read(void* buffer, std::size_t size) override {
        return size <= m_view.Left() ? m_view.Read(buffer, size) : _ReadMore(buffer, size);
    }

    /// The next `size` bytes where they lie, if the buffer holds them all: they count as read then, and are
    /// valid until the next operation. Otherwise null, and nothing has changed.
    const unsigned char* TakeBuffered(std::size_t size) noexcept {
        return size <= m_view.Left() ? m_view.Take(size) : nullptr;
    }

    /// These move the file and drop what was read ahead. A seek that fails changes nothing.
    std::int64_t SeekBegin(const std::int64_t& offset) override { return _Moved(m_file.SeekBegin(offset)); }
    std::int64_t SeekEnd(const std::int64_t& offset) override { return _Moved(m_file.SeekEnd(offset)); }
    /// Does nothing for 0. Any other offset counts from the file's position, which is ahead of the reader's by
    /// what was read ahead and not used: take `SeekBegin(GetCurrentPos() + offset)` to move the reader.
    std::int64_t SeekCurrent(const std::int64_t& offset) override {
        return offset == 0 ? GetCurrentPos() : _Moved(m_file.SeekCurrent(offset));
    }
    /// The position of the next byte that `Read` gives.
    std::int64_t GetCurrentPos() const override {
        return m_file.GetCurrentPos() - static_cast<std::int64_t>(m_view.Left());
    }
    std::int64_t GetSize() const override { return m_file.GetSize(); }

private:
    using buffered_file<TSeekableSource, File>::m_file;
    using buffered_file<TSeekableSource, File>::m_bufferSize;
    using buffered_file<TSeekableSource, File>::m_store;
    using buffered_file<TSeekableSource, File>::m_view;

    std::size_t _ReadMore(void* buffer, std::size_t size);
    std::int64_t _Moved(std::int64_t position) noexcept {
        this->_Empty();
        return position;
    }
};

/// Writes a file through a buffer. What is buffered is written when the buffer is full, by `FlushBuffer`, and
/// at the latest by the destructor.
///
/// ```cpp
/// CSysFile file;
/// file.Open("data.bin", file_access::write, O_CREAT | O_TRUNC);
/// CBufferedSeekableSink<CSysFile> sink(file, 8192);
/// sink.Write("FR", 2);
/// sink.Flush();
/// ```
///
/// Every write of the file goes on until all is written or the file fails; `ioExp` `io_code::sink_full` says
/// that it takes no more and gives no reason. What could not be written stays in the buffer, in front of what
/// comes later, and the next flush tries it again. So after a failed `Write` of less than the buffer's size
/// its bytes are in the buffer and need not be given again.
template <class File>
class CBufferedSeekableSink final : public buffered_file<TSeekableSink, File> {
public:
    /// Writes the buffer when it holds `bufferSize` bytes, which are reserved here; with 0 nothing is buffered.
    CBufferedSeekableSink(File file, std::uint64_t bufferSize)
        : buffered_file<TSeekableSink, File>(std::move(file), bufferSize) {}
    /// Writes what is buffered. A failure is thrown, unless an exception is in flight: the bytes are lost then.
    ~CBufferedSeekableSink() noexcept(false) override {
        finish_in_destructor([this] {
            if (m_file.IsOpen()) FlushBuffer();
        });
    }

    const char* GetDesc() const override { return "Buffered Seekable Data Sink"; }

    /// Takes all `size` bytes and returns `size`. At least as many as the buffer's size go straight to the
    /// file, after what is buffered.
    std::size_t Write(const void* buffer, std::size_t size) override {
        if (size >= m_bufferSize) {
            FlushBuffer();
            WriteAll(m_file, buffer, size);
        } else {
            m_view.Write(buffer, size);
            if (m_store.size() >= m_bufferSize) _WriteStore();
        }
        return size;
    }

    /// The place of `size` bytes, not 0, that the caller fills now and that count as written, if the buffer is
    /// not full with them. Otherwise null, and nothing has changed.
    unsigned char* ClaimBuffered(std::size_t size) {
        return size < m_bufferSize && m_store.size() < m_bufferSize - size ? m_view.Claim(size) : nullptr;
    }

    /// Writes what is buffered and asks the file to make all of it durable.
    void Flush() override {
        FlushBuffer();
        m_file.Flush();
    }
    void FlushBuffer() override {
        if (!m_store.empty()) _WriteStore();
    }

    /// These write what is buffered, and move the file then.
    std::int64_t SeekBegin(const std::int64_t& offset) override { return _Flushed().SeekBegin(offset); }
    std::int64_t SeekCurrent(const std::int64_t& offset) override { return _Flushed().SeekCurrent(offset); }
    std::int64_t SeekEnd(const std::int64_t& offset) override { return _Flushed().SeekEnd(offset); }
    /// Where the next byte goes to. Nothing is written.
    std::int64_t GetCurrentPos() const override { return m_file.GetCurrentPos() + m_view.GetCurrentPos(); }
    /// The file's size with what was buffered, which is written first.
    std::int64_t GetSize() const override {
        return const_cast<CBufferedSeekableSink*>(this)->_Flushed().GetSize();
    }

private:
    using buffered_file<TSeekableSink, File>::m_file;
    using buffered_file<TSeekableSink, File>::m_bufferSize;
    using buffered_file<TSeekableSink, File>::m_store;
    using buffered_file<TSeekableSink, File>::m_view;

    void _WriteStore();
    File& _Flushed() {
        FlushBuffer();
        return m_file;
    }
};

template <class File>
std::size_t CBufferedSeekableSource<File>::_ReadMore(void* buffer, std::size_t size) {
    const std::int64_t before = m_view.GetCurrentPos();
    const std::size_t copied = m_view.Read(buffer, size);
    unsigned char* const to = static_cast<unsigned char*>(buffer) + copied;
    const std::size_t rest = size - copied;
    try {
        if (rest >= m_bufferSize) return copied + m_file.Read(to, rest);
        m_store.set_size(m_file.Read(m_store.mutable_data(), m_bufferSize));
    } catch (...) {
        m_view.SeekBegin(before);
        throw;
    }
    m_view.SeekBegin(0);
    return copied + m_view.Read(to, rest);
}

template <class File>
void CBufferedSeekableSink<File>::_WriteStore() {
    std::size_t written = 0;
    try {
        WriteAll(m_file, m_store.data(), m_store.size(), written);
    } catch (...) {
        const std::size_t rest = m_store.size() - written;
        std::memmove(m_store.mutable_data(), m_store.data() + written, rest);
        m_store.set_size(rest);
        m_view.SeekEnd(0);
        throw;
    }
    this->_Empty();
}

extern template class ORLO_API CBufferedSeekableSource<CSysFile>;
extern template class ORLO_API CBufferedSeekableSink<CSysFile>;

}  // namespace Orlo
