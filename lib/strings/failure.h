#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"

// Failures are data. Next to an operation stands, once, what it says when it fails:
//
//   constexpr errno_sentence READ_SENTENCES[] = {{EIO, "physical io error"}, ...};
//   constexpr failure<sysfileExp> READ_FAILED = {{
//       .code = 7,
//       .head = "CSysFile::Read - failed reading file\n",
//       .keys = {"  file path  = ", "  error code = ", "  error desc = "},
//       .sentences = READ_SENTENCES,
//   }};
//
// and the operation raises it with the values of its keys, in their order:
//
//   READ_FAILED.raise({path_, system_error{errno}});
//
// which throws a `sysfileExp` of code 7 and of that error number, and reads
//
//   CSysFile::Read - failed reading file
//     file path  = /data/a.csv
//     error code = 5
//     error desc = physical io error

namespace Orlo {

/// The library's own sentence for one error of the system.
struct errno_sentence {
    int number;
    const char* sentence;
};

/// A system error as a value: it fills two keys, the number's and the sentence's.
struct system_error {
    int number;
};

/// An inner failure as a value: it fills no key and adds a line "@ " with the inner message.
struct wrapped {
    const rootExp& inner;
};

/// One value of a failure: a text, a number, a system error or an inner failure.
class failure_value {
public:
    /// The error number of the first system error among the values, or else of the first inner failure; 0 if
    /// there is neither.
    [[nodiscard]] static int error_number(std::initializer_list<failure_value> values) noexcept;

    failure_value(std::string_view text) : kind_(kind::text), text_(text) {}
    failure_value(const char* text) : failure_value(std::string_view(text)) {}
    failure_value(const stringEx& text) : failure_value(text.view()) {}
    failure_value(bool flag) : failure_value(flag ? "true" : "false") {}
    failure_value(std::int64_t number) : kind_(kind::number), number_(number) {}
    failure_value(std::uint64_t number) : kind_(kind::natural), number_(static_cast<std::int64_t>(number)) {}
    failure_value(int number) : failure_value(std::int64_t{number}) {}
    failure_value(unsigned number) : failure_value(std::uint64_t{number}) {}
    failure_value(system_error error) : kind_(kind::error), number_(error.number) {}
    failure_value(wrapped w)
        : kind_(kind::inner), text_(w.inner.message().view()), number_(w.inner.error_number()) {}

private:
    friend class failure_text;
    enum class kind { text, number, natural, error, inner };

    kind kind_;
    std::string_view text_{};
    std::int64_t number_ = 0;
};

/// The system's own text of an error.
[[nodiscard]] stringEx strerror_text(int number);

/// The text of a system error: the table's sentence; for others `other`, or without one "unexpect system
/// error: " and the system's own text.
[[nodiscard]] stringEx system_error_text(int number, std::span<const errno_sentence> sentences = {},
                                         const char* other = nullptr);

/// What all failures have in common, whatever class they are thrown as.
struct failure_layout {
    static constexpr std::size_t most_keys = 8;

    std::int32_t code = 0;
    /// The first line. With its newline if lines follow, without one for a constant text.
    const char* head = "";
    /// The keys in order, with their indent, padding and " = ".
    std::array<const char*, most_keys> keys{};
    /// The sentences of the system errors that the operation knows.
    std::span<const errno_sentence> sentences{};
    /// The sentence of all other system errors, if it is not the system's own text.
    const char* other_sentence = nullptr;
    /// What follows the last value.
    const char* tail = "";

    /// The message. A newline goes between lines; a failure without values is borrowed, not copied.
    [[nodiscard]] stringEx text(std::initializer_list<failure_value> values) const;
};

/// A failure thrown as `Exp`.
template <class Exp>
struct failure : failure_layout {
    [[noreturn]] void raise(std::initializer_list<failure_value> values = {}) const {
        throw Exp(text(values), code, failure_value::error_number(values));
    }
};

/// The failure of a system call that has nothing to tell but its error: raised with one `system_error`.
template <class Exp>
constexpr failure<Exp> system_failure(std::int32_t code, const char* head,
                                      std::span<const errno_sentence> sentences = {}) {
    return {
        {.code = code, .head = head, .keys = {"  error code = ", "  error desc = "}, .sentences = sentences}};
}

}  // namespace Orlo
