// The walkers: text in which a command or a table replaces what follows an escape or lies between delimiters.
//
// A walk keeps two places: `next`, where it looks for the next mark, and `kept`, where the text begins that
// is not yet written. What stays as it is only moves `next`; a replacement writes the text from `kept` up to
// the mark as one block, then the replacement, and sets both after what was consumed. With "%" as the
// escape, "x" for "%a" and nothing for "%q":
//
//     1%q2%a3      "%q" is none: next goes after it; "%a": "1%q2" and "x" are written; the end writes "3"
//
// Linear: each character is passed once by the search for marks and copied once. The search for `close` is
// remembered, since the first `close` after one `open` is also the first after every later `open` that comes
// before it: a text of nothing but openings and one closing is not searched to its end for each.

#include "orlo/strings/match_cmd.h"
#include "strings/append_apart.h"

namespace Orlo {
namespace {

template <class T>
class walk {
public:
    using text = basic_buffer<T>;
    using view = typename text::view_type;

    walk(view source, text& target, IStrMatchCmd<text>& cmd, bool drop_open_end, bool keep_double)
        : source_(source),
          target_(target),
          cmd_(cmd),
          drop_open_end_(drop_open_end),
          keep_double_(keep_double) {
        target.reserve_for_write(target.size() + source.size() + source.size() / 8 + 1);
    }

    void escapes(T escape) {
        for (;;) {
            const std::size_t mark = source_.find(escape, next_);
            if (mark == view::npos) break;
            next_ = mark + 1;
            if (next_ == source_.size()) {
                drop_open_end(mark);
                break;
            }
            if (source_[next_] == escape) {
                pass_double();
                continue;
            }
            const std::int32_t code = ask(source_.substr(next_));
            if (!goes_on(code)) break;
            if (code != MATCH_NONE) {
                const std::uint64_t left = source_.size() - next_;
                replace(code, mark, next_ + std::min<std::uint64_t>(cmd_.GetMatchedLen(), left));
            }
        }
        write_up_to(source_.size());
    }

    void stretches(view open, view close) {
        // An opening such as "{{" cannot be told from its own first character doubled: it is never doubled
        const bool may_double = open.size() == 1 || open[0] != open[1];
        std::size_t end = 0;
        for (;;) {
            const std::size_t mark = source_.find(open[0], next_);
            if (mark == view::npos) break;
            next_ = mark + 1;
            if (may_double && next_ < source_.size() && source_[next_] == open[0]) {
                pass_double();
                continue;
            }
            if (!source_.substr(mark).starts_with(open)) continue;

            next_ = mark + open.size();
            if (end < next_) end = source_.find(close, next_);
            if (end == view::npos) {
                drop_open_end(mark);
                break;
            }
            const std::int32_t code = ask(source_.substr(next_, end - next_));
            if (!goes_on(code)) break;
            if (code != MATCH_NONE) replace(code, mark, end + close.size());
        }
        write_up_to(source_.size());
    }

private:
    static bool goes_on(std::int32_t code) noexcept { return code >= MATCH_NONE && code < MATCH_STOP; }

    std::int32_t ask(view key) {
        out_.clear();
        return cmd_.Match(text::borrow(key), out_);
    }

    /// Writes what is not yet written before `end`.
    void write_up_to(std::size_t end) { target_.append(source_.substr(kept_, end - kept_)); }

    /// Replaces the text from the mark up to `end`; the mark ends at `next_`.
    void replace(std::int32_t code, std::size_t mark, std::size_t end) {
        write_up_to(code == MATCH_INSERT ? next_ : mark);
        target_.append(out_);
        kept_ = next_ = end;
    }

    /// Goes past two equal characters; `next_` is the place of the second.
    void pass_double() {
        if (!keep_double_) {
            write_up_to(next_);
            kept_ = next_ + 1;
        }
        ++next_;
    }

    /// The mark that ends at `next_` has nothing to work on.
    void drop_open_end(std::size_t mark) {
        if (!drop_open_end_) return;
        write_up_to(mark);
        kept_ = next_;
    }

    view source_;
    text& target_;
    IStrMatchCmd<text>& cmd_;
    bool drop_open_end_;
    bool keep_double_;
    text out_;
    std::size_t next_ = 0;
    std::size_t kept_ = 0;
};

/// Looks replacements up in a table.
template <class S>
class CTableMatchCmd final : public IStrMatchCmd<S> {
public:
    explicit CTableMatchCmd(const str_replacement<S>* table) : m_table(table) {}

    std::int32_t Match(const S& key, S& out) override {
        for (const str_replacement<S>* row = m_table; !row->key.empty() || !row->value.empty(); ++row) {
            if (!key.starts_with(row->key)) continue;
            out = row->value;
            m_matchedLen = row->key.size();
            return MATCH_REPLACE;
        }
        return MATCH_NONE;
    }

    std::uint64_t GetMatchedLen() const override { return m_matchedLen; }

private:
    const str_replacement<S>* m_table;
    std::uint64_t m_matchedLen = 0;
};

}  // namespace

template <class T>
void buffer_walking<T>::replace_by_cmd(const basic_buffer<T>& source, basic_buffer<T>& target, T escape,
                                       IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_trailing,
                                       bool keep_double) {
    IMPL::append_apart(source, target, [&](basic_buffer<T>& made) {
        walk<T>(source.view(), made, cmd, drop_trailing, keep_double).escapes(escape);
    });
}

template <class T>
void buffer_walking<T>::replace_by_cmd(T escape, IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_trailing,
                                       bool keep_double) {
    if (self().view().find(escape) == basic_buffer<T>::npos) return;
    basic_buffer<T> made;
    replace_by_cmd(self(), made, escape, cmd, drop_trailing, keep_double);
    self() = std::move(made);
}

template <class T>
void buffer_walking<T>::replace_by_table(T escape, const str_replacement<basic_buffer<T>>* table,
                                         bool drop_trailing, bool keep_double) {
    CTableMatchCmd<basic_buffer<T>> cmd(table);
    replace_by_cmd(escape, cmd, drop_trailing, keep_double);
}

template <class T>
void buffer_walking<T>::replace_between(const basic_buffer<T>& source, basic_buffer<T>& target,
                                        std::basic_string_view<T> open, std::basic_string_view<T> close,
                                        IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_unclosed,
                                        bool keep_double) {
    IMPL::append_apart(source, target, [&](basic_buffer<T>& made) {
        if (open.empty()) {
            made.append(source.view());
            return;
        }
        walk<T>(source.view(), made, cmd, drop_unclosed, keep_double).stretches(open, close);
    });
}

template <class T>
void buffer_walking<T>::replace_between(std::basic_string_view<T> open, std::basic_string_view<T> close,
                                        IStrMatchCmd<basic_buffer<T>>& cmd, bool drop_unclosed,
                                        bool keep_double) {
    if (open.empty() || self().view().find(open[0]) == basic_buffer<T>::npos) return;
    basic_buffer<T> made;
    replace_between(self(), made, open, close, cmd, drop_unclosed, keep_double);
    self() = std::move(made);
}

template class buffer_walking<char>;
template class buffer_walking<wchar_t>;
template class buffer_walking<unsigned char>;

}  // namespace Orlo
