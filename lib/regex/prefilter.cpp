// What matches begin with.
//
// The program is walked from its start, one character at a time, and the sets of characters that it takes are
// collected, up to the first place where a match may end. For "[0-9]{4}-[0-9]{2}" these are five places:
// digit, digit, digit, digit, "-". Of all places the three that are rarest in usual text are looked for, here
// "-" and two digits. The states at the start become up to eight texts, each with places of its own, so that
// "alpha|beta" is not taken for "aeta".
//
// How rare a byte is, is a guess from its kind. When too many places of a text would be found, as for
// "[a-z]+", looking for them is a waste and there is no filter.

#include "regex/prefilter.h"

#include <algorithm>
#include <vector>

#include "regex/state_walk.h"

namespace Orlo::IMPL {
namespace {

constexpr std::size_t MOST_DEPTH = 16;
constexpr std::size_t MOST_STATES_A_PLACE = 64;
/// Of how many begins of a text one may be found.
constexpr double MOST_FOUND = 1.0 / 24;

/// How often a byte is met in usual text.
double frequency(std::uint32_t byte) {
    if (byte == ' ') return 0.12;
    if (byte == 'e' || byte == 'a' || byte == 't' || byte == 'o' || byte == 'i' || byte == 'n') return 0.06;
    if (byte >= 'a' && byte <= 'z') return 0.025;
    if (byte >= '0' && byte <= '9') return 0.015;
    if ((byte >= 'A' && byte <= 'Z') || byte == '\n') return 0.01;
    if (byte > ' ' && byte < 127) return 0.005;
    return 0.001;
}

/// The characters of one text at one place: a flag for each class, and how often one of them is met.
struct place_set {
    std::vector<bool> classes;
    double often = 0;
};

class prefix_reader {
public:
    prefix_reader(const program& forward, const alphabet& letters)
        : program_(forward), letters_(letters), walk_(forward), frequencies_(letters.classes()) {
        for (std::uint32_t c = 0; c < char_set::low_end; ++c)
            frequencies_[letters.low_classes()[c]] += frequency(c);
    }

    /// The states that can be reached; false if a match is among them, or too many.
    bool enter(const std::vector<std::uint32_t>& from, std::vector<std::uint32_t>& reached) {
        bool matched = false;
        reached.clear();
        walk_.begin_round();
        for (const std::uint32_t state : from)
            walk_.walk(
                state, [](const program_state&) { return true; },
                [&](std::uint32_t number) {
                    matched |= program_.states[number].kind == state_kind::match;
                    reached.push_back(number);
                });
        return !matched && reached.size() <= MOST_STATES_A_PLACE;
    }

    /// The sets of the places after these states.
    std::vector<place_set> read(std::vector<std::uint32_t> states) {
        std::vector<place_set> places;
        std::vector<std::uint32_t> following;
        while (places.size() < MOST_DEPTH) {
            place_set place{std::vector<bool>(letters_.classes()), 0};
            following.clear();
            for (const std::uint32_t number : states) {
                const program_state& s = program_.states[number];
                following.push_back(s.next);
                for (std::uint32_t c = 0; c < letters_.classes(); ++c)
                    if (letters_.in_set(s.value, c)) place.classes[c] = true;
            }
            for (std::uint32_t c = 0; c < letters_.classes(); ++c)
                if (place.classes[c]) place.often += frequencies_[c];
            place.often = std::min(place.often, 1.0);
            places.push_back(std::move(place));
            if (!enter(following, states)) break;
        }
        return places;
    }

private:
    const program& program_;
    const alphabet& letters_;
    state_walk walk_;
    std::vector<double> frequencies_;  ///< of classes
};

/// The rarest places, in all texts taken together; the first among equals, and no place twice.
std::vector<std::size_t> choose_places(const std::vector<std::vector<place_set>>& texts, std::size_t depth) {
    std::vector<double> often(depth);
    std::vector<std::size_t> places(depth);
    for (std::size_t i = 0; i < depth; ++i) {
        places[i] = i;
        for (const auto& text : texts)
            often[i] += text[i].often;
    }
    std::stable_sort(places.begin(), places.end(),
                     [&](std::size_t a, std::size_t b) { return often[a] < often[b]; });
    places.resize(std::min(depth, byte_fingerprint::most_places));
    return places;
}

}  // namespace

std::optional<byte_fingerprint> make_prefilter(const program& forward, const alphabet& letters) {
    prefix_reader reader(forward, letters);
    std::vector<std::uint32_t> starts;
    if (!reader.enter({forward.start}, starts)) return std::nullopt;
    std::vector<std::vector<std::uint32_t>> of_text(std::min(starts.size(), byte_fingerprint::most_texts));
    for (std::size_t i = 0; i < starts.size(); ++i)
        of_text[i % of_text.size()].push_back(starts[i]);

    std::vector<std::vector<place_set>> texts;
    std::size_t depth = MOST_DEPTH;
    for (auto& states : of_text) {
        texts.push_back(reader.read(std::move(states)));
        depth = std::min(depth, texts.back().size());
    }
    if (texts.empty()) return std::nullopt;
    const std::vector<std::size_t> places = choose_places(texts, depth);
    double found = 0;
    for (const auto& text : texts) {
        double often = 1;
        for (const std::size_t place : places)
            often *= text[place].often;
        found += often;
    }
    if (found > MOST_FOUND) return std::nullopt;

    byte_fingerprint made;
    made.reset(places.data(), places.size());
    for (std::size_t text = 0; text < texts.size(); ++text)
        for (std::size_t i = 0; i < places.size(); ++i)
            for (std::uint32_t c = 0; c < char_set::low_end; ++c)
                if (texts[text][places[i]].classes[letters.low_classes()[c]])
                    made.add(text, i, static_cast<unsigned char>(c));
    return made;
}

}  // namespace Orlo::IMPL
