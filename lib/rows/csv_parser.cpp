// Rows from blocks of bytes.
//
// The scanner finds the rows of some stretch of the buffer at once, and a call hands out the next one. Only
// when none is left does it go on, and only when it has used up the bytes is the source asked for more: so
// each failure comes in its row's turn, and nothing is read before a row needs it.
//
// The bytes of the row being read lie in one piece: when a block is used up in the middle of a row, what
// there is of the row is moved to the front of the buffer and the next block is read behind it. The scanner
// keeps offsets only and goes on where it stopped. So a finished row can be looked at in place, and the
// buffer never holds more than the row quota and one block.
//
// The quota is checked before each byte but for one that is not there: a row may take quota + 1 bytes, and
// the failure comes with the next one, before it is read from the source, but after the source was asked for
// its end. That is what `limit` in `_FindRow` does. It is the open row's limit; the rows behind it, which
// are scanned up to there as well, have theirs further on.

#include "orlo/rows/csv_parser.h"

#include <cstring>

#include "orlo/data/generic_adapters.h"
#include "orlo/files/sys_file.h"
#include "rows/csv_scanner.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<csvExp> OVER_QUOTA = {{
    .code = 5,
    .head = "CCsvParser::GetNextRow - out of row length quota\n",
    .keys = {"  current quota = "},
}};

constexpr failure<csvExp> BAD_QUOTING = {{
    .code = 1,
    .head = "CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n",
    .keys = {"  char    = ", "  expect  = ", "  content = "},
}};

constexpr failure<csvExp> UNCLOSED_FIELD = {{
    .code = 1,
    .head = "CCsvParser::GetNextRow - the last qouted field is not closed correctly\n",
    .keys = {"  content = "},
}};

/// Makes each doubled quote in `text` one; returns the length that is left.
std::size_t single_quotes(char* text, std::size_t length, char quote) {
    const char* from = text;
    const char* const end = text + length;
    char* to = text;
    while (from < end) {
        const void* const found = std::memchr(from, quote, static_cast<std::size_t>(end - from));
        const char* const behind = found != nullptr ? static_cast<const char*>(found) + 1 : end;
        const auto size = static_cast<std::size_t>(behind - from);
        std::memmove(to, from, size);
        to += size;
        from = behind + 1;
    }
    return static_cast<std::size_t>(to - text);
}

void single_quotes(stringEx& text, char quote) {
    text.set_size(single_quotes(text.mutable_data(), text.size(), quote));
}

const char* text_of(const byteEx& bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

}  // namespace

CCsvParser::CCsvParser() : scanner_(std::make_unique<IMPL::csv_scanner>()) {
    _Start(delimiter_, quote_, "\r\n"_lit);
}

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
    source_ = std::move(source);
    block_size_ = std::max<std::uint32_t>(block_size, 1);
    buffer_ = &own_buffer_;
    own_buffer_.assign_reserve(block_size_ + csv_row_view::readable_behind);
    own_buffer_.set_size(0);
    _Start(delimiter, quote, line_end);
}

void CCsvParser::Attach(byteEx& text, char delimiter, char quote, const stringEx& line_end) {
    source_.reset();
    buffer_ = &text;
    _Start(delimiter, quote, line_end);
}

void CCsvParser::_Start(char delimiter, char quote, const stringEx& line_end) {
    delimiter_ = delimiter;
    quote_ = quote;
    line_end_ = line_end.empty() ? "\n"_lit : line_end;
    row_count_ = 0;
    scanner_->set_marks({quote, delimiter, line_end_[0]}, line_end_.size() - 1);
}

void CCsvParser::SetRowQuota(std::uint64_t quota) noexcept {
    if (quota == row_quota_) return;
    row_quota_ = quota;
    scanner_->scan_again();
}

/// The short way to a row that waits in the scanner, which nearly all rows take.
inline CCsvParser::outcome CCsvParser::_NextRow() {
    if (!scanner_->take_row()) [[unlikely]] {
        const outcome what = _FindRow();
        if (what != outcome::row) return what;
    }
    ++row_count_;
    if (scanner_->row_end() > buffer_->size()) [[unlikely]]
        _SkipLineEndRest();
    return outcome::row;
}

bool CCsvParser::GetNextRow(row_cells& row) {
    const outcome what = _NextRow();
    if (what == outcome::end) {
        row.clear();
        return false;
    }
    const std::span<const csv_cell> cells = scanner_->cells();
    const char* const base = text_of(*buffer_);
    row.resize(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        row[i].assign({base + cells[i].begin, cells[i].length});
    for (const std::size_t number : scanner_->doubled_cells())
        single_quotes(row[number - scanner_->first_cell()], quote_);
    if (what != outcome::row) _Raise(what);
    return true;
}

bool CCsvParser::GetNextRow(csv_row_view& row) {
    const outcome what = _NextRow();
    if (what != outcome::row) [[unlikely]] {
        row = {};
        if (what != outcome::end) _Raise(what);
        return false;
    }
    if (buffer_ != &own_buffer_) [[unlikely]]
        _RowToOwnBuffer();
    if (scanner_->any_doubled()) [[unlikely]]
        _SingleQuotes();
    const std::span<const csv_cell> cells = scanner_->cells();
    row.cells_ = cells.data();
    row.count_ = cells.size();
    row.base_ = text_of(own_buffer_);
    return true;
}

/// Copies the row to where it may be written to, and read behind: a text in memory is the caller's.
void CCsvParser::_RowToOwnBuffer() {
    const std::size_t begin = scanner_->row_begin();
    const std::size_t size = scanner_->row_end() - begin;
    own_buffer_.assign_reserve(size + csv_row_view::readable_behind);
    std::memcpy(own_buffer_.mutable_data(), buffer_->data() + begin, size);
    for (csv_cell& cell : scanner_->cells())
        cell.begin -= begin;
}

void CCsvParser::_SingleQuotes() {
    char* const base = reinterpret_cast<char*>(own_buffer_.mutable_data());
    const std::span<csv_cell> cells = scanner_->cells();
    for (const std::size_t number : scanner_->doubled_cells()) {
        csv_cell& cell = cells[number - scanner_->first_cell()];
        cell.length = single_quotes(base + cell.begin, cell.length, quote_);
    }
}

CCsvParser::outcome CCsvParser::_FindRow() {
    do {
        const std::uint64_t begin = scanner_->open_row_begin();
        const std::uint64_t available = buffer_->size() - begin;
        const std::uint64_t most = row_quota_ == UINT64_MAX ? row_quota_ : row_quota_ + 1;
        const std::uint64_t limit = std::min(available, most);
        switch (scanner_->scan(text_of(*buffer_), begin + limit)) {
            case IMPL::csv_scanner::stop::rows:
                continue;
            case IMPL::csv_scanner::stop::fail:
                scanner_->take_open_row();
                return outcome::bad_quoting;
            case IMPL::csv_scanner::stop::used_up:
                break;
        }
        if (limit == available && (!source_ || source_->IsEof())) return _EndOfInput();
        if (limit > row_quota_) {
            scanner_->take_open_row();
            return outcome::over_quota;
        }
        if (!_Refill(begin)) return _EndOfInput();
    } while (!scanner_->take_row());
    return outcome::row;
}

CCsvParser::outcome CCsvParser::_EndOfInput() {
    outcome what = outcome::row;
    switch (scanner_->state()) {
        case IMPL::csv_state::field_start:
            // only a delimiter leads back here within a row
            if (scanner_->position() == scanner_->open_row_begin()) return outcome::end;
            scanner_->push_empty_cell();
            break;
        case IMPL::csv_state::plain:
        case IMPL::csv_state::quote_seen:
            scanner_->push_open_cell();
            break;
        case IMPL::csv_state::quoted:
            what = outcome::unclosed;
            break;
    }
    scanner_->take_open_row();
    if (what == outcome::row) scanner_->open_row_at(scanner_->row_end());
    return what;
}

/// Goes over the line end's further characters, which are not looked at, from block to block.
void CCsvParser::_SkipLineEndRest() {
    while (scanner_->row_end() > buffer_->size()) {
        if (!source_ || source_->IsEof() || !_Refill(scanner_->row_begin())) {
            scanner_->open_row_at(buffer_->size());
            return;
        }
    }
}

/// Reads the next block behind what the buffer holds from `keep_from` on. False at the end of the source.
bool CCsvParser::_Refill(std::uint64_t keep_from) {
    const std::size_t kept = own_buffer_.size() - keep_from;
    own_buffer_.reserve_for_write(kept + block_size_ + csv_row_view::readable_behind);
    unsigned char* const data = own_buffer_.mutable_data();
    std::memmove(data, data + keep_from, kept);
    own_buffer_.set_size(kept);
    scanner_->forget_front(keep_from);

    const std::size_t got = source_->Read(data + kept, block_size_);
    own_buffer_.set_size(kept + got);
    return got != 0;
}

void CCsvParser::_Raise(outcome what) {
    if (what == outcome::over_quota) OVER_QUOTA.raise({row_quota_});

    const bool unclosed = what == outcome::unclosed;
    const csv_cell cell = unclosed ? scanner_->open_cell() : scanner_->cells().back();
    stringEx content(text_of(*buffer_) + cell.begin, cell.length);
    if (scanner_->open_cell_doubled()) single_quotes(content, quote_);
    if (unclosed) UNCLOSED_FIELD.raise({content});

    const char found = text_of(*buffer_)[scanner_->position() - 1];
    stringEx found_text(&found, 1);
    found_text.append_format(16, " (%#x)", static_cast<unsigned>(int{found}));
    BAD_QUOTING.raise({found_text, std::string_view(&delimiter_, 1), content});
}

}  // namespace Orlo
