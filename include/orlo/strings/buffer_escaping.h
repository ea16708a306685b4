#pragma once

#include "orlo/export.h"

namespace Orlo {

template <class T>
class basic_buffer;

/// The part of `stringEx` and `wstringEx` that escapes and restores text for XML, HTML and JSON. Each
/// operation appends what it makes of this text to `target`, which may be this object.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// stringEx markup, json("\"");
/// "a < b"_lit.xml_escape_append_to(markup);     // "a &lt; b"
/// "one\ntwo"_lit.json_escape_append_to(json);   // "one\\ntwo" after the quote
/// json.append('"');
/// ```
template <class T>
class ORLO_API buffer_escaping {
public:
    /// < > & ' and " become "&lt;" "&gt;" "&amp;" "&apos;" "&quot;"; restoring knows these five and leaves
    /// any other entity, and an "&" that no ";" follows, as it is.
    void xml_escape_append_to(basic_buffer<T>& target) const;
    void xml_restore_append_to(basic_buffer<T>& target) const;
    /// The same without "&apos;", in both directions.
    void html_escape_append_to(basic_buffer<T>& target) const;
    void html_restore_append_to(basic_buffer<T>& target) const;
    /// The inside of a JSON string: ", the backslash and what is below the blank get a backslash, as one of
    /// " \\ b f n r t or as u and four digits. Restoring takes back the same, and any u with four digits: in
    /// narrow text as UTF-8, two that make a pair as one character. Other backslashes stay ("\/", half a
    /// pair, one at the end).
    void json_escape_append_to(basic_buffer<T>& target) const;
    void json_restore_append_to(basic_buffer<T>& target) const;

private:
    const basic_buffer<T>& self() const noexcept { return static_cast<const basic_buffer<T>&>(*this); }
};

}  // namespace Orlo
