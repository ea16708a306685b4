#include "strings/failure.h"

#include <cassert>
#include <cstring>

namespace Orlo {
namespace {

constexpr std::string_view UNKNOWN_ERROR = "unexpect system error: ";
constexpr std::string_view WRAP_MARK = "@ ";

}  // namespace

stringEx strerror_text(int number) {
    char scratch[256];
    return stringEx(strerror_r(number, scratch, sizeof scratch));
}

stringEx system_error_text(int number, std::span<const errno_sentence> sentences, const char* other) {
    for (const errno_sentence& known : sentences) {
        if (known.number == number) return stringEx::borrow(known.sentence);
    }
    if (other != nullptr) return stringEx::borrow(other);
    return stringEx(UNKNOWN_ERROR).append(strerror_text(number));
}

/// Lays values out after the keys of one failure.
class failure_text {
public:
    explicit failure_text(const failure_layout& layout) : layout_(layout), text_(layout.head) {}

    void add(const failure_value& value) {
        if (!first_) text_.append('\n');
        first_ = false;
        switch (value.kind_) {
            case failure_value::kind::text:
                next_key();
                text_.append(value.text_);
                break;
            case failure_value::kind::number:
                next_key();
                text_.append_number(value.number_);
                break;
            case failure_value::kind::natural:
                next_key();
                text_.append_number(static_cast<std::uint64_t>(value.number_));
                break;
            case failure_value::kind::error:
                next_key();
                text_.append_number(value.number_).append('\n');
                next_key();
                text_.append(system_error_text(static_cast<int>(value.number_), layout_.sentences,
                                               layout_.other_sentence));
                break;
            case failure_value::kind::inner:
                text_.append(WRAP_MARK).append(value.text_);
                break;
        }
    }

    stringEx finish() {
        text_.append(layout_.tail);
        return std::move(text_);
    }

private:
    void next_key() {
        assert(key_ < layout_.keys.size() && layout_.keys[key_] != nullptr);
        text_.append(layout_.keys.at(key_++));
    }

    const failure_layout& layout_;
    stringEx text_;
    std::size_t key_ = 0;
    bool first_ = true;
};

int failure_value::error_number(std::initializer_list<failure_value> values) noexcept {
    for (const kind looked_for : {kind::error, kind::inner}) {
        for (const failure_value& value : values) {
            if (value.kind_ == looked_for) return static_cast<int>(value.number_);
        }
    }
    return 0;
}

stringEx failure_layout::text(std::initializer_list<failure_value> values) const {
    if (values.size() == 0) return stringEx::borrow(head);
    failure_text text(*this);
    for (const failure_value& value : values)
        text.add(value);
    return text.finish();
}

}  // namespace Orlo
