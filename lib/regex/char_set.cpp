#include "regex/char_set.h"

#include <algorithm>
#include <cwctype>

namespace Orlo::IMPL {
namespace {

constexpr std::string_view TYPE_NAMES[CHAR_TYPES] = {"alpha", "upper", "lower", "digit", "xdigit", "alnum",
                                                     "space", "blank", "punct", "print", "graph",  "cntrl"};

/// Above it there are no letters with two cases.
constexpr std::uint32_t LAST_CASED = 0x1FFFF;

constexpr bool is_ascii_of(std::uint32_t c, char_type type) {
    const bool upper = c >= 'A' && c <= 'Z';
    const bool lower = c >= 'a' && c <= 'z';
    const bool digit = c >= '0' && c <= '9';
    switch (type) {
        case char_type::alpha:
            return upper || lower;
        case char_type::upper:
            return upper;
        case char_type::lower:
            return lower;
        case char_type::digit:
            return digit;
        case char_type::xdigit:
            return digit || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
        case char_type::alnum:
            return upper || lower || digit;
        case char_type::space:
            return c == ' ' || (c >= '\t' && c <= '\r');
        case char_type::blank:
            return c == ' ' || c == '\t';
        case char_type::punct:
            return c > ' ' && c < 127 && !upper && !lower && !digit;
        case char_type::print:
            return c >= ' ' && c < 127;
        case char_type::graph:
            return c > ' ' && c < 127;
        case char_type::cntrl:
            return c < ' ' || c == 127;
    }
    return false;
}

/// One word a type: bit c for each ASCII character of it.
struct ascii_table {
    std::uint64_t bits[CHAR_TYPES][2] = {};
    constexpr ascii_table() {
        for (std::size_t type = 0; type < CHAR_TYPES; ++type)
            for (std::uint32_t c = 0; c < 128; ++c)
                if (is_ascii_of(c, static_cast<char_type>(type)))
                    bits[type][c / 64] |= std::uint64_t{1} << c % 64;
    }
};
constexpr ascii_table ASCII;

bool is_wide_of(std::wint_t c, char_type type) {
    switch (type) {
        case char_type::alpha:
            return std::iswalpha(c) != 0;
        case char_type::upper:
            return std::iswupper(c) != 0;
        case char_type::lower:
            return std::iswlower(c) != 0;
        case char_type::digit:
            return std::iswdigit(c) != 0;
        case char_type::xdigit:
            return std::iswxdigit(c) != 0;
        case char_type::alnum:
            return std::iswalnum(c) != 0;
        case char_type::space:
            return std::iswspace(c) != 0;
        case char_type::blank:
            return std::iswblank(c) != 0;
        case char_type::punct:
            return std::iswpunct(c) != 0;
        case char_type::print:
            return std::iswprint(c) != 0;
        case char_type::graph:
            return std::iswgraph(c) != 0;
        case char_type::cntrl:
            return std::iswcntrl(c) != 0;
    }
    return false;
}

}  // namespace

std::optional<char_type> find_char_type(std::string_view name) {
    const auto* const found = std::find(std::begin(TYPE_NAMES), std::end(TYPE_NAMES), name);
    if (found == std::end(TYPE_NAMES)) return std::nullopt;
    return static_cast<char_type>(found - TYPE_NAMES);
}

bool is_of_type(std::uint32_t c, char_type type, bool wide) {
    if (c < 128) return (ASCII.bits[static_cast<std::size_t>(type)][c / 64] >> c % 64 & 1) != 0;
    return wide && is_wide_of(static_cast<std::wint_t>(c), type);
}

void char_set::add(std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t c = first; c <= last && c < low_end; ++c)
        bits_[c / 64] |= std::uint64_t{1} << c % 64;
    if (last >= low_end) ranges_.push_back({std::max(first, low_end), last});
}

void char_set::add_type(char_type type, bool wide) {
    bits_[0] |= ASCII.bits[static_cast<std::size_t>(type)][0];
    bits_[1] |= ASCII.bits[static_cast<std::size_t>(type)][1];
    if (!wide) return;
    for (std::uint32_t c = 128; c < low_end; ++c)
        if (is_of_type(c, type, wide)) add(c);
    types_ |= 1u << static_cast<unsigned>(type);
}

void char_set::add_all_but_type(char_type type, bool wide) {
    for (std::uint32_t c = 0; c < low_end; ++c)
        if (!is_of_type(c, type, wide)) add(c);
    not_types_ |= 1u << static_cast<unsigned>(type);
}

void char_set::merge(const char_set& other) {
    for (std::size_t i = 0; i < bits_.size(); ++i)
        bits_[i] |= other.bits_[i];
    ranges_.insert(ranges_.end(), other.ranges_.begin(), other.ranges_.end());
    types_ |= other.types_;
    not_types_ |= other.not_types_;
}

void char_set::fold_case(bool wide) {
    for (std::uint32_t c = 'a'; c <= 'z'; ++c) {
        if (has_low(c)) add(c - 'a' + 'A');
        if (has_low(c - 'a' + 'A')) add(c);
    }
    if (!wide) return;
    const auto add_cases = [this](std::uint32_t c) {
        const auto upper = static_cast<std::uint32_t>(std::towupper(static_cast<std::wint_t>(c)));
        const auto lower = static_cast<std::uint32_t>(std::towlower(static_cast<std::wint_t>(c)));
        if (upper != c) add(upper);
        if (lower != c) add(lower);
    };
    for (std::uint32_t c = 128; c < low_end; ++c)
        if (has_low(c)) add_cases(c);
    const std::vector<char_range> before = ranges_;
    for (const char_range range : before)
        for (std::uint32_t c = range.first; c <= range.last && c <= LAST_CASED; ++c)
            add_cases(c);
    const std::uint32_t cased =
        1u << static_cast<unsigned>(char_type::upper) | 1u << static_cast<unsigned>(char_type::lower);
    if ((types_ & cased) != 0) {
        types_ |= cased;
        add_type(char_type::upper, wide);
        add_type(char_type::lower, wide);
    }
}

void char_set::negate() {
    for (std::uint64_t& word : bits_)
        word = ~word;
    negated_ = !negated_;
}

void char_set::normalize() {
    std::sort(ranges_.begin(), ranges_.end(), [](char_range a, char_range b) { return a.first < b.first; });
    std::vector<char_range> joined;
    for (const char_range range : ranges_) {
        if (!joined.empty() && range.first <= joined.back().last + std::uint64_t{1}) {
            joined.back().last = std::max(joined.back().last, range.last);
        } else {
            joined.push_back(range);
        }
    }
    ranges_ = std::move(joined);
}

std::size_t char_set::hash() const {
    std::uint64_t sum = types_ + (std::uint64_t{not_types_} << 16) + (negated_ ? 1u << 31 : 0u);
    const auto mix = [&sum](std::uint64_t word) { sum = (sum ^ word) * 0x9E3779B97F4A7C15u + (sum >> 29); };
    for (const std::uint64_t word : bits_)
        mix(word);
    for (const char_range range : ranges_)
        mix(range.first * 0x100000000u + range.last);
    return sum;
}

bool char_set::has_high(std::uint32_t c, std::uint32_t types) const {
    if ((types & types_) != 0 || (~types & not_types_) != 0) return !negated_;
    const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), c,
                                        [](std::uint32_t x, char_range range) { return x < range.first; });
    const bool in_range = after != ranges_.begin() && c <= std::prev(after)->last;
    return in_range != negated_;
}

}  // namespace Orlo::IMPL
