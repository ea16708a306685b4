#pragma once

#include <string>
#include <string_view>

#include "orlo/strings/buffer.h"

/// The characters of a narrow text, one by one, as an owned text of units of type T: one table of cases
/// serves all character types.
template <class T>
Orlo::basic_buffer<T> twin(std::string_view text) {
    Orlo::basic_buffer<T> made;
    for (const char c : text)
        made.append(static_cast<T>(static_cast<unsigned char>(c)));
    return made;
}

/// Back again, for comparison and for messages. A unit beyond a byte shows as "?".
template <class T>
std::string untwin(const Orlo::basic_buffer<T>& text) {
    std::string made;
    for (const T unit : text)
        made += static_cast<std::make_unsigned_t<T>>(unit) < 256 ? static_cast<char>(unit) : '?';
    return made;
}

/// Calls `visit` with every string over `alphabet` of at most `longest` characters.
template <class Visit>
void for_each_string(std::string_view alphabet, std::size_t longest, Visit visit, std::string text = {}) {
    visit(text);
    if (text.size() == longest) return;
    for (const char c : alphabet)
        for_each_string(alphabet, longest, visit, text + c);
}
