#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/strings/buffer.h"

namespace Orlo {

// Streams. Whatever reads or writes bytes in bulk talks to a source, a sink or a synth, never to a file or a
// memory buffer itself.
//
// Failures: those of the back end pass through unchanged. Threads: one object belongs to one thread at a
// time. Destructors may throw: an object that owns its back end closes it then.

/// Anything that can do input or output.
class IDataObject {
public:
    virtual ~IDataObject() noexcept(false) = default;

    /// True if the object can do input or output.
    virtual bool IsOpen() const = 0;
    /// The negation of `IsOpen`.
    virtual bool IsClosed() const { return !IsOpen(); }
    virtual void ReservedA() {}
    virtual void ReservedB() {}
    /// A small number for the object's implementation. Nothing is decided by it.
    virtual int GetKind() const = 0;
    /// Constant text that names the object's class family.
    virtual const char* GetDesc() const { return "Unknown Data Object"; }
    virtual void ReservedC() {}
    /// Copies the whole content into `content` if the object has it in memory; otherwise answers false and
    /// leaves the argument alone.
    virtual bool GetContent(byteEx& content) const {
        static_cast<void>(content);
        return false;
    }
};

/// Something to read from.
///
/// ```cpp
/// const auto count_bytes = [](TDataSource& source) {
///     char block[8192];
///     std::size_t all = 0;
///     while (std::size_t count = source.Read(block, sizeof block))
///         all += count;
///     return all;
/// };
/// static_cast<void>(count_bytes);
/// ```
class TDataSource : public virtual IDataObject {
public:
    const char* GetDesc() const override { return "Unknown Data Source"; }

    /// True if nothing more can be read.
    virtual bool IsEof() = 0;
    /// Reads at most `size` bytes into `buffer`. Returns how many, which may be fewer; 0 at the end.
    virtual std::size_t Read(void* buffer, std::size_t size) = 0;
};

/// Something to write to. `Write` may take a part: see `write_all.h` for all of it.
class TDataSink : public virtual IDataObject {
public:
    const char* GetDesc() const override { return "Unknown Data Sink"; }

    /// Writes at most `size` bytes from `buffer`. Returns how many were accepted, which may be fewer.
    virtual std::size_t Write(const void* buffer, std::size_t size) = 0;
    /// Makes everything durable.
    virtual void Flush() = 0;
    /// Hands what the object itself buffers to its back end, without asking that to make it durable.
    virtual void FlushBuffer() {}
};

/// A position that can be moved. Offsets and sizes are bytes.
class ISeekableObj {
public:
    virtual ~ISeekableObj() noexcept(false) = default;

    /// The position becomes `offset`, counted from the start; the new position is returned.
    virtual std::int64_t SeekBegin(const std::int64_t& offset) = 0;
    /// The same, counted from the current position.
    virtual std::int64_t SeekCurrent(const std::int64_t& offset) = 0;
    /// The same, counted from the end.
    virtual std::int64_t SeekEnd(const std::int64_t& offset) = 0;
    virtual std::int64_t GetCurrentPos() const = 0;
    virtual std::int64_t GetSize() const = 0;
};

class TSeekableSource : public TDataSource, public virtual ISeekableObj {
public:
    const char* GetDesc() const override { return "Unknown Seekable Data Source"; }
};

class TSeekableSink : public TDataSink, public virtual ISeekableObj {
public:
    const char* GetDesc() const override { return "Unknown Seekable Data Sink"; }
};

/// A source and a sink on one position.
class TSeekableSynth : public TSeekableSource, public TSeekableSink {
public:
    const char* GetDesc() const override { return "Unknown Seekable Data Synth"; }
    void FlushBuffer() override {}
};

}  // namespace Orlo
