#pragma once

#include <utility>

#include "orlo/data/data_object.h"

namespace Orlo {

// Adapters that fit the stream interfaces over any file-like back end: a class with `IsOpen`, `Read`,
// `Write`, `Flush`, the seeks, `GetCurrentPos` and `GetSize`.
//
// An adapter holds one back end by value. Over `CSysFile` that is a copy, which shares the descriptor and
// keeps it open for as long as the adapter lives. It can be used from construction and has no open or close
// of its own. Failures of the back end pass through; one of the last close leaves the destructor, unless an
// exception is in flight.

namespace IMPL {

/// What all three adapters do: openness and position.
template <class Interface, class Backend>
class generic_seekable : public Interface {
public:
    explicit generic_seekable(Backend backend) : m_backend(std::move(backend)) {}

    bool IsOpen() const override { return m_backend.IsOpen(); }
    int GetKind() const override { return 1; }

    std::int64_t SeekBegin(const std::int64_t& offset) override { return m_backend.SeekBegin(offset); }
    std::int64_t SeekCurrent(const std::int64_t& offset) override { return m_backend.SeekCurrent(offset); }
    std::int64_t SeekEnd(const std::int64_t& offset) override { return m_backend.SeekEnd(offset); }
    std::int64_t GetCurrentPos() const override { return m_backend.GetCurrentPos(); }
    std::int64_t GetSize() const override { return m_backend.GetSize(); }

protected:
    Backend m_backend;
};

/// Adds the reading half to `Base`.
template <class Base>
class generic_reader : public Base {
public:
    using Base::Base;

    bool IsEof() override {
        if constexpr (requires { this->m_backend.IsEof(); }) return this->m_backend.IsEof();
        return this->m_backend.GetCurrentPos() >= this->m_backend.GetSize();
    }
    std::size_t Read(void* buffer, std::size_t size) override { return this->m_backend.Read(buffer, size); }
};

/// Adds the writing half to `Base`.
template <class Base>
class generic_writer : public Base {
public:
    using Base::Base;

    std::size_t Write(const void* buffer, std::size_t size) override {
        return this->m_backend.Write(buffer, size);
    }
    void Flush() override { this->m_backend.Flush(); }
};

}  // namespace IMPL

/// Reads a back end. `IsEof` compares position and size, which over `CSysFile` costs two system calls; `Read`
/// is one read of the back end.
///
/// ```cpp
/// #include "orlo/files/sys_file.h"
/// CSysFile file;
/// file.Open("/etc/hostname"_lit, file_access::read);
/// CGenericSeekableSource<CSysFile> source(file);
/// char text[64];
/// const std::size_t size = source.IsEof() ? 0 : source.Read(text, sizeof text);
/// static_cast<void>(size);
/// ```
template <class Backend>
class CGenericSeekableSource : public IMPL::generic_reader<IMPL::generic_seekable<TSeekableSource, Backend>> {
public:
    using IMPL::generic_reader<IMPL::generic_seekable<TSeekableSource, Backend>>::generic_reader;
    const char* GetDesc() const override { return "Generic Seekable Data Source"; }
};

/// Writes a back end. `Write` is one write of the back end, so it may accept less than all.
template <class Backend>
class CGenericSeekableSink final
    : public IMPL::generic_writer<IMPL::generic_seekable<TSeekableSink, Backend>> {
public:
    using IMPL::generic_writer<IMPL::generic_seekable<TSeekableSink, Backend>>::generic_writer;
    const char* GetDesc() const override { return "Generic Seekable Data Sink"; }
};

/// Reads and writes a back end on one position.
template <class Backend>
class CGenericSeekableSynth final
    : public IMPL::generic_writer<IMPL::generic_reader<IMPL::generic_seekable<TSeekableSynth, Backend>>> {
public:
    using IMPL::generic_writer<
        IMPL::generic_reader<IMPL::generic_seekable<TSeekableSynth, Backend>>>::generic_writer;
    const char* GetDesc() const override { return "Generic Seekable Data Synth"; }
};

}  // namespace Orlo
