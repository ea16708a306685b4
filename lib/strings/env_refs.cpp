// The expansion of references to environment variables.
//
// Each level walks the text twice, for `$NAME` and for `${NAME}`, and as long as a level replaces something
// the next one expands what the values brought. With A = "x$B" and B = "y":
//
//     level 0   "$A ${B} $$A"  ->  "x$B y $$A"
//     level 1                  ->  "xy y $$A"
//     level 2   nothing; "$$" becomes "$":  "xy y $A"
//
// Doubled signs stay double until then: a sign that is already single would begin a reference at the next
// level.
//
// Costs two walks over the text for each level, 64 levels at most.
//
// A text that grows by a factor at each level would outgrow any memory long before level 64, so what nesting
// multiplies is bounded: within one walk a variable may be inserted as often as the given text has "$" signs,
// and what goes beyond that is counted. A text of a million references, or one value that refers to a
// thousand others, is therefore never refused, while a variable that holds itself twice soon is.

#include <map>

#include "orlo/strings/environment.h"
#include "orlo/strings/match_cmd.h"
#include "strings/env_access.h"
#include "strings/failure.h"
#include "strings/literal.h"
#include "strings/utf8.h"

namespace Orlo {
namespace {

constexpr std::uint32_t LAST_DEPTH = 63;
constexpr std::uint64_t MOST_MULTIPLIED = 16 << 20;

constexpr failure<auxExp> EXPANDED_TOO_MUCH = {{
    .code = aux_code::references_multiply,
    .head = "ExpandEnvRefs - failed expand environment references\n"
            "  size too big, a variable may refer to itself more than once\n",
    .keys = {"  variable name = ", "  size limit    = "},
}};

stringEx printable(const stringEx& name) {
    return name;
}

stringEx printable(const wstringEx& name) {
    return IMPL::wide_to_utf8(name);
}

/// Reads the variables of one expansion, and bounds what their nesting multiplies.
template <class S>
class variable_reader {
public:
    explicit variable_reader(const S& text)
        : most_times_(static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '$'))) {}

    void begin_walk() { times_.clear(); }

    /// Reads a variable into `out`. False when it is empty.
    bool read(const S& name, S& out) {
        IMPL::append_env(name.view(), out);
        if (out.empty()) return false;
        auto found = times_.find(name);
        if (found == times_.end()) found = times_.emplace(S(name.view()), 0).first;
        if (++found->second <= most_times_) return true;
        multiplied_ += out.size();
        if (multiplied_ > MOST_MULTIPLIED) EXPANDED_TOO_MUCH.raise({printable(name), MOST_MULTIPLIED});
        return true;
    }

private:
    const std::uint64_t most_times_;
    std::map<S, std::uint64_t> times_;
    std::uint64_t multiplied_ = 0;
};

/// `$NAME`: the name is the longest run of its characters after the sign.
template <class S>
class CEnvStrAbbrMatchCmd final : public IStrMatchCmd<S> {
public:
    explicit CEnvStrAbbrMatchCmd(variable_reader<S>& reader) : m_reader(reader) { reader.begin_walk(); }

    std::int32_t Match(const S& key, S& out) override {
        const auto in_name = [](auto c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        };
        const auto* const end = std::find_if_not(key.begin(), key.end(), in_name);
        const S name = key.substr_view(0, static_cast<std::size_t>(end - key.begin()));
        if (!m_reader.read(name, out)) return MATCH_NONE;
        m_replaced = true;
        m_matchedLen = name.size();
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const override { return m_matchedLen; }
    bool Replaced() const noexcept { return m_replaced; }

private:
    variable_reader<S>& m_reader;
    bool m_replaced = false;
    std::uint64_t m_matchedLen = 0;
};

/// `${NAME}`: the name is all that stands between.
template <class S>
class CEnvStrRegularMatchCmd final : public IStrMatchCmd<S> {
public:
    explicit CEnvStrRegularMatchCmd(variable_reader<S>& reader) : m_reader(reader) { reader.begin_walk(); }

    std::int32_t Match(const S& key, S& out) override {
        if (!m_reader.read(key, out)) return MATCH_NONE;
        m_replaced = true;
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const override { return 0; }
    bool Replaced() const noexcept { return m_replaced; }

private:
    variable_reader<S>& m_reader;
    bool m_replaced = false;
};

template <class T>
void expand(basic_buffer<T>& text, std::uint32_t depth) {
    if (text.view().find(T('$')) == basic_buffer<T>::npos) return;
    basic_buffer<T> work(text);
    variable_reader<basic_buffer<T>> reader(text);
    for (;; ++depth) {
        CEnvStrAbbrMatchCmd<basic_buffer<T>> abbreviated(reader);
        work.replace_by_cmd(T('$'), abbreviated, false, true);
        CEnvStrRegularMatchCmd<basic_buffer<T>> regular(reader);
        work.replace_between(ORLO_LITERAL(T, "${"), ORLO_LITERAL(T, "}"), regular, true, true);
        if (depth >= LAST_DEPTH || !(abbreviated.Replaced() || regular.Replaced())) break;
    }
    work.replace_all(ORLO_LITERAL(T, "$$"), ORLO_LITERAL(T, "$"));
    text = std::move(work);
}

}  // namespace

void ExpandEnvRefs(stringEx& text, std::uint32_t depth) {
    expand(text, depth);
}

void ExpandEnvRefs(wstringEx& text, std::uint32_t depth) {
    expand(text, depth);
}

}  // namespace Orlo
