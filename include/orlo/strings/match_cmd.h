#pragma once

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

namespace Orlo {

/// What `IStrMatchCmd::Match` answers, and what the walker then does. "The mark" is the escape character, or
/// `open` where stretches are walked.
enum match_code : std::int32_t {
    MATCH_NONE = 0,     ///< write the mark and go on after it
    MATCH_REPLACE = 1,  ///< write `out` in place of the mark and what was matched
    MATCH_INSERT = 2,   ///< write the mark, then as `MATCH_REPLACE`
    MATCH_STOP = 3      ///< copy the rest, mark included, and end; any other code does the same
};

/// Decides for a walker (`buffer_walking`) what replaces each hit. `S` is a `basic_buffer`.
///
/// ```cpp
/// struct shout : IStrMatchCmd<stringEx> {
///     std::int32_t Match(const stringEx& key, stringEx& out) override {
///         if (!key.starts_with("hi")) return MATCH_NONE;
///         out.append("HELLO");
///         return MATCH_REPLACE;
///     }
///     std::uint64_t GetMatchedLen() const override { return 2; }
/// };
/// stringEx text("%hi you, 100%%");
/// shout cmd;
/// text.replace_by_cmd('%', cmd);                // "HELLO you, 100%"
/// const str_replacement<stringEx> table[] = {{"\n"_lit, "n"_lit}, {}};
/// text.replace_by_table('\\', table);
/// ```
///
/// A command keeps the state of one walk and belongs to one thread. What it throws passes through the walk,
/// which has changed nothing then.
template <class S>
class ORLO_API IStrMatchCmd {
public:
    virtual ~IStrMatchCmd() = default;

    /// Decides about `key`: all that follows the escape character, or all that lies between two delimiters.
    /// It is a borrowed view that is valid during the call. `out` comes empty and takes the replacement.
    /// Returns a `match_code`.
    virtual std::int32_t Match(const S& key, S& out) = 0;

    /// How many characters of `key` the last match consumed; 0 in a command that is handed exactly the key,
    /// whose stretch is consumed as a whole. More than there are means all.
    virtual std::uint64_t GetMatchedLen() const = 0;
};

/// One row of a table of replacements: `key`, where it follows the escape, becomes `value`. The row in which
/// both are empty ends the table.
template <class S>
struct str_replacement {
    S value;
    S key;
};

}  // namespace Orlo
