#pragma once

#include <cstdarg>
#include <cstddef>

#include "orlo/export.h"

namespace Orlo {

template <class T>
class basic_buffer;
template <class T>
class buffer_format;

/// The part of `stringEx` and `wstringEx` that formats as printf does.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// stringEx text;
/// text.format(32, "%s=%d", "n", 7);             // "n=7"
/// text.append_format(stringEx::npos, " (%#x)\n", 255u);
/// wstringEx wide;
/// wide.format(32, L"%ls", L"wide");
/// ```
///
/// The output is cut to `max_length` characters, for which room is made; `npos` sets no limit. The arguments
/// may lie inside the object. The compiler checks the arguments of the narrow forms against their format.
template <>
class ORLO_API buffer_format<char> {
public:
    /// Replaces the content with `vsnprintf` output. A failed or empty formatting empties the object.
    void format(std::size_t max_length, const char* format, ...) __attribute__((format(printf, 3, 4)));
    /// Appends the output. A failed formatting appends nothing.
    void append_format(std::size_t max_length, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void append_format_list(std::size_t max_length, const char* format, std::va_list arguments)
        __attribute__((format(printf, 3, 0)));
};

/// The same by `vswprintf`; output that does not fit `max_length` counts as failed.
template <>
class ORLO_API buffer_format<wchar_t> {
public:
    void format(std::size_t max_length, const wchar_t* format, ...);
    void append_format(std::size_t max_length, const wchar_t* format, ...);
    void append_format_list(std::size_t max_length, const wchar_t* format, std::va_list arguments);
};

}  // namespace Orlo
