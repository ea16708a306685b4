#include "strings/utf8.h"

#include <cstring>
#include <limits>
#include <new>

#include "strings/utf8_kernels.h"
#include "vector/instructions.h"

namespace Orlo::IMPL {
namespace {

constexpr std::size_t WORD = sizeof(std::uint64_t);

bool is_ascii_word(const char* text) noexcept {
    std::uint64_t word;
    std::memcpy(&word, text, WORD);
    return (word & 0x8080808080808080u) == 0;
}

std::size_t decode_plain(const char* text, std::size_t size, wchar_t* out) noexcept {
    const char* const end = text + size;
    wchar_t* write = out;
    while (text != end) {
        while (static_cast<std::size_t>(end - text) >= WORD && is_ascii_word(text)) {
            for (std::size_t i = 0; i < WORD; ++i)
                write[i] = text[i];
            text += WORD;
            write += WORD;
        }
        // so many that a text without ASCII is not asked for words all the time
        for (int i = 0; i < 4 && text != end; ++i) {
            const decoded_point decoded = decode_utf8(text, end);
            *write++ = static_cast<wchar_t>(decoded.point);
            text += decoded.length;
        }
    }
    return static_cast<std::size_t>(write - out);
}

std::size_t encode_plain(const wchar_t* text, std::size_t size, char* out) noexcept {
    char* write = out;
    for (std::size_t i = 0; i < size; ++i)
        write += write_utf8(encodable(text[i]), write);
    return static_cast<std::size_t>(write - out);
}

const utf8_kernel& best_kernel() noexcept {
    return best_instructions() >= instructions::avx2 ? AVX2_UTF8 : PLAIN_UTF8;
}

/// Texts of up to so many units are made on the stack and appended with no room to spare: most texts are
/// short and are kept, and room for the worst case would be four times what they need.
constexpr std::size_t SHORT_TEXT = 256;

template <std::size_t most_for_each, class From, class To, class Convert>
void append_converted(std::basic_string_view<From> text, basic_buffer<To>& out, Convert convert) {
    if (text.size() <= SHORT_TEXT) {
        To made[SHORT_TEXT * most_for_each];
        out.append(made, convert(text.data(), text.size(), made));
        return;
    }
    if (text.size() > (std::numeric_limits<std::size_t>::max() / 4 - out.size()) / most_for_each) {
        throw std::bad_alloc();
    }
    out.reserve_for_write(out.size() + text.size() * most_for_each + 1);
    out.set_size(out.size() + convert(text.data(), text.size(), out.mutable_data() + out.size()));
}

}  // namespace

constinit const utf8_kernel PLAIN_UTF8 = {decode_plain, encode_plain};

void append_utf8_as_wide(std::string_view utf8, wstringEx& out) {
    append_converted<1>(utf8, out, best_kernel().decode);
}

void append_wide_as_utf8(std::wstring_view wide, stringEx& out) {
    append_converted<4>(wide, out, best_kernel().encode);
}

}  // namespace Orlo::IMPL
