// Any expression on any text: the input is flags, the expression, a zero byte and the text.
//
// The questions to one expression must agree with each other, groups must lie within the match, and an escaped text must
// match itself whole. What cannot be read or is too complex is refused by `regexExp`, nothing else.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "orlo/regex/regex.h"

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

template <class T>
void search(const Orlo::basic_buffer<T>& expression, std::basic_string_view<T> text, std::uint32_t flags) {
    const Orlo::basic_regex<T> regex(expression, flags & 63);
    std::size_t from = 0;
    for (const auto& match : regex.Matches(text, flags & 768)) {
        require(match[0].begin >= from && match[0].begin <= match[0].end && match[0].end <= text.size());
        from = match[0].end;
        require(match.size() == regex.GroupCount() + 1);
        for (const Orlo::regex_span& group : match)
            require(group.begin == Orlo::regex_span::npos ||
                    (group.begin <= group.end && group.end <= text.size()));
    }
    std::vector<Orlo::regex_span> groups;
    const bool found = regex.Search(text, 0, groups, flags & 768);
    require(regex.IsMatch(text, flags & 768) == found);
    require(!found || groups[0].begin != 0 || groups[0].end != text.size() ||
            regex.FullMatch(text, flags & 768));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::uint32_t flags = data[0] | data[1] << 8;
    const std::string input(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string_view whole = input;
    const std::string_view expression = whole.substr(0, whole.find('\0'));
    const std::string_view text = whole.substr(std::min(whole.size(), expression.size() + 1));
    try {
        search<char>(Orlo::stringEx(expression.data(), expression.size()), text, flags);
        std::wstring wide;
        for (const char c : input)  // letters beyond ASCII become letters beyond 255
            wide += static_cast<wchar_t>(
                static_cast<unsigned char>(c) < 128 ? c : static_cast<unsigned char>(c) * 5);
        const std::wstring_view view = wide;
        search<wchar_t>(Orlo::wstringEx(view.data(), expression.size()), view, flags);
    } catch (const Orlo::regexExp& failure) {
        require(failure.code() == 3 || failure.code() == 4 || failure.code() == 6);
    }
    require(Orlo::CRegEx(Orlo::CRegEx::Escape(whole), flags & 4).FullMatch(whole));
    return 0;
}
