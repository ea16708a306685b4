#pragma once

#include <algorithm>
#include <cassert>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "orlo/export.h"
#include "orlo/strings/buffer_escaping.h"
#include "orlo/strings/buffer_format.h"
#include "orlo/strings/buffer_numbers.h"
#include "orlo/strings/buffer_pieces.h"
#include "orlo/strings/buffer_walking.h"
#include "orlo/strings/shared_count.h"

namespace Orlo {

/// The units of narrow and wide text, which know numbers, blanks and letters; bytes do not.
template <class T>
concept text_unit = std::is_same_v<T, char> || std::is_same_v<T, wchar_t>;

/// The parts of narrow and wide text that bytes do not have.
template <class T>
struct buffer_text : buffer_letters<T>, buffer_numbers<T>, buffer_format<T>, buffer_escaping<T> {};
struct buffer_no_text {};

/// Text or bytes with shared storage: the one string type of the library.
///
/// This page holds storage, reading and plain writing. The other operations are members as well, and each
/// group has its page: `buffer_numbers.h`, `buffer_format.h` (printf), `buffer_pieces.h` (replacing, splitting,
/// wildcards, trimming, case), `buffer_walking.h` (replacing by command or table) and `buffer_escaping.h`.
/// Bytes have those of pieces and walking alone.
///
/// ```cpp
/// stringEx name("Ada");
/// const stringEx copy = name;                   // shares the block: no character is copied
/// name.append(' ').append("Lovelace");          // `name` gets a block of its own first
/// if (name == copy + " Lovelace" && copy < name) name += ", countess";
/// std::string plain = name.str();               // views need no call: a text converts to std::string_view
/// const stringEx constant = "no allocation"_lit;
/// ```
///
/// Copying shares the block and counts one more owner; an operation that modifies an object first makes
/// sure that no other owner sees it (copy on write). An object is four words and in one of four states:
///
/// | state    | data                           | counter          | capacity           |
/// |----------|--------------------------------|------------------|--------------------|
/// | empty    | null                           | null             | 0                  |
/// | borrowed | constant text that outlives it | null             | -2                 |
/// | owned    | heap block                     | value 1          | elements allocated |
/// | shared   | heap block                     | value above 1    | elements allocated |
///
/// Size and capacity live in the object, not in the block. Owned narrow and wide text has a terminating
/// zero after its last element, which the capacity includes; bytes have none. A borrowed text costs no
/// allocation and is never written to: every modifying operation makes it private first.
///
/// Threads: different objects that share a block may be read, copied, modified and destroyed from different
/// threads. One and the same object may not be used from two threads without a lock.
///
/// Failures: `std::bad_alloc` from whatever allocates, which leaves every text involved as it was, whatever
/// the operation; `std::out_of_range` from `at`. Nothing else throws.
template <class T>
class ORLO_API basic_buffer : public buffer_pieces<T>,
                              public buffer_walking<T>,
                              public std::conditional_t<text_unit<T>, buffer_text<T>, buffer_no_text> {
public:
    using value_type = T;
    using view_type = std::basic_string_view<T>;

    /// "Up to the end", as a count.
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// The capacity by which a borrowed text is known.
    static constexpr std::uint64_t borrowed_capacity = static_cast<std::uint64_t>(-2);
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
    [[nodiscard]] static basic_buffer borrow(view_type text) noexcept {
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

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    /// Elements allocated, terminator included; `borrowed_capacity` when borrowed.
    [[nodiscard]] std::uint64_t capacity() const noexcept { return capacity_; }
    /// True for text that someone else keeps alive.
    [[nodiscard]] bool is_borrowed() const noexcept { return data_ != nullptr && !refs_; }
    /// True when the block is held by other objects as well.
    [[nodiscard]] bool is_shared() const noexcept { return refs_.shared(); }
    /// True when this object alone holds the block, and so may write to it.
    [[nodiscard]] bool is_unique() const noexcept { return refs_.unique(); }
    /// True for an address inside this object's own block, which may move or go when the object is changed.
    /// A borrowed text is no block of the object's own.
    [[nodiscard]] bool owns_address(const T* address) const noexcept {
        const std::less<const T*> before;
        return refs_ && !before(address, data_) && before(address, data_ + capacity_);
    }

    /// The elements; never null. They are followed by a zero if the text is owned or came from a literal, but
    /// not if it is a view: see `terminated`.
    [[nodiscard]] const T* data() const noexcept { return data_ != nullptr ? data_ : empty_text(); }
    [[nodiscard]] const T* c_str() const noexcept requires text_unit<T> { return data(); }
    [[nodiscard]] view_type view() const noexcept { return view_type(data(), size_); }
    operator view_type() const noexcept { return view(); }
    [[nodiscard]] const T* begin() const noexcept { return data(); }
    [[nodiscard]] const T* end() const noexcept { return data() + size_; }

    /// A copy as a string of the standard library.
    [[nodiscard]] std::basic_string<T> str() const requires text_unit<T> {
        return std::basic_string<T>(view());
    }

    /// The same text with a zero after it in any case: shared with this object, or a private copy of a
    /// borrowed one.
    [[nodiscard]] basic_buffer terminated() const requires text_unit<T> {
        return is_borrowed() ? basic_buffer(data_, size_) : *this;
    }

    /// The element at `offset`, which must be below the size.
    const T& operator[](std::size_t offset) const noexcept {
        assert(offset < size_);
        return data_[offset];
    }

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

    [[nodiscard]] bool starts_with(view_type prefix) const noexcept { return view().starts_with(prefix); }
    [[nodiscard]] bool ends_with(view_type suffix) const noexcept { return view().ends_with(suffix); }

    /// True when neither is empty and the first element occurs in `set`.
    [[nodiscard]] bool first_in(view_type set) const noexcept {
        return size_ != 0 && set.find(data_[0]) != view_type::npos;
    }

    /// Offset of the first occurrence of `text` at or after `pos`; `npos` if there is none.
    [[nodiscard]] std::size_t find(view_type text, std::size_t pos = 0) const noexcept {
        return view().find(text, pos);
    }
    /// Offset of the last occurrence of `text`; `npos` if there is none.
    [[nodiscard]] std::size_t find_last(view_type text) const noexcept { return view().rfind(text); }

    // --- comparing: with each other, and with whatever converts to a view ----------------------------------

    /// Equal sizes, and the same block or equal elements.
    friend bool operator==(const basic_buffer& a, const basic_buffer& b) noexcept {
        return a.size_ == b.size_ && (a.data_ == b.data_ || a.size_ == 0 ||
                                      std::memcmp(a.data_, b.data_, a.size_ * sizeof(T)) == 0);
    }
    /// Order by unsigned elements over the common length; at a tie the shorter comes first.
    friend std::strong_ordering operator<=>(const basic_buffer& a, const basic_buffer& b) noexcept {
        return compare(a.view(), b.view()) <=> 0;
    }

    /// True for `std::string`, `std::string_view`, literals and pointers, in the width of this text.
    template <class S>
    static constexpr bool is_other_text =
        std::is_convertible_v<const S&, view_type> && !std::is_base_of_v<basic_buffer, S>;

    template <class S>
    requires is_other_text<S>
    friend bool operator==(const basic_buffer& a, const S& b) noexcept { return a.view() == view_type(b); }
    template <class S>
    requires is_other_text<S>
    friend std::strong_ordering operator<=>(const basic_buffer& a, const S& b) noexcept {
        return compare(a.view(), view_type(b)) <=> 0;
    }

    /// Less than, equal to or greater than 0, by the order above.
    [[nodiscard]] static int compare(view_type a, view_type b) noexcept;

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
    /// Appends at most `count` elements of `other` from `pos` on; none when `pos` is not before its end.
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

    basic_buffer& operator+=(T c) { return append(c); }
    basic_buffer& operator+=(const basic_buffer& text) { return append(text); }
    template <class S>
    requires is_other_text<S> basic_buffer& operator+=(const S& text) { return append(view_type(text)); }

    /// One text after the other. The left one's block is reused when it is a temporary.
    friend basic_buffer operator+(basic_buffer a, const basic_buffer& b) { return std::move(a.append(b)); }
    friend basic_buffer operator+(basic_buffer a, T b) { return std::move(a.append(b)); }
    friend basic_buffer operator+(T a, const basic_buffer& b) { return basic_buffer(&a, 1) + b; }
    template <class S>
    requires is_other_text<S>
    friend basic_buffer operator+(basic_buffer a, const S& b) { return std::move(a.append(view_type(b))); }
    template <class S>
    requires is_other_text<S>
    friend basic_buffer operator+(const S& a, const basic_buffer& b) { return borrow(view_type(a)) + b; }

    /// The elements for writing, of a block that `reserve_for_write` or `assign_reserve` made private. A
    /// caller that writes after the end says so with `set_size`.
    [[nodiscard]] T* mutable_data() noexcept {
        assert(data_ == nullptr || refs_.unique());
        return data_;
    }
    /// Sets the size of a private block to `size`, which leaves room for the terminator of text.
    void set_size(std::size_t size) noexcept {
        assert(refs_.unique() && size + (is_text ? 1 : 0) <= capacity_);
        size_ = size;
        terminate();
    }

private:
    friend class buffer_numbers<T>;
    friend class buffer_format<T>;

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
    basic_buffer& replace_content(view_type text, std::uint64_t min_capacity = 0);
    void make_private();
    void grow(std::uint64_t min_capacity);
    void move_to_new_block(std::uint64_t new_capacity, std::size_t kept);
    void extend_block(std::uint64_t new_capacity, std::size_t used);
    basic_buffer& append_grown(const T* text, std::size_t count);

    T* data_ = nullptr;
    shared_count refs_;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
};

using stringEx = basic_buffer<char>;
using wstringEx = basic_buffer<wchar_t>;
using byteEx = basic_buffer<unsigned char>;

/// Inserts the text as the standard string inserter does: width, fill and adjustment of the stream hold.
ORLO_API std::ostream& operator<<(std::ostream& stream, const stringEx& text);

/// A literal as a borrowed buffer: `"text"_lit`, no allocation.
[[nodiscard]] inline stringEx operator""_lit(const char* text, std::size_t count) noexcept {
    return stringEx::borrow({text, count});
}
[[nodiscard]] inline wstringEx operator""_lit(const wchar_t* text, std::size_t count) noexcept {
    return wstringEx::borrow({text, count});
}

/// The number that a whole cell holds: `to_int64` over all of `text`.
[[nodiscard]] inline std::int64_t parse_int64(const stringEx& text, std::uint32_t radix = 10,
                                              std::size_t* end_pos = nullptr) noexcept {
    return text.to_int64(0, stringEx::npos, radix, end_pos);
}
[[nodiscard]] inline std::int64_t parse_int64(const wstringEx& text, std::uint32_t radix = 10,
                                              std::size_t* end_pos = nullptr) noexcept {
    return text.to_int64(0, wstringEx::npos, radix, end_pos);
}

}  // namespace Orlo

/// The hash of the bytes; for narrow text that of `std::string_view`, by which it may be looked up, too.
template <class T>
struct std::hash<Orlo::basic_buffer<T>> {
    using is_transparent = void;
    std::size_t operator()(std::basic_string_view<T> text) const noexcept {
        const void* const bytes = text.data();
        return std::hash<std::string_view>()({static_cast<const char*>(bytes), text.size() * sizeof(T)});
    }
};
