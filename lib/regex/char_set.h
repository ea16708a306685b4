#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Orlo::IMPL {

/// The named classes of characters, as in "[[:alpha:]]".
enum class char_type : std::uint8_t {
    alpha,
    upper,
    lower,
    digit,
    xdigit,
    alnum,
    space,
    blank,
    punct,
    print,
    graph,
    cntrl,
};
constexpr std::size_t CHAR_TYPES = 12;

/// The class of that name; nothing if there is none.
std::optional<char_type> find_char_type(std::string_view name);

/// True if `c` is of that type: below 128 by the ASCII table, above by the locale, which only wide characters
/// ask (`wide`).
bool is_of_type(std::uint32_t c, char_type type, bool wide);

/// Letters, digits and the underscore.
inline bool is_word_char(std::uint32_t c, bool wide) {
    return c == '_' || is_of_type(c, char_type::alnum, wide);
}

struct char_range {
    std::uint32_t first, last;
    bool operator==(const char_range&) const = default;
};

/// A set of characters: one bit each below 256; above that (wide text only) ranges and types, for the locale
/// decides about a million characters, and asking it for each when an expression is read would take too long.
class char_set {
public:
    /// Characters from here on are told by ranges and types.
    static constexpr std::uint32_t low_end = 256;

    void add(std::uint32_t first, std::uint32_t last);
    void add(std::uint32_t c) { add(c, c); }
    void add_type(char_type type, bool wide);
    void add_all_but_type(char_type type, bool wide);
    /// Adds all of `other`, which is not negated.
    void merge(const char_set& other);
    /// Adds the other case of every letter.
    void fold_case(bool wide);
    /// Everything that was not in it.
    void negate();
    void remove_low(std::uint32_t c) { bits_[c / 64] &= ~(std::uint64_t{1} << c % 64); }
    /// Sorts and joins the ranges, so that equal sets compare equal.
    void normalize();

    bool has_low(std::uint32_t c) const { return (bits_[c / 64] >> c % 64 & 1) != 0; }
    /// True if the high character `c` is in it, when its types are those of the mask `types`.
    bool has_high(std::uint32_t c, std::uint32_t types) const;
    const std::array<std::uint64_t, 4>& low_bits() const { return bits_; }
    const std::vector<char_range>& high_ranges() const { return ranges_; }
    /// A mask of the types that decide about high characters.
    std::uint32_t high_types() const { return types_ | not_types_; }

    bool operator==(const char_set&) const = default;
    std::size_t hash() const;

private:
    std::array<std::uint64_t, 4> bits_{};
    std::vector<char_range> ranges_;
    std::uint32_t types_ = 0, not_types_ = 0;
    bool negated_ = false;  ///< of high characters
};

}  // namespace Orlo::IMPL
