// Rows from blocks of bytes.
//
// The scanner finds the rows of some stretch of the buffer at once, and a call hands out the next one. Only
// when none is left does it go on, and only when it has used up the bytes is the source asked for more: so
// each failure comes in its row's turn, and nothing is read before a row needs it.
//
// The bytes of the row being read lie in one piece: when a block is used up in the middle of a row, what
// there is of the row is moved to the front of the buffer and the next block is read after it. The scanner
// keeps offsets only and goes on where it stopped. So a finished row can be used in place, and the buffer
// never holds more than the row quota and one block.
//
// The quota is checked before each byte that is there: a row may take quota + 1 bytes, and the failure comes
// with the next one, before it is read from the source, but after the source was asked for its end. That is
// what `limit` in `_MakeRowsReady` does. It is the open row's limit; the rows after it, which are scanned up to
// there as well, have theirs further on.

#include "orlo/rows/csv_parser.h"

#include <cassert>
#include <cstring>

#include "orlo/data/generic_adapters.h"
#include "orlo/data/mem_source.h"
#include "orlo/files/sys_file.h"
#include "rows/csv_scanner.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<csvExp> OVER_QUOTA = {{
    .code = csv_code::row_quota,
    .head = "CCsvParser::GetNextRow - out of row length quota\n",
    .keys = {"  current quota = "},
}};

constexpr failure<csvExp> BAD_QUOTING = {{
    .code = csv_code::quoting,
    .head = "CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n",
    .keys = {"  char    = ", "  expect  = ", "  content = "},
}};

constexpr failure<csvExp> UNCLOSED_FIELD = {{
    .code = csv_code::quoting,
    .head = "CCsvParser::GetNextRow - the last qouted field is not closed correctly\n",
    .keys = {"  content = "},
}};

/// The alignment of the place where blocks are read to. The system copies them out of whole pages, which takes
/// twice the time to a place that lies some bytes past the beginning of a page.
constexpr std::size_t BLOCK_ALIGNMENT = 64;

/// Makes each doubled quote in `text` one; returns the length that is left.
std::size_t single_quotes(char* text, std::size_t length, char quote) {
    const char* from = text;
    const char* const end = text + length;
    char* to = text;
    while (from < end) {
        const void* const found = std::memchr(from, quote, static_cast<std::size_t>(end - from));
        const char* const after = found != nullptr ? static_cast<const char*>(found) + 1 : end;
        const auto size = static_cast<std::size_t>(after - from);
        std::memmove(to, from, size);
        to += size;
        from = after + 1;
    }
    return static_cast<std::size_t>(to - text);
}

void single_quotes(stringEx& text, char quote) {
    text.set_size(single_quotes(text.mutable_data(), text.size(), quote));
}

}  // namespace

CCsvParser::CCsvParser() : m_scanner(std::make_unique<IMPL::csv_scanner>()) {}

CCsvParser::CCsvParser(const stringEx& path, char delimiter, char quote, const stringEx& line_end,
                       std::uint32_t block_size)
    : CCsvParser() {
    CSysFile file;
    file.Open(path, file_access::read);
    Attach(shared_ptr<CGenericSeekableSource<CSysFile>>::make(std::move(file)), delimiter, quote, line_end,
           block_size);
}

CCsvParser::~CCsvParser() noexcept(false) = default;

void CCsvParser::Attach(shared_ptr<TDataSource> source, char delimiter, char quote, const stringEx& line_end,
                        std::uint32_t block_size) {
    m_source = std::move(source);
    m_block_size = std::max<std::uint32_t>(block_size, 1);
    m_buffer.assign_reserve(m_block_size + csv_rows_view::readable_after);
    m_buffer.set_size(0);
    m_delimiter = delimiter;
    m_quote = quote;
    m_line_end = line_end.empty() ? "\n"_lit : line_end;
    m_row_count = 0;
    m_scanner->set_marks({quote, delimiter, m_line_end[0]}, m_line_end.size() - 1);
}

void CCsvParser::Attach(byteEx& text, char delimiter, char quote, const stringEx& line_end) {
    Attach(shared_ptr<CMemSource>::make(text), delimiter, quote, line_end);
}

void CCsvParser::SetRowQuota(std::uint64_t quota) noexcept {
    if (quota == m_row_quota) return;
    m_row_quota = quota;
    m_scanner->forget_untaken_rows();
}

bool CCsvParser::GetNextRow(row_cells& row) {
    const outcome what = _MakeRowsReady();
    if (what == outcome::end) {
        row.clear();
        return false;
    }
    if (what == outcome::row) {
        m_scanner->take_row();
        _CountRows();
    }
    const std::span<const csv_cell> cells = m_scanner->cells();
    row.resize(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        row[i].assign({_Text() + cells[i].begin, cells[i].length()});
    const std::size_t first = m_scanner->rows().front().cell;
    for (const auto& doubled : m_scanner->doubled_cells())
        single_quotes(row[doubled.cell - first], m_quote);
    if (what != outcome::row) _Raise(what);
    return true;
}

bool CCsvParser::GetNextRows(csv_rows_view& rows) {
    rows = {};
    const outcome what = _MakeRowsReady();
    if (what == outcome::end) return false;
    if (what != outcome::row) _Raise(what);
    m_scanner->take_rows(m_buffer.size());
    _CountRows();
    if (m_scanner->any_doubled()) _SingleQuotes();
    assert(m_buffer.capacity() >= m_buffer.size() + csv_rows_view::readable_after);
    rows.base_ = _Text();
    rows.cells_ = m_scanner->all_cells();
    rows.starts_ = m_scanner->rows().data();
    rows.count_ = m_scanner->rows().size() - 1;
    return true;
}

const char* CCsvParser::_Text() const {
    return reinterpret_cast<const char*>(m_buffer.data());
}

/// Rows were taken and are going to be handed out.
void CCsvParser::_CountRows() {
    m_row_count += static_cast<std::uint32_t>(m_scanner->rows().size() - 1);
    if (m_scanner->end_byte() > m_buffer.size()) _SkipLineEndRest();
}

void CCsvParser::_SingleQuotes() {
    char* const base = reinterpret_cast<char*>(m_buffer.mutable_data());
    for (const auto& doubled : m_scanner->doubled_cells()) {
        csv_cell& cell = m_scanner->all_cells()[doubled.cell];
        char* const from = base + doubled.byte;
        if (doubled.more) {
            cell.end = cell.begin + single_quotes(base + cell.begin, cell.length(), m_quote);
        } else {
            std::memmove(from, from + 1, static_cast<std::size_t>(base + cell.end - from - 1));
            --cell.end;
        }
    }
}

/// Finds rows until there are some to take (`row`), the input has ended (`end`), or the open row, which is taken
/// then, fails.
CCsvParser::outcome CCsvParser::_MakeRowsReady() {
    if (!m_source) return outcome::end;
    while (!m_scanner->has_rows()) {
        const std::uint64_t begin = m_scanner->open_row_begin();
        const std::uint64_t available = m_buffer.size() - begin;
        const std::uint64_t most = m_row_quota == UINT64_MAX ? m_row_quota : m_row_quota + 1;
        const std::uint64_t limit = std::min(available, most);
        switch (m_scanner->scan(_Text(), begin + limit)) {
            case IMPL::csv_scanner::stop::rows:
                continue;
            case IMPL::csv_scanner::stop::fail:
                m_scanner->take_open_row();
                return outcome::bad_quoting;
            case IMPL::csv_scanner::stop::used_up:
                break;
        }
        if (limit == available && m_source->IsEof()) return _EndOfInput();
        if (limit > m_row_quota) {
            m_scanner->take_open_row();
            return outcome::over_quota;
        }
        if (!_Refill(begin)) return _EndOfInput();
    }
    return outcome::row;
}

CCsvParser::outcome CCsvParser::_EndOfInput() {
    switch (m_scanner->state()) {
        case IMPL::csv_state::field_start:
            // only a delimiter leads back here within a row
            if (m_scanner->position() == m_scanner->open_row_begin()) return outcome::end;
            m_scanner->push_empty_cell();
            break;
        case IMPL::csv_state::plain:
        case IMPL::csv_state::quote_seen:
            m_scanner->push_open_cell();
            break;
        case IMPL::csv_state::quoted:
            m_scanner->take_open_row();
            return outcome::unclosed;
    }
    m_scanner->end_open_row();
    return outcome::row;
}

/// Skips the line end's further characters unseen, from block to block.
void CCsvParser::_SkipLineEndRest() {
    while (m_scanner->end_byte() > m_buffer.size()) {
        if (m_source->IsEof() || !_Refill(m_scanner->first_byte())) {
            m_scanner->open_row_at(m_buffer.size());
            return;
        }
    }
}

/// Reads the next block after what the buffer holds from `keep_from` on, which moves to the front. False at
/// the end of the source.
bool CCsvParser::_Refill(std::uint64_t keep_from) {
    const std::size_t kept = m_buffer.size() - keep_from;
    m_buffer.reserve_for_write(BLOCK_ALIGNMENT + kept + m_block_size + csv_rows_view::readable_after);
    unsigned char* const data = m_buffer.mutable_data();
    const std::size_t front = (0 - reinterpret_cast<std::uintptr_t>(data + kept)) % BLOCK_ALIGNMENT;
    std::memmove(data + front, data + keep_from, kept);
    m_buffer.set_size(front + kept);
    m_scanner->text_moved(keep_from, front);

    const std::size_t got = m_source->Read(data + front + kept, m_block_size);
    m_buffer.set_size(front + kept + got);
    return got != 0;
}

void CCsvParser::_Raise(outcome what) {
    if (what == outcome::over_quota) OVER_QUOTA.raise({m_row_quota});

    const csv_cell cell = m_scanner->open_cell();
    stringEx content(_Text() + cell.begin, cell.length());
    if (m_scanner->open_cell_doubled()) single_quotes(content, m_quote);
    if (what == outcome::unclosed) UNCLOSED_FIELD.raise({content});

    const char found = _Text()[m_scanner->position() - 1];
    stringEx found_text(&found, 1);
    found_text.append_format(16, " (%#x)", static_cast<unsigned>(int{found}));
    BAD_QUOTING.raise({found_text, std::string_view(&m_delimiter, 1), content});
}

}  // namespace Orlo
