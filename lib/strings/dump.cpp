#include "orlo/strings/dump.h"

#include "strings/append_apart.h"
#include "strings/literal.h"
#include "strings/number_parse.h"

namespace Orlo {
namespace {

constexpr std::size_t VALUES_A_LINE = 12;
constexpr char UPPER_DIGITS[] = "0123456789ABCDEF";
constexpr char LOWER_DIGITS[] = "0123456789abcdef";

template <class T>
void dump_array(basic_buffer<T>& out, const byteEx& data, std::basic_string_view<T> name, bool is_const) {
    const std::size_t count = data.size();
    out.reserve_for_write(out.size() + 6 * count + count / 6 + 33);
    if (is_const) out.append(ORLO_LITERAL(T, "const "));
    out.append(ORLO_LITERAL(T, "unsigned char ")).append(name).append(ORLO_LITERAL(T, "[] = {\n"));
    for (std::size_t i = 0; i < count; ++i) {
        const bool last_in_line = i % VALUES_A_LINE == VALUES_A_LINE - 1;
        if (i % VALUES_A_LINE == 0) out.append(T('\t'));
        out.append(ORLO_LITERAL(T, "0X"));
        out.append(static_cast<T>(UPPER_DIGITS[data[i] >> 4]));
        out.append(static_cast<T>(UPPER_DIGITS[data[i] & 15]));
        if (i + 1 != count) out.append(ORLO_LITERAL(T, ", "));
        if (last_in_line || i + 1 == count) out.append(T('\n'));
    }
    out.append(ORLO_LITERAL(T, "};\n"));
}

template <class T, class B>
void dump_hex(basic_buffer<T>& out, std::basic_string_view<B> data, bool upper) {
    if (data.empty()) return;
    const char* const digits = upper ? UPPER_DIGITS : LOWER_DIGITS;
    const std::size_t size = out.size() + 2 * data.size();
    out.reserve_for_write(size + 1);
    T* to = out.mutable_data() + out.size();
    for (const B unit : data) {
        const auto byte = static_cast<unsigned char>(unit);
        *to++ = static_cast<T>(digits[byte >> 4]);
        *to++ = static_cast<T>(digits[byte & 15]);
    }
    out.set_size(size);
}

template <class T>
bool read_hex(byteEx& out, std::basic_string_view<T> text) {
    const auto is_digit = [](T c) { return IMPL::digit_value(c) < 16; };
    if (text.size() % 2 != 0 || !std::all_of(text.begin(), text.end(), is_digit)) return false;
    if (text.empty()) return true;
    const std::size_t size = out.size() + text.size() / 2;
    out.reserve_for_write(size);
    unsigned char* to = out.mutable_data() + out.size();
    for (std::size_t i = 0; i < text.size(); i += 2)
        *to++ = static_cast<unsigned char>(IMPL::digit_value(text[i]) << 4 | IMPL::digit_value(text[i + 1]));
    out.set_size(size);
    return true;
}

}  // namespace

void c_array_dump(stringEx& out, const byteEx& data, const stringEx& name, bool is_const) {
    IMPL::append_apart(name, out, [&](stringEx& made) { dump_array(made, data, name.view(), is_const); });
}

void c_array_dump(wstringEx& out, const byteEx& data, const wstringEx& name, bool is_const) {
    IMPL::append_apart(name, out, [&](wstringEx& made) { dump_array(made, data, name.view(), is_const); });
}

void hex_dump(stringEx& out, const byteEx& data, bool upper) {
    dump_hex(out, data.view(), upper);
}

void hex_dump(wstringEx& out, const byteEx& data, bool upper) {
    dump_hex(out, data.view(), upper);
}

void hex_dump(stringEx& out, const stringEx& data, bool upper) {
    IMPL::append_apart(data, out, [&](stringEx& made) { dump_hex(made, data.view(), upper); });
}

bool hex_read(byteEx& out, const stringEx& text) {
    return read_hex(out, text.view());
}

bool hex_read(byteEx& out, const wstringEx& text) {
    return read_hex(out, text.view());
}

}  // namespace Orlo
