#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Orlo::IMPL {

/// What some texts have in common at up to three places: for each place, which bytes can be there.
///
/// Up to eight texts (or kinds of text) are told apart, so that "cat" and "dog" do not make "cog" a find.
class byte_fingerprint {
public:
    static constexpr std::size_t most_places = 3;
    static constexpr std::size_t most_texts = 8;

    /// Begins anew, for texts of which the bytes at these offsets are examined, the rarest first; `places` is at
    /// least 1.
    void reset(const std::size_t* offsets, std::size_t places);
    /// Text number `text` may have `byte` at place number `place`.
    void add(std::size_t text, std::size_t place, unsigned char byte);

    /// The first begin, from `begin` on, where one of the texts may be; `end` if there is none. Only texts
    /// that lie before `end` up to the last place are found.
    const char* find(const char* begin, const char* end) const;

private:
    bool may_begin(const char* at) const;
    const char* first_of(std::uint32_t found, const char* begin) const;
    const char* find_plain(const char* begin, const char* last) const;
    const char* find_byte(const char* begin, const char* last) const;
    const char* find_any(const char* begin, const char* last) const;

    std::size_t places_ = 0, bytes_of_first_ = 0;
    std::array<std::size_t, most_places> offsets_{};
    /// A bit for each text: by byte, by the low and by the high half of a byte.
    std::array<std::array<std::uint8_t, 256>, most_places> by_byte_{};
    std::array<std::array<std::uint8_t, 16>, most_places> by_low_{}, by_high_{};
    unsigned char first_byte_ = 0;
};

}  // namespace Orlo::IMPL
