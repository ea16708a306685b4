#pragma once

#include <cstdint>

#include "orlo/strings/buffer.h"

// Walking a text and replacing what a command finds in it.
//
//   struct shout : IStrMatchCmd<stringEx> {
//       std::int32_t Match(const stringEx& key, stringEx& out) override {
//           if (!key.starts_with("hi")) return MATCH_NONE;
//           out.append("HELLO");
//           return MATCH_REPLACE;
//       }
//       std::uint64_t GetMatchedLen() const override { return 2; }
//   };
//
//   stringEx text("%hi you, 100%%");
//   shout cmd;
//   text.replace_by_cmd('%', cmd);                     // "HELLO you, 100%"
//
// All walkers are linear in the text and the replacements: they write into a fresh text (or behind the
// target's), and stretches that nothing touches are copied as blocks. The in-place forms leave an object in
// which nothing is to be found as it is, shared block included. The source may be, share with or lie inside
// the target.

namespace Orlo {

/// What `IStrMatchCmd::Match` answers, and what the walker then does. "The mark" is the escape character, or
/// `open` where stretches are walked.
enum match_code : std::int32_t {
    MATCH_NONE = 0,     ///< write the mark and go on behind it
    MATCH_REPLACE = 1,  ///< write `out` in place of the mark and what was matched
    MATCH_INSERT = 2,   ///< write the mark, then as `MATCH_REPLACE`
    MATCH_STOP = 3      ///< so does any other code: copy the rest, mark included, and end
};

/// Decides for a walker what stands in place of each hit. `S` is a `basic_buffer`.
///
/// A command keeps the state of one walk and belongs to one thread. What it throws leaves the walk: an
/// in-place walk has changed nothing then; a walk into a target may have appended a part.
template <class S>
class IStrMatchCmd {
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

/// One row of a table of replacements: `key`, where it stands behind the escape, becomes `value`. The row in
/// which both are empty ends the table.
template <class S>
struct str_replacement {
    S value;
    S key;
};

}  // namespace Orlo
