// Escaping and restoring of what stands inside a JSON string.
//
// A line feed becomes "\n", the character 1 becomes "\u0001", and back. Restoring what escaping made gives
// the bytes back, whatever they are. It also reads what others write: "\u00e9" becomes the UTF-8 bytes C3 A9
// in narrow text, and "\ud83d\ude00", two halves of one character, its four bytes. What it does not know
// ("\/", half a pair, too few digits) it leaves alone, backslash included.

#include "orlo/strings/match_cmd.h"
#include "strings/escape_scan.h"
#include "strings/literal.h"
#include "strings/number_parse.h"
#include "strings/utf8.h"

namespace Orlo {
namespace {

// What a backslash makes of a letter: the unit at the letter's place.
template <class T>
constexpr std::basic_string_view<T> LETTERS = ORLO_LITERAL(T, "\"\\bfnrt");
template <class T>
constexpr std::basic_string_view<T> UNITS = ORLO_LITERAL(T, "\"\\\b\f\n\r\t");

constexpr std::size_t UNICODE_LENGTH = 5;  // u and four digits
constexpr std::size_t PAIR_LENGTH = 2 * UNICODE_LENGTH + 1;
constexpr char32_t HIGH_HALF = 0xD800;
constexpr char32_t LOW_HALF = 0xDC00;
constexpr char32_t HALVES_END = 0xE000;
constexpr char32_t NO_POINT = 0xFFFFFFFF;

constexpr IMPL::unit_set SPECIAL = [] {
    IMPL::unit_set units{};
    std::fill_n(units.begin(), ' ', true);
    for (const char unit : UNITS<char>)
        units[static_cast<std::size_t>(unit)] = true;
    return units;
}();

/// The number in "uXXXX" at the start of the text, or `NO_POINT`.
template <class T>
char32_t read_unicode(std::basic_string_view<T> text) noexcept {
    if (text.size() < UNICODE_LENGTH || text[0] != T('u')) return NO_POINT;
    char32_t point = 0;
    for (std::size_t i = 1; i < UNICODE_LENGTH; ++i) {
        const std::uint32_t digit = IMPL::digit_value(text[i]);
        if (digit >= 16) return NO_POINT;
        point = point * 16 + digit;
    }
    return point;
}

}  // namespace

template <class T>
void buffer_escaping<T>::json_escape_append_to(basic_buffer<T>& target) const {
    IMPL::append_escaped(self(), target, SPECIAL, [](basic_buffer<T>& made, T c) {
        const std::size_t known = UNITS<T>.find(c);
        made.append(T('\\'));
        if (known != basic_buffer<T>::npos) {
            made.append(LETTERS<T>[known]);
        } else {
            made.append(ORLO_LITERAL(T, "u00")).append(c < 16 ? T('0') : T('1'));
            made.append_number(std::uint64_t{static_cast<unsigned char>(c)} % 16, 16);
        }
    });
}

template <class T>
void buffer_escaping<T>::json_restore_append_to(basic_buffer<T>& target) const {
    class CJsonRestorer final : public IStrMatchCmd<basic_buffer<T>> {
    public:
        std::int32_t Match(const basic_buffer<T>& key, basic_buffer<T>& out) override {
            if (key[0] == T('u')) return _MatchUnicode(key.view(), out);
            const std::size_t known = m_letters.view().find(key[0]);
            if (known == basic_buffer<T>::npos) return MATCH_NONE;
            out.append(m_units[known]);
            m_matchedLen = 1;
            return MATCH_REPLACE;
        }

        std::uint64_t GetMatchedLen() const override { return m_matchedLen; }

    private:
        std::int32_t _MatchUnicode(std::basic_string_view<T> key, basic_buffer<T>& out) {
            char32_t point = read_unicode(key);
            m_matchedLen = UNICODE_LENGTH;
            if (point >= HIGH_HALF && point < LOW_HALF && key.size() >= PAIR_LENGTH &&
                key[UNICODE_LENGTH] == T('\\')) {
                const char32_t low = read_unicode(key.substr(UNICODE_LENGTH + 1));
                if (low < LOW_HALF || low >= HALVES_END) return MATCH_NONE;
                point = 0x10000 + ((point - HIGH_HALF) << 10) + (low - LOW_HALF);
                m_matchedLen = PAIR_LENGTH;
            }
            if (point == NO_POINT || (point >= HIGH_HALF && point < HALVES_END)) return MATCH_NONE;
            IMPL::append_code_point(out, point);
            return MATCH_REPLACE;
        }

        const basic_buffer<T> m_letters = basic_buffer<T>::borrow(LETTERS<T>);
        const basic_buffer<T> m_units = basic_buffer<T>::borrow(UNITS<T>);
        std::uint64_t m_matchedLen = 1;
    };

    CJsonRestorer cmd;
    basic_buffer<T>::replace_by_cmd(self(), target, T('\\'), cmd);
}

#define ORLO_ESCAPE_JSON(T)                                                          \
    template void buffer_escaping<T>::json_escape_append_to(basic_buffer<T>&) const; \
    template void buffer_escaping<T>::json_restore_append_to(basic_buffer<T>&) const;
ORLO_ESCAPE_JSON(char)
ORLO_ESCAPE_JSON(wchar_t)
#undef ORLO_ESCAPE_JSON

}  // namespace Orlo
