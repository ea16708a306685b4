#pragma once

#include <type_traits>
#include <utility>

#include "orlo/strings/shared_count.h"

namespace Orlo {

/// Joint ownership of one heap object: two words, the object and a separate atomic counter.
///
/// The last owner deletes the object through its (virtual) destructor. Where that may throw, so may the
/// destructor of `shared_ptr`, `reset` and assignment.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// auto first = shared_ptr<stringEx>::make("one text, two owners");
/// shared_ptr<const stringEx> second = first;
/// first.reset();
/// if (second->size() > 3) second.reset();       // deletes the text
/// ```
///
/// Threads: two handles on one object may be copied and destroyed from two threads; one handle may not.
template <class T>
class shared_ptr {
public:
    constexpr shared_ptr() noexcept = default;

    /// Takes over `object`, which came from `new`; null gives an empty handle. When the counter cannot be
    /// made, `object` is deleted and `std::bad_alloc` thrown.
    explicit shared_ptr(T* object) : object_(object) {
        if (object == nullptr) return;
        try {
            count_ = shared_count::create();
        } catch (...) {
            delete object;
            throw;
        }
    }

    /// A new `T` made from `args`, owned by the returned handle.
    template <class... Args>
    static shared_ptr make(Args&&... args) {
        return shared_ptr(new T(std::forward<Args>(args)...));
    }

    shared_ptr(const shared_ptr& other) noexcept : object_(other.object_), count_(other.count_) {
        count_.share();
    }

    shared_ptr(shared_ptr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), count_(std::exchange(other.count_, {})) {}

    /// Shares an object under one of its base classes.
    template <class U>
    requires(std::is_convertible_v<U*, T*>) shared_ptr(const shared_ptr<U>& other)
    noexcept : object_(other.object_), count_(other.count_) { count_.share(); }

    shared_ptr& operator=(shared_ptr other) {
        std::swap(object_, other.object_);
        std::swap(count_, other.count_);
        return *this;
    }

    ~shared_ptr() noexcept(std::is_nothrow_destructible_v<T>) { reset(); }

    /// Gives up this share and becomes empty.
    void reset() noexcept(std::is_nothrow_destructible_v<T>) {
        T* const object = std::exchange(object_, nullptr);
        if (count_.release()) delete object;
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    friend bool operator==(const shared_ptr& a, const shared_ptr& b) noexcept {
        return a.object_ == b.object_;
    }

private:
    template <class U>
    friend class shared_ptr;

    T* object_ = nullptr;
    shared_count count_;
};

}  // namespace Orlo
