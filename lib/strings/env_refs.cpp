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
// Costs a pass over the text for each level, 64 at most. The walks insert a bounded number of characters,
// since a text that grows by a factor at each level would outgrow any memory long before level 64.

#include "orlo/strings/environment.h"
#include "orlo/strings/match_cmd.h"
#include "strings/env_access.h"
#include "strings/failure.h"
#include "strings/literal.h"

namespace Orlo {
namespace {

constexpr std::uint32_t LAST_DEPTH = 63;
constexpr std::uint64_t MOST_INSERTED = 16 << 20;

constexpr failure<auxExp> EXPANDED_TOO_MUCH = {{
    .code = 1,
    .head = "ExpandEnvRefs - failed expand environment references\n"
            "  size too big, a variable may refer to itself more than once\n",
    .keys = {"  variable name = ", "  size limit    = "},
}};

stringEx printable(const stringEx& name) {
    return name;
}

stringEx printable(const wstringEx& name) {
    stringEx text;
    for (const wchar_t c : name)
        text.append(c >= 0 && c < 0x80 ? static_cast<char>(c) : '?');
    return text;
}

/// Reads a variable into `out` and takes its size off what may still be inserted. False when it is empty.
template <class S>
bool read_variable(const S& name, S& out, std::uint64_t& insertable) {
    IMPL::append_env(name.view(), out);
    if (out.size() > insertable) EXPANDED_TOO_MUCH.raise({printable(name), MOST_INSERTED});
    insertable -= out.size();
    return !out.empty();
}

/// `$NAME`: the name is what its characters make of the text behind the sign.
template <class S>
class CEnvStrAbbrMatchCmd final : public IStrMatchCmd<S> {
public:
    explicit CEnvStrAbbrMatchCmd(std::uint64_t& insertable) : insertable_(insertable) {}

    std::int32_t Match(const S& key, S& out) override {
        const auto in_name = [](auto c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        };
        const auto* const end = std::find_if_not(key.begin(), key.end(), in_name);
        const S name = key.substr_view(0, static_cast<std::size_t>(end - key.begin()));
        if (!read_variable(name, out, insertable_)) return MATCH_NONE;
        replaced_ = true;
        matchedLen_ = name.size();
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const override { return matchedLen_; }
    bool replaced() const noexcept { return replaced_; }

private:
    std::uint64_t& insertable_;
    bool replaced_ = false;
    std::uint64_t matchedLen_ = 0;
};

/// `${NAME}`: the name is all that stands between.
template <class S>
class CEnvStrRegularMatchCmd final : public IStrMatchCmd<S> {
public:
    explicit CEnvStrRegularMatchCmd(std::uint64_t& insertable) : insertable_(insertable) {}

    std::int32_t Match(const S& key, S& out) override {
        if (!read_variable(key, out, insertable_)) return MATCH_NONE;
        replaced_ = true;
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const override { return 0; }
    bool replaced() const noexcept { return replaced_; }

private:
    std::uint64_t& insertable_;
    bool replaced_ = false;
};

template <class T>
void expand(basic_buffer<T>& text, std::uint32_t depth) {
    if (text.view().find(T('$')) == basic_buffer<T>::npos) return;
    basic_buffer<T> work(text);
    std::uint64_t insertable = MOST_INSERTED;
    for (;; ++depth) {
        CEnvStrAbbrMatchCmd<basic_buffer<T>> abbreviated(insertable);
        work.replace_by_cmd(T('$'), abbreviated, false, true);
        CEnvStrRegularMatchCmd<basic_buffer<T>> regular(insertable);
        work.replace_between(ORLO_LITERAL(T, "${"), ORLO_LITERAL(T, "}"), regular, true, true);
        if (depth >= LAST_DEPTH || !(abbreviated.replaced() || regular.replaced())) break;
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
