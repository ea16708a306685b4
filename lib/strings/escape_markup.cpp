// Escaping and restoring for XML and HTML: one table of entities for both and for both directions.

#include "orlo/strings/match_cmd.h"
#include "strings/escape_scan.h"
#include "strings/literal.h"

namespace Orlo {
namespace {

template <class T>
struct entity {
    T unit;
    std::basic_string_view<T> text;
};

/// HTML knows the first four.
template <class T>
constexpr std::array<entity<T>, 5> ENTITIES = {{
    {T('<'), ORLO_LITERAL(T, "&lt;")},
    {T('>'), ORLO_LITERAL(T, "&gt;")},
    {T('&'), ORLO_LITERAL(T, "&amp;")},
    {T('"'), ORLO_LITERAL(T, "&quot;")},
    {T('\''), ORLO_LITERAL(T, "&apos;")},
}};
constexpr std::size_t XML_ENTITIES = 5;
constexpr std::size_t HTML_ENTITIES = 4;

template <std::size_t Count>
constexpr IMPL::unit_set SPECIAL = [] {
    IMPL::unit_set units{};
    for (std::size_t i = 0; i < Count; ++i)
        units[static_cast<std::size_t>(ENTITIES<char>[i].unit)] = true;
    return units;
}();

template <std::size_t Count, class T>
void escape(const basic_buffer<T>& source, basic_buffer<T>& target) {
    IMPL::append_escaped(source, target, SPECIAL<Count>, [](basic_buffer<T>& made, T c) {
        for (const entity<T>& known : ENTITIES<T>) {
            if (known.unit == c) made.append(known.text);
        }
    });
}

/// Knows the names of the first `Count` entities, which it is handed without "&" and ";".
template <class T, std::size_t Count>
class entity_restorer : public IStrMatchCmd<basic_buffer<T>> {
public:
    entity_restorer() {
        for (std::size_t i = 0; i < Count; ++i) {
            const entity<T>& known = ENTITIES<T>[i];
            names_[i] = basic_buffer<T>::borrow(known.text.substr(1, known.text.size() - 2));
            units_[i] = basic_buffer<T>::borrow({&known.unit, 1});
        }
    }

    std::int32_t Match(const basic_buffer<T>& key, basic_buffer<T>& out) override {
        for (std::size_t i = 0; i < Count; ++i) {
            if (!(key == names_[i])) continue;
            out.append(units_[i]);
            return MATCH_REPLACE;
        }
        return MATCH_NONE;
    }

    std::uint64_t GetMatchedLen() const override { return 0; }

private:
    std::array<basic_buffer<T>, Count> names_;
    std::array<basic_buffer<T>, Count> units_;
};

template <class T>
void restore(const basic_buffer<T>& source, basic_buffer<T>& target, IStrMatchCmd<basic_buffer<T>>&& cmd) {
    // "&&" stays double: an "&" is never escaped by doubling it
    basic_buffer<T>::replace_between(source, target, ORLO_LITERAL(T, "&"), ORLO_LITERAL(T, ";"), cmd, false,
                                     true);
}

}  // namespace

template <class T>
void buffer_escaping<T>::xml_escape_append_to(basic_buffer<T>& target) const {
    escape<XML_ENTITIES>(self(), target);
}

template <class T>
void buffer_escaping<T>::xml_restore_append_to(basic_buffer<T>& target) const {
    class CXmlRestorer final : public entity_restorer<T, XML_ENTITIES> {};
    restore(self(), target, CXmlRestorer());
}

template <class T>
void buffer_escaping<T>::html_escape_append_to(basic_buffer<T>& target) const {
    escape<HTML_ENTITIES>(self(), target);
}

template <class T>
void buffer_escaping<T>::html_restore_append_to(basic_buffer<T>& target) const {
    class CHtmlRestorer final : public entity_restorer<T, HTML_ENTITIES> {};
    restore(self(), target, CHtmlRestorer());
}

#define ORLO_ESCAPE_MARKUP(T)                                                        \
    template void buffer_escaping<T>::xml_escape_append_to(basic_buffer<T>&) const;  \
    template void buffer_escaping<T>::xml_restore_append_to(basic_buffer<T>&) const; \
    template void buffer_escaping<T>::html_escape_append_to(basic_buffer<T>&) const; \
    template void buffer_escaping<T>::html_restore_append_to(basic_buffer<T>&) const;
ORLO_ESCAPE_MARKUP(char)
ORLO_ESCAPE_MARKUP(wchar_t)
#undef ORLO_ESCAPE_MARKUP

}  // namespace Orlo
