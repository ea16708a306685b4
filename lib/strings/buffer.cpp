// The storage of `basic_buffer`: making, growing and unsharing its block.

#include "orlo/strings/buffer.h"

#include <cstdlib>
#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>

#include "strings/buffer_realloc.h"

namespace Orlo {
namespace {

/// Bytes of `count` elements; throws `std::bad_alloc` for what no memory could hold.
template <class T>
std::size_t bytes_of(std::uint64_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T)) throw std::bad_alloc();
    return static_cast<std::size_t>(count) * sizeof(T);
}

template <class T>
T* allocate(std::uint64_t count) {
    void* const block = std::malloc(bytes_of<T>(count));
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<T*>(block);
}

/// Clears the unused rest of a new block of bytes, which a `CByteIO` may come to show. Text needs no such care.
template <class T>
void zero_new_bytes(T* block, std::uint64_t used, std::uint64_t capacity) noexcept {
    if constexpr (!basic_buffer<T>::is_text) std::memset(block + used, 0, capacity - used);
}

template <class T>
struct free_guard {
    T* block;
    ~free_guard() { std::free(block); }
    T* keep() noexcept { return std::exchange(block, nullptr); }
};

}  // namespace

template <class T>
void basic_buffer<T>::free_block(T* block) noexcept {
    std::free(block);
}

template <class T>
void basic_buffer<T>::throw_out_of_range() {
    throw std::out_of_range("basic_buffer::at - offset out of range");
}

template <class T>
int basic_buffer<T>::compare(view_type a, view_type b) noexcept {
    const std::size_t common = std::min(a.size(), b.size());
    if constexpr (sizeof(T) == 1) {
        const int order = common == 0 ? 0 : std::memcmp(a.data(), b.data(), common);
        if (order != 0) return order;
    } else {
        using unsigned_t = std::make_unsigned_t<T>;
        for (std::size_t i = 0; i < common; ++i) {
            if (a[i] != b[i]) return static_cast<unsigned_t>(a[i]) < static_cast<unsigned_t>(b[i]) ? -1 : 1;
        }
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

/// Makes an empty object an owned copy with no room to spare.
template <class T>
void basic_buffer<T>::assign_exact(const T* text, std::size_t count) {
    if (count == 0) return;
    const std::size_t capacity = count + (is_text ? 1 : 0);
    free_guard<T> block{allocate<T>(capacity)};
    refs_ = shared_count::create();
    data_ = block.keep();
    std::memcpy(data_, text, count * sizeof(T));
    size_ = count;
    capacity_ = capacity;
    terminate();
}

/// Exchanges a block that others see for one of exactly size + 1 elements. An owned block stays.
template <class T>
void basic_buffer<T>::make_private() {
    if (data_ != nullptr && !refs_.unique()) move_to_new_block(size_ + 1, size_);
}

/// Exchanges the block, whatever it is, for a new one with the first `kept` elements.
template <class T>
void basic_buffer<T>::move_to_new_block(std::uint64_t new_capacity, std::size_t kept) {
    free_guard<T> block{allocate<T>(new_capacity)};
    const shared_count count = shared_count::create();
    if (kept != 0) std::memcpy(block.block, data_, kept * sizeof(T));
    release();
    data_ = block.keep();
    refs_ = count;
    size_ = kept;
    capacity_ = new_capacity;
    zero_new_bytes(data_, kept, new_capacity);
    terminate();
}

/// Grows an owned block, or makes the first one, keeping `used` elements.
template <class T>
void basic_buffer<T>::extend_block(std::uint64_t new_capacity, std::size_t used) {
    const std::size_t new_bytes = bytes_of<T>(new_capacity);
    shared_count count = refs_ ? refs_ : shared_count::create();
    void* const block = IMPL::buffer_realloc(data_, new_bytes, capacity_, used * sizeof(T));
    if (block == nullptr) {
        if (!refs_) count.release();
        throw std::bad_alloc();
    }
    data_ = static_cast<T*>(block);
    refs_ = count;
    size_ = used;
    capacity_ = new_capacity;
    zero_new_bytes(data_, used, new_capacity);
    terminate();
}

template <class T>
void basic_buffer<T>::grow(std::uint64_t min_capacity) {
    if (is_borrowed()) make_private();
    if (refs_.shared()) {
        const std::uint64_t needed = size_ + (is_text ? 1 : 0);
        move_to_new_block(std::max(needed, min_capacity) | rounding_mask, size_);
    } else if (min_capacity > capacity_) {
        extend_block(std::max(min_capacity | rounding_mask, capacity_ + capacity_ / 2), size_);
    }
}

template <class T>
void basic_buffer<T>::assign_reserve(std::uint64_t min_capacity) {
    if (refs_.shared() || is_borrowed()) {
        move_to_new_block(std::max<std::uint64_t>(min_capacity, 1), 0);
    } else if (min_capacity > capacity_) {
        extend_block(min_capacity, 0);
    } else {
        clear();
    }
}

/// Replaces the content with a text that lies elsewhere, in a block of at least `min_capacity` elements. What
/// can fail is done before the old content goes.
template <class T>
basic_buffer<T>& basic_buffer<T>::replace_content(view_type text, std::uint64_t min_capacity) {
    min_capacity = std::max<std::uint64_t>(min_capacity, text.size() + 1);
    if (refs_.unique()) {
        reserve_for_write(min_capacity);
        assign(text);
    } else {
        basic_buffer made;
        made.reserve_for_write(min_capacity);
        made.append(text);
        *this = std::move(made);
    }
    return *this;
}

template <class T>
basic_buffer<T>& basic_buffer<T>::append_grown(const T* text, std::size_t count) {
    if (count > npos / 4 / sizeof(T)) throw std::bad_alloc();
    const bool own = owns_address(text);
    const std::size_t offset = own ? static_cast<std::size_t>(text - data_) : 0;
    if (own && offset >= size_) return *this;
    if (own) count = std::min<std::size_t>(count, size_ - offset);

    reserve_for_write(size_ + count + 1);
    std::memcpy(data_ + size_, own ? data_ + offset : text, count * sizeof(T));
    size_ += count;
    terminate();
    return *this;
}

// Nothing that derives from a part takes room, so that an object is its four words.
static_assert(sizeof(stringEx) == 32 && sizeof(wstringEx) == 32 && sizeof(byteEx) == 32);

template class basic_buffer<char>;
template class basic_buffer<wchar_t>;
template class basic_buffer<unsigned char>;

std::ostream& operator<<(std::ostream& stream, const stringEx& text) {
    return stream << text.view();
}

}  // namespace Orlo
