#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "orlo/strings/shared_count.h"

namespace Orlo {

template <class S>
class IStrMatchCmd;
template <class S>
struct str_replacement;

/// The units of narrow and wide text, which know numbers, blanks and letters; bytes do not.
template <class T>
concept text_unit = std::is_same_v<T, char> || std::is_same_v<T, wchar_t>;

/// Text or bytes with shared storage: the one string type of the library.
///
/// Copying shares the block and counts one owner more; whoever modifies its object first makes sure that
/// no other owner sees it (copy on write). An object is four words and in one of four states:
///
/// | state    | data                           | counter          | capacity           |
/// |----------|--------------------------------|------------------|--------------------|
/// | empty    | null                           | null             | 0                  |
/// | borrowed | constant text that outlives it | null             | -2                 |
/// | owned    | heap block                     | value 1          | elements allocated |
/// | shared   | heap block                     | value above 1    | elements allocated |
///
/// Size and capacity live in the object, not in the block. Owned narrow and wide text has a terminating
/// zero behind its last element, which the capacity includes; bytes have none. A borrowed text costs no
/// allocation and is never written to: every modifying operation makes it private first.
///
/// Threads: different objects that share a block may be read, copied, modified and destroyed from different
/// threads. One and the same object may not be used from two threads without a lock.
///
/// Failures: `std::bad_alloc` from whatever allocates, which leaves the object as it was;
/// `std::out_of_range` from `at`. Nothing else throws.
template <class T>
class basic_buffer {
public:
    using value_type = T;
    using view_type = std::basic_string_view<T>;

    /// "Up to the end", as a count.
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// The capacity by which a borrowed text is known.
    static constexpr std::uint64_t borrowed_capacity = static_cast<std::uint64_t>(-2);
    /// Radix that lets the number parsers detect it from the text's prefix.
    static constexpr std::uint32_t radix_detect = 0xFFFFFFFFu;
    /// True for narrow and wide text, which keep a terminator; false for bytes.
    static constexpr bool is_text = text_unit<T>;

    // --- construction, copying, destruction --------------------------------------------------------------

    constexpr basic_buffer() noexcept = default;

    /// An owned copy of a C string, of capacity exactly length + 1; an empty text stays in the empty state.
    basic_buffer(const T* text) requires text_unit<T> : basic_buffer(view_type(text)) {}

    /// An owned copy of `count` elements, with no room to spare; none gives the empty state.
    basic_buffer(const T* text, std::size_t count) { assign_exact(text, count); }
    explicit basic_buffer(view_type text) { assign_exact(text.data(), text.size()); }

    /// A borrowed buffer over constant text, which must outlive it and all its copies.
    static basic_buffer borrow(view_type text) noexcept {
        basic_buffer made;
        made.data_ = const_cast<T*>(text.data());
        made.size_ = text.size();
        made.capacity_ = borrowed_capacity;
        return made;
    }

    basic_buffer(const basic_buffer& other) noexcept
        : data_(other.data_), refs_(other.refs_), size_(other.size_), capacity_(other.capacity_) {
        refs_.share();
    }

    basic_buffer(basic_buffer&& other) noexcept
        : data_(other.data_), refs_(other.refs_), size_(other.size_), capacity_(other.capacity_) {
        other.forget();
    }

    /// Shares the other's block. From an object with the same block only size and capacity are taken. A view
    /// into this object's own block may be assigned; its text is copied then.
    basic_buffer& operator=(const basic_buffer& other) {
        if (data_ == other.data_ && refs_is(other)) {
            size_ = other.size_;
            capacity_ = other.capacity_;
            return *this;
        }
        return *this = basic_buffer(other);
    }

    /// Releases what was held and takes the other's four words.
    basic_buffer& operator=(basic_buffer&& other) {
        if (this == &other) return *this;
        if (other.is_borrowed() && owns_address(other.data_)) other.make_private();
        release();
        data_ = other.data_;
        refs_ = other.refs_;
        size_ = other.size_;
        capacity_ = other.capacity_;
        other.forget();
        return *this;
    }

    ~basic_buffer() { release(); }

    /// Gives up this object's share, which frees the block if it was the last one; the object is then empty.
    void release() noexcept {
        if (refs_.release()) free_block(data_);
        forget();
    }

    // --- reading ----------------------------------------------------------------------------------------

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    /// Elements allocated, terminator included; `borrowed_capacity` when borrowed.
    std::uint64_t capacity() const noexcept { return capacity_; }
    /// True for text that someone else keeps alive.
    bool is_borrowed() const noexcept { return data_ != nullptr && !refs_; }
    /// True when the block is held by other objects as well.
    bool is_shared() const noexcept { return refs_.shared(); }
    /// True when this object alone holds the block, and so may write to it.
    bool is_unique() const noexcept { return refs_.unique(); }
    /// True for an address inside this object's own block, which may move or go when the object is changed.
    /// A borrowed text is no block of the object's own.
    bool owns_address(const T* address) const noexcept {
        return refs_ && !std::less<const T*>()(address, data_) &&
               std::less<const T*>()(address, data_ + capacity_);
    }

    /// The elements; never null. Terminated by a zero if the text is owned or came from a literal, but not if
    /// it is a view: see `terminated`.
    const T* data() const noexcept { return data_ != nullptr ? data_ : empty_text(); }
    const T* c_str() const noexcept requires text_unit<T> { return data(); }
    view_type view() const noexcept { return view_type(data(), size_); }
    operator view_type() const noexcept { return view(); }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + size_; }

    /// The same text, surely with a zero behind it: shared with this object, or a private copy of a borrowed
    /// one.
    basic_buffer terminated() const requires text_unit<T> {
        return is_borrowed() ? basic_buffer(data_, size_) : *this;
    }

    /// The element at `offset`, unchecked.
    const T& operator[](std::size_t offset) const noexcept { return data_[offset]; }

    /// The element at `offset`. Throws `std::out_of_range` when `offset` is not below the size.
    const T& at(std::size_t offset) const {
        check_offset(offset);
        return data_[offset];
    }

    /// The element at `offset` for writing; makes the block private first. Throws as the reading form.
    T& at(std::size_t offset) {
        check_offset(offset);
        if (refs_.unique()) {
            reserve_for_write(size_ + 1);
        } else {
            make_private();
        }
        return data_[offset];
    }

    /// Equal sizes, and the same block or equal elements.
    friend bool operator==(const basic_buffer& a, const basic_buffer& b) noexcept {
        return a.size_ == b.size_ && (a.data_ == b.data_ || a.size_ == 0 ||
                                      std::memcmp(a.data_, b.data_, a.size_ * sizeof(T)) == 0);
    }
    friend bool operator==(const basic_buffer& a, const T* b) noexcept requires text_unit<T> {
        return a.view() == view_type(b);
    }

    /// Order by unsigned elements over the common length; at a tie the shorter comes first.
    friend bool operator<(const basic_buffer& a, const basic_buffer& b) noexcept {
        return compare(a.view(), b.view()) < 0;
    }

    bool starts_with(view_type prefix) const noexcept { return view().starts_with(prefix); }
    bool ends_with(view_type suffix) const noexcept { return view().ends_with(suffix); }

    /// True when neither is empty and the first element occurs in `set`.
    bool first_in(view_type set) const noexcept {
        return size_ != 0 && set.find(data_[0]) != view_type::npos;
    }

    /// Offset of the first occurrence of `text` at or behind `pos`; `npos` if there is none.
    std::size_t find(view_type text, std::size_t pos = 0) const noexcept { return view().find(text, pos); }
    /// Offset of the last occurrence of `text`; `npos` if there is none.
    std::size_t find_last(view_type text) const noexcept { return view().rfind(text); }

    // --- writing ----------------------------------------------------------------------------------------

    /// Makes the text empty. A unique block is kept for reuse; a share is given up, and so is a borrowed
    /// text.
    void clear() noexcept {
        if (refs_.unique()) {
            size_ = 0;
            terminate();
        } else {
            release();
        }
    }

    /// Makes the block private and at least `min_capacity` elements long (terminator included), keeping the
    /// content. New blocks are rounded up to a multiple of 32 bytes less one element, and growth is by half
    /// at least, so that appending is linear in the end.
    void reserve_for_write(std::uint64_t min_capacity) {
        if (refs_.unique() && min_capacity <= capacity_) return;
        grow(min_capacity);
    }

    /// The same, but the content is given up, and the block gets exactly `min_capacity` elements where it has
    /// to be made or grown. The object is empty afterwards.
    void assign_reserve(std::uint64_t min_capacity);

    /// Replaces the content with a copy of `text`, in place if the block is private and large enough. `text`
    /// may lie inside this object.
    void assign(view_type text) {
        if (refs_.unique() && text.size() + (is_text ? 1 : 0) <= capacity_) {
            if (!text.empty()) std::memmove(data_, text.data(), text.size() * sizeof(T));
            size_ = text.size();
            terminate();
        } else {
            *this = basic_buffer(text);
        }
    }

    /// Appends. The source may lie inside this object's own block; what it names after the old end is left
    /// out then. Appending nothing changes nothing.
    basic_buffer& append(const T* text, std::size_t count) {
        if (count == 0) return *this;
        if (refs_.unique() && count < capacity_ - size_ && !owns_address(text)) {
            std::memcpy(data_ + size_, text, count * sizeof(T));
            size_ += count;
            terminate();
            return *this;
        }
        return append_grown(text, count);
    }
    basic_buffer& append(view_type text) { return append(text.data(), text.size()); }
    basic_buffer& append(const basic_buffer& text) { return append(text.data_, text.size_); }
    /// Appends at most `count` elements of `other` from `pos` on; none when `pos` is behind its end.
    basic_buffer& append(const basic_buffer& other, std::size_t pos, std::size_t count) {
        if (pos >= other.size_) return *this;
        return append(other.data_ + pos, std::min<std::size_t>(count, other.size_ - pos));
    }
    basic_buffer& append(const T* text) requires text_unit<T> { return append(view_type(text)); }
    basic_buffer& append(T c) {
        reserve_for_write(size_ + 2);
        data_[size_++] = c;
        terminate();
        return *this;
    }

    /// Appends the number's text in `radix`, with upper-case digits; a radix outside 2 to 36 appends "0". The
    /// sign of a negative number is written with radix 10 only: -255 in radix 16 reads "FF".
    basic_buffer& append_number(std::int64_t value, std::uint32_t radix = 10) requires text_unit<T>;
    basic_buffer& append_number(std::uint64_t value, std::uint32_t radix = 10) requires text_unit<T>;
    /// The same, replacing the content.
    basic_buffer& assign_number(std::int64_t value, std::uint32_t radix = 10) requires text_unit<T>;
    basic_buffer& assign_number(std::uint64_t value, std::uint32_t radix = 10) requires text_unit<T>;

    /// The elements for writing, of a block that `reserve_for_write` or `assign_reserve` made private. A
    /// caller that writes behind the end says so with `set_size`.
    T* mutable_data() noexcept { return data_; }
    /// Sets the size of a private block to `size`, which leaves room for the terminator of text.
    void set_size(std::size_t size) noexcept {
        size_ = size;
        terminate();
    }

    // --- numbers in text --------------------------------------------------------------------------------

    /// True for NUL, tab, line feed, vertical tab, carriage return and blank; not for form feed, and not by
    /// the locale.
    static constexpr bool is_blank_char(T c) noexcept requires text_unit<T> {
        using unsigned_t = std::make_unsigned_t<T>;
        const auto u = static_cast<unsigned_t>(c);
        return u <= 32 && ((0x100002E01ull >> u) & 1) != 0;
    }

    /// The signed number at the start of at most `count` characters from `pos` on: blanks, a sign, digits in
    /// `radix` (2 to 36, or `radix_detect`: 0b, 0x, 0, b and x prefixes, else 10). What follows the digits is
    /// ignored; no digits, or another radix, give 0. A number beyond 64 bits saturates and sets `errno` to
    /// ERANGE, which is left alone otherwise. `end_pos`, if given, becomes the offset in this object behind
    /// the last character consumed.
    std::int64_t to_int64(std::size_t pos = 0, std::size_t count = npos, std::uint32_t radix = 10,
                          std::size_t* end_pos = nullptr) const noexcept requires text_unit<T>;

    /// The same as an unsigned number. A minus sign negates within 64 bits; the largest value is all ones.
    std::uint64_t to_uint64(std::size_t pos = 0, std::size_t count = npos, std::uint32_t radix = 10,
                            std::size_t* end_pos = nullptr) const noexcept requires text_unit<T>;

    // --- matching, replacing, splitting -----------------------------------------------------------------

    /// True if the text from `pos` on matches `mask`, in which `any_one` stands for one character and
    /// `any_run` for any run. `no_case` folds ASCII letters. Nothing matches at or behind the text's end.
    /// A mask that ends in other than a run must end with the text at the first place where its last stretch
    /// fits: "*.csv" does not match "a.csv.csv".
    bool wildcard_match(view_type mask, std::size_t pos = 0, T any_one = T('?'), T any_run = T('*'),
                        bool no_case = false) const noexcept requires text_unit<T>;

    /// Replaces at most `max_count` occurrences of `from`, searched from `pos` on and behind each inserted
    /// text. Returns how many. An empty `from` replaces nothing. Linear in the text.
    std::size_t replace_all(view_type from, view_type to, std::size_t pos = 0, std::size_t max_count = npos);

    /// An (offset, length) pair.
    using range = std::pair<std::size_t, std::size_t>;
    /// Fills `ranges` with the stretches between occurrences of `separator`, empty ones included: always one
    /// more than there are separators.
    void split_ranges(std::vector<range>& ranges, view_type separator) const;

    /// The text before occurrence number `n` + 1 of `separator` from the left; the whole text when `n` is
    /// negative or there are fewer.
    basic_buffer head(view_type separator, std::int64_t n = 0) const {
        return piece(head_range(separator, n));
    }
    /// The text behind occurrence number `n` + 1 of `separator` from the right; the whole text as above.
    basic_buffer tail(view_type separator, std::int64_t n = 0) const {
        return piece(tail_range(separator, n));
    }
    /// The same as borrowed views, valid until this object is changed or destroyed.
    basic_buffer head_view(view_type separator, std::int64_t n = 0) const noexcept {
        return piece_view(head_range(separator, n));
    }
    basic_buffer tail_view(view_type separator, std::int64_t n = 0) const noexcept {
        return piece_view(tail_range(separator, n));
    }

    /// A copy of at most `count` elements from `pos` on; empty when `pos` is behind the end.
    basic_buffer substr(std::size_t pos, std::size_t count = npos) const {
        return piece(cut_range(pos, count));
    }
    basic_buffer substr_view(std::size_t pos, std::size_t count = npos) const noexcept {
        return piece_view(cut_range(pos, count));
    }

    /// Removes blank characters (see `is_blank_char`) from both ends, the left or the right one.
    void trim() requires text_unit<T>;
    void trim_left() requires text_unit<T>;
    void trim_right() requires text_unit<T>;
    /// Changes ASCII letters to lower or upper case.
    void to_lower() requires text_unit<T>;
    void to_upper() requires text_unit<T>;

    /// Replaces the content with `vsnprintf` (`vswprintf`) output, cut to `max_length` characters, for which
    /// room is made; `npos` sets no limit. The arguments may lie inside this object. A failed or empty
    /// formatting empties the object; wide output that does not fit counts as failed.
    void format(std::size_t max_length, const T* format, ...) requires text_unit<T>;
    /// The same, after what the object holds, which a failed formatting leaves alone.
    void append_format(std::size_t max_length, const T* format, ...) requires text_unit<T>;
    void append_format_list(std::size_t max_length, const T* format,
                            std::va_list arguments) requires text_unit<T>;

    // --- walking: "orlo/strings/match_cmd.h" says how, and holds the two types that these take ------------

    /// Appends to `target` the walked copy of `source`, in which `cmd` decides about each `escape`. A doubled
    /// escape becomes a single one, or stays double with `keep_double`; one at the very end stays, or goes
    /// with `drop_trailing`. The second form walks this object in place.
    static void replace_by_cmd(const basic_buffer& source, basic_buffer& target, T escape,
                               IStrMatchCmd<basic_buffer>& cmd, bool drop_trailing = false,
                               bool keep_double = false);
    void replace_by_cmd(T escape, IStrMatchCmd<basic_buffer>& cmd, bool drop_trailing = false,
                        bool keep_double = false);
    /// The same in place by a table, which an entry with neither key nor value ends: the first key that
    /// stands behind an escape is replaced, together with the escape, by its value.
    void replace_by_table(T escape, const str_replacement<basic_buffer>* table, bool drop_trailing = false,
                          bool keep_double = false);

    /// The same walk over stretches from `open` to the next `close`; `cmd` gets what lies between. The first
    /// character of `open` doubled is no opening. An `open` without a `close` stays, or, with
    /// `drop_unclosed`, goes, and what follows it stays. An empty `open` changes nothing.
    static void replace_between(const basic_buffer& source, basic_buffer& target, view_type open,
                                view_type close, IStrMatchCmd<basic_buffer>& cmd, bool drop_unclosed = false,
                                bool keep_double = false);
    void replace_between(view_type open, view_type close, IStrMatchCmd<basic_buffer>& cmd,
                         bool drop_unclosed = false, bool keep_double = false);

    // --- escaping: each appends what it makes of this text to `target`, which may be this object ----------

    /// < > & ' and " become "&lt;" "&gt;" "&amp;" "&apos;" "&quot;"; restoring knows these five and leaves
    /// any other entity, and an "&" that no ";" follows, as it is.
    void xml_escape_append_to(basic_buffer& target) const requires text_unit<T>;
    void xml_restore_append_to(basic_buffer& target) const requires text_unit<T>;
    /// The same without "&apos;", in both directions.
    void html_escape_append_to(basic_buffer& target) const requires text_unit<T>;
    void html_restore_append_to(basic_buffer& target) const requires text_unit<T>;
    /// The inside of a JSON string: ", the backslash and what lies below blank get a backslash, as one of
    /// " \\ b f n r t or as u and four digits. Restoring takes back the same, and any u with four digits: in
    /// narrow text as UTF-8, two that make a pair as one character. Other backslashes stay ("\/", half a
    /// pair, one at the end).
    void json_escape_append_to(basic_buffer& target) const requires text_unit<T>;
    void json_restore_append_to(basic_buffer& target) const requires text_unit<T>;

    /// Less than, equal to or greater than 0, by the order of `operator<`.
    static int compare(view_type a, view_type b) noexcept;

private:
    /// Mask that rounds a capacity up to a multiple of 32 bytes less one element.
    static constexpr std::uint64_t rounding_mask = 32 / sizeof(T) - 1;

    static const T* empty_text() noexcept {
        static constexpr T nothing{};
        return &nothing;
    }
    static void free_block(T* block) noexcept;

    bool refs_is(const basic_buffer& other) const noexcept {
        return std::memcmp(&refs_, &other.refs_, sizeof refs_) == 0;
    }
    void forget() noexcept {
        data_ = nullptr;
        refs_ = {};
        size_ = 0;
        capacity_ = 0;
    }
    void terminate() noexcept {
        if constexpr (is_text) data_[size_] = T{};
    }
    void check_offset(std::size_t offset) const {
        if (offset >= size_) throw_out_of_range();
    }
    [[noreturn]] static void throw_out_of_range();

    void assign_exact(const T* text, std::size_t count);
    void replace_content(view_type text, std::uint64_t min_capacity);
    void make_private();
    void grow(std::uint64_t min_capacity);
    void move_to_new_block(std::uint64_t new_capacity, std::size_t kept);
    void extend_block(std::uint64_t new_capacity, std::size_t used);
    basic_buffer& append_grown(const T* text, std::size_t count);

    range head_range(view_type separator, std::int64_t n) const noexcept;
    range tail_range(view_type separator, std::int64_t n) const noexcept;
    range cut_range(std::size_t pos, std::size_t count) const noexcept {
        if (pos >= size_) return {size_, 0};
        return {pos, std::min<std::size_t>(count, size_ - pos)};
    }
    basic_buffer piece(range r) const {
        return r.second == size_ ? *this : basic_buffer(data() + r.first, r.second);
    }
    basic_buffer piece_view(range r) const noexcept { return borrow(view().substr(r.first, r.second)); }

    T* data_ = nullptr;
    shared_count refs_;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
};

using stringEx = basic_buffer<char>;
using wstringEx = basic_buffer<wchar_t>;
using byteEx = basic_buffer<unsigned char>;

/// The number that a whole cell holds: `to_int64` over all of `text`.
inline std::int64_t parse_int64(const stringEx& text, std::uint32_t radix = 10,
                                std::size_t* end_pos = nullptr) noexcept {
    return text.to_int64(0, stringEx::npos, radix, end_pos);
}
inline std::int64_t parse_int64(const wstringEx& text, std::uint32_t radix = 10,
                                std::size_t* end_pos = nullptr) noexcept {
    return text.to_int64(0, wstringEx::npos, radix, end_pos);
}

/// Inserts the text as the standard string inserter does: width, fill and adjustment of the stream hold.
std::ostream& operator<<(std::ostream& stream, const stringEx& text);

/// A literal as a borrowed buffer: `"text"_lit`, no allocation.
inline stringEx operator""_lit(const char* text, std::size_t count) noexcept {
    return stringEx::borrow({text, count});
}
inline wstringEx operator""_lit(const wchar_t* text, std::size_t count) noexcept {
    return wstringEx::borrow({text, count});
}

}  // namespace Orlo
