#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "regex/tree.h"

namespace Orlo::IMPL {

/// What a constraint asks about the character on one side of a place.
enum class side : std::uint8_t {
    other,
    word,
    newline,
    edge,         ///< the text's begin or end
    hidden_edge,  ///< the same, but the flags of the match say that no line begins or ends there
};
constexpr std::size_t SIDES = 5;

/// True if `what` holds between these two.
bool holds(constraint what, side left, side right);

/// The characters of an expression, sorted into classes: all characters of a class are in the same sets, so
/// that automata need one column a class instead of one a character. "[a-z]+[0-9]+" has three classes: small
/// letters, digits and all others.
class alphabet {
public:
    explicit alphabet(const expression_tree& tree);

    /// Number of classes. Two more symbols stand for the edges of the text.
    std::uint32_t classes() const { return classes_; }
    std::uint32_t edge_symbol(bool hidden) const { return classes_ + (hidden ? 1 : 0); }
    std::uint32_t symbols() const { return classes_ + 2; }

    std::uint32_t class_of(char c) const { return low_[static_cast<unsigned char>(c)]; }
    std::uint32_t class_of(wchar_t wide) const {
        const auto c = static_cast<std::uint32_t>(wide);
        return c < char_set::low_end ? low_[c] : high_class(c);
    }
    /// The classes of the characters below 256.
    const std::uint16_t* low_classes() const { return low_.data(); }

    /// True if the characters of the class are in the set.
    bool in_set(std::uint32_t set, std::uint32_t symbol) const {
        return (members_[set * words_ + symbol / 64] >> symbol % 64 & 1) != 0;
    }
    /// What constraints see in a symbol, which may be an edge.
    side side_of(std::uint32_t symbol) const { return sides_[symbol]; }

private:
    /// A class while classes are made: one of its characters, and for high ones its types.
    struct sample {
        std::uint32_t c, types;
        bool operator==(const sample&) const = default;
    };

    std::uint32_t high_class(std::uint32_t c) const;
    std::uint32_t types_of(std::uint32_t c) const;
    void split_low(const std::vector<const char_set*>& sets, std::vector<sample>& samples);
    void split_high(const std::vector<const char_set*>& sets, std::vector<sample>& samples);
    void fill_members(const std::vector<char_set>& sets, const std::vector<sample>& samples);
    void fill_sides(const expression_tree& tree, const std::vector<sample>& samples);

    std::array<std::uint16_t, char_set::low_end> low_{};
    std::uint32_t classes_ = 0;
    std::size_t words_ = 0;
    std::vector<std::uint64_t> members_;  ///< `words_` words a set: a bit for each class
    std::vector<side> sides_;
    std::vector<char_type> types_;             ///< that decide about high characters
    std::vector<std::uint32_t> high_begins_;   ///< where an interval of high characters begins
    std::vector<std::uint16_t> high_classes_;  ///< by interval and types
};

}  // namespace Orlo::IMPL
