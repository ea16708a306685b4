// What the environment says about text: read at the first question, and kept.

#include "textconv/defaults.h"

#include <initializer_list>

#include "orlo/strings/environment.h"
#include "orlo/textconv/text_conv.h"
#include "orlo/textconv/unicode.h"
#include "textconv/encoding_table.h"
#include "textconv/one_time.h"

namespace Orlo {
namespace {

using namespace IMPL;

constinit built_once<std::uint32_t> the_ignored_back_ends;
constinit built_once<stringEx> the_default_encoding;
constinit built_once<stringEx> the_default_locale;

constexpr std::uint32_t NOT_YET_KNOWN = 0xFFFFFFFF;
constinit std::atomic<std::uint32_t> default_is_utf8{NOT_YET_KNOWN};

std::uint32_t bit_of(std::string_view name) noexcept {
    constexpr std::pair<std::string_view, std::uint32_t> BITS[] = {
        {"MSW", ignore_msw}, {"ICONV", ignore_iconv}, {"ICU", ignore_icu}, {"ISOC", ignore_isoc}};
    for (const auto& [known, bit] : BITS) {
        if (name == known) return bit;
    }
    return 0;
}

std::uint32_t read_ignored_back_ends() {
    const stringEx list = GetEnv("ORLO_TEXTCONV_IGNORE_LIST");
    std::uint32_t bits = 0;
    for (std::string_view left = list.view();;) {
        const std::size_t end = std::min(left.find_first_of(";/|"), left.size());
        stringEx part(left.substr(0, end));
        part.trim();
        part.to_upper();
        bits |= bit_of(part);
        if (end == left.size()) return bits;
        left.remove_prefix(end + 1);
    }
}

/// What `cut` leaves of the first of the variables of which it leaves something.
template <class Cut>
stringEx first_text_of(std::initializer_list<std::string_view> variables, Cut cut) {
    for (const std::string_view variable : variables) {
        const stringEx value = GetEnv(variable);
        stringEx text(cut(value.view()));
        text.trim();
        if (!text.empty()) return text;
    }
    return {};
}

std::string_view up_to(std::string_view text, char mark) noexcept {
    return text.substr(0, text.find(mark));
}

stringEx read_default_encoding() {
    const auto whole = [](std::string_view value) { return value; };
    const auto behind_dot = [](std::string_view value) {
        const std::string_view name = up_to(value, '@');
        const std::size_t dot = name.rfind('.');
        return dot != name.npos ? name.substr(dot + 1) : std::string_view();
    };
    stringEx encoding = first_text_of({"ORLO_DEFAULT_MBCS"}, whole);
    if (encoding.empty()) encoding = first_text_of({"LC_CTYPE", "LANG", "LC_ALL"}, behind_dot);
    return !encoding.empty() ? encoding : "ASCII"_lit;
}

stringEx read_default_locale() {
    const auto name_only = [](std::string_view value) { return up_to(up_to(value, '.'), '@'); };
    const stringEx locale = first_text_of({"LANG", "LC_CTYPE", "LC_ALL"}, name_only);
    return !locale.empty() ? locale : "en_US"_lit;
}

}  // namespace

std::uint32_t IMPL::ignored_back_ends() {
    return the_ignored_back_ends.get(read_ignored_back_ends);
}

bool IMPL::is_utf8(std::string_view encoding) noexcept {
    return same_name(encoding, "UTF-8");
}

stringEx TTextConv::GetDefaultEncoding() {
    return the_default_encoding.get(read_default_encoding);
}

stringEx TTextConv::GetDefaultLocale() {
    return the_default_locale.get(read_default_locale);
}

bool IsDefaultUtf8() {
    std::uint32_t known = default_is_utf8.load(std::memory_order_relaxed);
    if (known == NOT_YET_KNOWN) {
        known = is_utf8(TTextConv::GetDefaultEncoding()) ? 1 : 0;
        default_is_utf8.store(known, std::memory_order_relaxed);
    }
    return known != 0;
}

}  // namespace Orlo
