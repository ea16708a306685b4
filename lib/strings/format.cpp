// printf-like formatting straight into the text's own block.

#include <cstdio>
#include <cwchar>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

int print(char* to, std::size_t room, const char* format, std::va_list arguments) {
    return std::vsnprintf(to, room, format, arguments);
}

int print(wchar_t* to, std::size_t room, const wchar_t* format, std::va_list arguments) {
    return std::vswprintf(to, room, format, arguments);
}

}  // namespace

template <class T>
void basic_buffer<T>::append_format_list(std::size_t max_length, const T* format,
                                         std::va_list arguments) requires text_unit<T> {
    const std::size_t old_size = size_;
    reserve_for_write(old_size + max_length + 1);
    const int printed = print(data_ + old_size, max_length + 1, format, arguments);
    const std::size_t added = printed > 0 ? static_cast<std::size_t>(printed) : 0;
    set_size(old_size + std::min(added, max_length));
}

template <class T>
void basic_buffer<T>::append_format(std::size_t max_length, const T* format, ...) requires text_unit<T> {
    std::va_list arguments;
    va_start(arguments, format);
    append_format_list(max_length, format, arguments);
    va_end(arguments);
}

template <class T>
void basic_buffer<T>::format(std::size_t max_length, const T* format, ...) requires text_unit<T> {
    clear();
    std::va_list arguments;
    va_start(arguments, format);
    append_format_list(max_length, format, arguments);
    va_end(arguments);
}

#define ORLO_FORMAT(T)                                                                      \
    template void basic_buffer<T>::append_format_list(std::size_t, const T*, std::va_list); \
    template void basic_buffer<T>::append_format(std::size_t, const T*, ...);               \
    template void basic_buffer<T>::format(std::size_t, const T*, ...);
ORLO_FORMAT(char)
ORLO_FORMAT(wchar_t)
#undef ORLO_FORMAT

}  // namespace Orlo
