#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "regex/alphabet.h"

namespace Orlo::IMPL {

/// A bit for each place of a text, its end included: whether a look-around holds there.
class place_bits {
public:
    explicit place_bits(std::size_t text_size) : words_(text_size / 64 + 1) {}
    void set(std::size_t place) { words_[place / 64] |= std::uint64_t{1} << place % 64; }
    void flip_all() {
        for (std::uint64_t& word : words_)
            word = ~word;
    }
    bool operator[](std::size_t place) const { return (words_[place / 64] >> place % 64 & 1) != 0; }

private:
    std::vector<std::uint64_t> words_;
};

/// A text as automata see it.
template <class T>
struct subject {
    std::basic_string_view<T> text;
    const alphabet& letters;
    bool hidden_begin = false;  ///< no line begins at the begin
    bool hidden_end = false;    ///< no line ends at the end
    std::vector<place_bits> looks{};

    /// The symbol on the left of a place.
    std::uint32_t before(std::size_t place) const {
        return place == 0 ? letters.edge_symbol(hidden_begin) : letters.class_of(text[place - 1]);
    }
    /// The symbol on its right.
    std::uint32_t after(std::size_t place) const {
        return place == text.size() ? letters.edge_symbol(hidden_end) : letters.class_of(text[place]);
    }
    /// Bit i is set if look-around i holds.
    std::uint32_t looks_at(std::size_t place) const {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < looks.size(); ++i)
            bits |= (looks[i][place] ? 1u : 0u) << i;
        return bits;
    }
};

}  // namespace Orlo::IMPL
