// Classes of characters.
//
// The characters below 256 are cut where any set begins or ends, and pieces that are in the same sets become
// one class. For [a-z]+[0-9]+ the cuts are at '0', ':', 'a' and '{':
//
//   00-2F   30-39   3A-60   61-7A   7B-FF        pieces
//     0       1       0       2       0          classes
//
// Above 255, in wide text, the pieces are intervals between the ends of ranges, each once for every
// combination of the types that sets ask for ([[:alpha:]] or \w); the types of a character are asked from the
// locale when it is met.
//
// Costs, with S sets and P pieces: S x P tests.

#include "regex/alphabet.h"

#include <algorithm>
#include <unordered_map>

#include "regex/parser.h"

namespace Orlo::IMPL {
namespace {

bool is_edge(side s) {
    return s == side::edge || s == side::hidden_edge;
}

/// For every sample its class; `first` gets one sample for each class.
template <class Sample, class Has>
std::vector<std::uint16_t> join_alike(const std::vector<Sample>& pieces, std::size_t sets, const Has& has,
                                      std::vector<Sample>& first) {
    std::vector<std::uint16_t> classes;
    std::unordered_multimap<std::uint64_t, std::size_t> known;
    const std::size_t before = first.size();
    const auto alike = [&](const Sample& a, const Sample& b) {
        for (std::size_t set = 0; set < sets; ++set)
            if (has(set, a) != has(set, b)) return false;
        return true;
    };
    for (const Sample& piece : pieces) {
        std::uint64_t sum = 0;
        for (std::size_t set = 0; set < sets; ++set)
            sum = (sum ^ (has(set, piece) ? set + 1 : 0)) * 0x9E3779B97F4A7C15u + (sum >> 31);
        std::size_t found = before - 1;
        const auto [begin, end] = known.equal_range(sum);
        for (auto i = begin; i != end; ++i)
            if (alike(first[i->second], piece)) found = i->second;
        if (found + 1 == before) {
            found = first.size();
            if (found > UINT16_MAX) throw TOO_COMPLEX;
            first.push_back(piece);
            known.emplace(sum, found);
        }
        classes.push_back(static_cast<std::uint16_t>(found));
    }
    return classes;
}

}  // namespace

bool holds(constraint what, side left, side right) {
    const bool word_left = left == side::word;
    const bool word_right = right == side::word;
    switch (what) {
        case constraint::line_begin:
            return left == side::edge;
        case constraint::line_end:
            return right == side::edge;
        case constraint::any_line_begin:
            return left == side::edge || left == side::newline;
        case constraint::any_line_end:
            return right == side::edge || right == side::newline;
        case constraint::text_begin:
            return is_edge(left);
        case constraint::text_end:
            return is_edge(right);
        case constraint::word_begin:
            return !word_left && word_right;
        case constraint::word_end:
            return word_left && !word_right;
        case constraint::word_edge:
            return word_left != word_right;
        case constraint::no_word_edge:
            return word_left == word_right;
    }
    return false;
}

alphabet::alphabet(const expression_tree& tree) {
    std::vector<const char_set*> sets;
    for (const char_set& set : tree.sets)
        sets.push_back(&set);
    char_set words;
    char_set newline;
    if (tree.word_edges) {
        words.add_type(char_type::alnum, tree.wide);
        words.add('_');
        sets.push_back(&words);
    }
    if (tree.newlines) {
        newline.add('\n');
        sets.push_back(&newline);
    }
    std::vector<sample> samples;
    split_low(sets, samples);
    if (tree.wide) split_high(sets, samples);
    classes_ = static_cast<std::uint32_t>(samples.size());
    fill_members(tree.sets, samples);
    fill_sides(tree, samples);
}

void alphabet::split_low(const std::vector<const char_set*>& sets, std::vector<sample>& samples) {
    std::array<std::uint64_t, 4> cuts{1};  // a bit where a piece begins
    for (const char_set* const set : sets) {
        std::uint64_t carry = set->has_low(0) ? 1 : 0;
        for (std::size_t i = 0; i < cuts.size(); ++i) {
            const std::uint64_t bits = set->low_bits()[i];
            cuts[i] |= bits ^ (bits << 1 | carry);
            carry = bits >> 63;
        }
    }
    std::vector<sample> pieces;
    for (std::uint32_t c = 0; c < char_set::low_end; ++c)
        if ((cuts[c / 64] >> c % 64 & 1) != 0) pieces.push_back({c, 0});
    const std::vector<std::uint16_t> classes = join_alike(
        pieces, sets.size(), [&](std::size_t set, sample s) { return sets[set]->has_low(s.c); }, samples);
    std::size_t piece = 0;
    for (std::uint32_t c = 0; c < char_set::low_end; ++c) {
        if (piece + 1 < pieces.size() && pieces[piece + 1].c == c) ++piece;
        low_[c] = classes[piece];
    }
}

void alphabet::split_high(const std::vector<const char_set*>& sets, std::vector<sample>& samples) {
    std::uint32_t types = 0;
    high_begins_ = {char_set::low_end};
    for (const char_set* const set : sets) {
        types |= set->high_types();
        for (const char_range range : set->high_ranges()) {
            high_begins_.push_back(range.first);
            if (range.last != UINT32_MAX) high_begins_.push_back(range.last + 1);
        }
    }
    std::sort(high_begins_.begin(), high_begins_.end());
    high_begins_.erase(std::unique(high_begins_.begin(), high_begins_.end()), high_begins_.end());
    for (std::size_t type = 0; type < CHAR_TYPES; ++type)
        if ((types >> type & 1) != 0) types_.push_back(static_cast<char_type>(type));

    std::vector<sample> pieces;
    for (const std::uint32_t begin : high_begins_) {
        for (std::uint32_t chosen = 0; chosen < 1u << types_.size(); ++chosen) {
            sample s{begin, 0};
            for (std::size_t i = 0; i < types_.size(); ++i)
                if ((chosen >> i & 1) != 0) s.types |= 1u << static_cast<unsigned>(types_[i]);
            pieces.push_back(s);
        }
    }
    high_classes_ = join_alike(
        pieces, sets.size(), [&](std::size_t set, sample s) { return sets[set]->has_high(s.c, s.types); },
        samples);
}

std::uint32_t alphabet::high_class(std::uint32_t c) const {
    const auto after = std::upper_bound(high_begins_.begin(), high_begins_.end(), c);
    std::size_t index = static_cast<std::size_t>(after - high_begins_.begin() - 1) << types_.size();
    for (std::size_t i = 0; i < types_.size(); ++i)
        if (is_of_type(c, types_[i], true)) index += std::size_t{1} << i;
    return high_classes_[index];
}

void alphabet::fill_members(const std::vector<char_set>& sets, const std::vector<sample>& samples) {
    words_ = (symbols() + 63) / 64;
    members_.assign(sets.size() * words_, 0);
    for (std::size_t set = 0; set < sets.size(); ++set) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const sample s = samples[i];
            const bool in =
                s.c < char_set::low_end ? sets[set].has_low(s.c) : sets[set].has_high(s.c, s.types);
            if (in) members_[set * words_ + i / 64] |= std::uint64_t{1} << i % 64;
        }
    }
}

void alphabet::fill_sides(const expression_tree& tree, const std::vector<sample>& samples) {
    sides_.assign(symbols(), side::other);
    const std::uint32_t alnum = 1u << static_cast<unsigned>(char_type::alnum);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const sample s = samples[i];
        const bool word = s.c < char_set::low_end ? is_word_char(s.c, tree.wide) : (s.types & alnum) != 0;
        if (tree.word_edges && word) sides_[i] = side::word;
        if (tree.newlines && s.c == '\n') sides_[i] = side::newline;
    }
    sides_[edge_symbol(false)] = side::edge;
    sides_[edge_symbol(true)] = side::hidden_edge;
}

}  // namespace Orlo::IMPL
