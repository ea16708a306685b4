#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orlo/strings/buffer.h"

namespace tallycsv {

using Orlo::stringEx;
using Orlo::operator""_lit;

/// One argument as given, and what it was split into.
struct CCmdLineRecord {
    stringEx raw;    ///< the argument
    stringEx name;   ///< a switch's name without prefix; empty for a positional argument
    stringEx value;  ///< a switch's value; may be empty
};

/// Splits a command line into switches and positional arguments.
///
/// An argument that begins with a switch prefix and is longer than it is a switch. Its value is joined to its
/// name by a separator, as in -m:3 or -m=3; a value after a blank is a further positional argument. Unknown
/// switches are accepted, and a switch may have an empty name (-:x).
class CCmdLineParser {
public:
    /// Rebuilds the records from `argv` and splits them. Returns whether there is any.
    bool Load(int argc, char* argv[]);

    /// Index of the `nth` record (from 0) of exactly that name, case included; -1 if there is none, or if
    /// `name` is empty.
    std::ptrdiff_t Find(const stringEx& name, std::size_t nth) const;
    /// That record's value, or the empty text.
    stringEx GetValue(const stringEx& name, std::size_t nth) const;
    /// The `nth` argument (from 0) whose name is empty, as given; the empty text if there is none. Switches
    /// without a name are found, too.
    stringEx GetPositional(std::size_t nth) const;
    /// How many arguments are no switches.
    std::size_t GetPositionalCount() const;

private:
    void _Split(CCmdLineRecord& record);
    template <class Predicate>
    std::ptrdiff_t _FindRecord(std::size_t nth, Predicate&& fits) const;

    std::vector<CCmdLineRecord> m_records;
    stringEx m_switch_prefixes = "-"_lit;
    stringEx m_value_separators = ":="_lit;
    std::uint32_t m_switch_count = 0;
    std::uint32_t m_first_arg = 1;  ///< records before it take no part in look-ups
};

}  // namespace tallycsv
