// printf-like formatting.
//
// The output is made beside the object, since the arguments may point into it, and so that a failed
// allocation leaves it unchanged. Nearly all output fits a scratch on the stack; longer output is printed a
// second time into a block of its own.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <new>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

constexpr std::size_t SCRATCH = 512;

/// Prints at most `room` - 1 characters and a zero. Returns the length of the whole output, or a negative
/// number when the formatting fails; in wide text also when the output does not fit.
int print(char* to, std::size_t room, const char* format, std::va_list arguments) {
    return std::vsnprintf(to, room, format, arguments);
}
int print(wchar_t* to, std::size_t room, const wchar_t* format, std::va_list arguments) {
    return std::vswprintf(to, room, format, arguments);
}

/// Appends the whole output, of which `length` is known, to an empty text.
void print_long(stringEx& text, int length, const char* format, std::va_list arguments) {
    const auto room = static_cast<std::size_t>(length) + 1;
    text.reserve_for_write(room);
    if (print(text.mutable_data(), room, format, arguments) == length) text.set_size(room - 1);
}

/// The same; wide output does not tell its length beforehand.
void print_long(wstringEx& text, int /*length*/, const wchar_t* format, std::va_list arguments) {
    wchar_t* block = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = ::open_wmemstream(&block, &size);
    if (stream == nullptr) throw std::bad_alloc();
    const int length = std::vfwprintf(stream, format, arguments);
    const bool closed = std::fclose(stream) == 0;
    struct guard {
        wchar_t* block;
        ~guard() { std::free(block); }
    } const freed{block};
    if (!closed) throw std::bad_alloc();
    if (length > 0) text.append(block, static_cast<std::size_t>(length));
}

/// What one formatting makes, cut to `max_length` characters; empty when it failed.
template <class T>
class printed {
public:
    printed(std::size_t max_length, const T* format, std::va_list arguments) {
        const int error = errno;  // what "%m" prints
        std::va_list copy;
        va_copy(copy, arguments);
        const int length = print(scratch_, SCRATCH, format, copy);
        va_end(copy);
        constexpr bool WIDE = sizeof(T) > 1;
        if (length >= 0 && static_cast<std::size_t>(length) < SCRATCH) {
            text_ = {scratch_, static_cast<std::size_t>(length)};
        } else if (WIDE ? max_length >= SCRATCH : length >= 0) {
            errno = error;
            print_long(long_, length, format, arguments);
            text_ = long_.view();
        }
        if (text_.size() > max_length) text_ = text_.substr(0, WIDE ? 0 : max_length);
    }
    printed(const printed&) = delete;
    printed& operator=(const printed&) = delete;

    std::basic_string_view<T> text() const { return text_; }

private:
    T scratch_[SCRATCH];
    basic_buffer<T> long_;
    std::basic_string_view<T> text_;
};

/// The capacity for a text of `max_length` characters, or of `length` if there is no limit.
std::uint64_t room_for(std::size_t max_length, std::size_t length) {
    return std::uint64_t{max_length == stringEx::npos ? length : max_length} + 1;
}

}  // namespace

#define ORLO_FORMAT(T)                                                                                  \
    void buffer_format<T>::append_format_list(std::size_t max_length, const T* format,                  \
                                              std::va_list arguments) {                                 \
        auto& text = static_cast<basic_buffer<T>&>(*this);                                              \
        const printed<T> made(max_length, format, arguments);                                           \
        const std::uint64_t room = room_for(max_length, made.text().size());                            \
        text.reserve_for_write(text.size() + std::min(room, basic_buffer<T>::npos - text.size()));      \
        text.append(made.text());                                                                       \
    }                                                                                                   \
                                                                                                        \
    void buffer_format<T>::append_format(std::size_t max_length, const T* format, ...) {                \
        std::va_list arguments;                                                                         \
        va_start(arguments, format);                                                                    \
        append_format_list(max_length, format, arguments);                                              \
        va_end(arguments);                                                                              \
    }                                                                                                   \
                                                                                                        \
    void buffer_format<T>::format(std::size_t max_length, const T* format, ...) {                       \
        std::va_list arguments;                                                                         \
        va_start(arguments, format);                                                                    \
        const printed<T> made(max_length, format, arguments);                                           \
        va_end(arguments);                                                                              \
        static_cast<basic_buffer<T>&>(*this).replace_content(made.text(),                               \
                                                             room_for(max_length, made.text().size())); \
    }
ORLO_FORMAT(char)
ORLO_FORMAT(wchar_t)
#undef ORLO_FORMAT

}  // namespace Orlo
