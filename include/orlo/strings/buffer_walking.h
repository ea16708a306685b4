#pragma once

#include <string_view>

#include "orlo/export.h"

namespace Orlo {

template <class T>
class basic_buffer;
template <class S>
class IStrMatchCmd;
template <class S>
struct str_replacement;

/// The part of `basic_buffer` that walks a text and replaces what a command or a table finds in it.
/// "orlo/strings/match_cmd.h" holds the two types that these operations take, and an example.
///
/// All of them are linear in the text and the replacements: they write into a fresh text (or append to the
/// target), and stretches that nothing touches are copied as blocks. An object in which nothing is found
/// stays as it is in place, shared block included. The source may be the target, share its block or lie
/// inside it. When a command throws, the object or the target holds what it held before.
template <class T>
class ORLO_API buffer_walking {
public:
    /// Appends to `target` the walked copy of `source`, in which `cmd` decides about each `escape`. A doubled
    /// escape becomes a single one, or stays double with `keep_double`; one at the very end stays, or goes
    /// with `drop_trailing`. The second form walks this object in place.
    static void replace_by_cmd(const basic_buffer<T>& source, basic_buffer<T>& target, T escape,
                               IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_trailing = false,
                               bool keep_double = false);
    void replace_by_cmd(T escape, IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_trailing = false,
                        bool keep_double = false);
    /// The same in place by a table, which an entry with neither key nor value ends: the first key that
    /// follows an escape is replaced, together with the escape, by its value.
    void replace_by_table(T escape, const str_replacement<basic_buffer<T>>* table, bool drop_trailing = false,
                          bool keep_double = false);

    /// The same walk over stretches from `open` to the next `close`; `cmd` gets what lies between. The first
    /// character of `open` doubled is no opening. An `open` without a `close` stays, or, with
    /// `drop_unclosed`, goes, and what follows it stays. An empty `open` changes nothing.
    static void replace_between(const basic_buffer<T>& source, basic_buffer<T>& target,
                                std::basic_string_view<T> open, std::basic_string_view<T> close,
                                IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_unclosed = false,
                                bool keep_double = false);
    void replace_between(std::basic_string_view<T> open, std::basic_string_view<T> close,
                         IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_unclosed = false,
                         bool keep_double = false);

private:
    basic_buffer<T>& self() noexcept { return static_cast<basic_buffer<T>&>(*this); }
};

}  // namespace Orlo
