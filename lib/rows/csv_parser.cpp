// Rows from blocks of bytes.
//
// The bytes of the row being read lie in one piece: when a block is used up in the middle of a row, what
// there is of the row is moved to the front of the buffer and the next block is read behind it. The scanner
// keeps offsets only and goes on where it stopped. So a finished row can be looked at in place, and the
// buffer never holds more than the row quota and one block.
//
// The quota is checked before each byte but for one that is not there: a row may take quota + 1 bytes, and
// the failure comes with the next one, before it is read from the source, but after the source was asked for
// its end. That is what `limit` in `_FindRow` does for both scanners.

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
    std::size_t to = 0;
    for (std::size_t from = 0; from < length; ++from) {
        text[to++] = text[from];
        if (text[from] == quote) ++from;
    }
    return to;
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
    line_end_rest_ = line_end_.size() - 1;
    row_count_ = 0;
    position_ = row_begin_ = 0;
    scanner_->set_marks({quote, delimiter, line_end_[0]});
}

bool CCsvParser::GetNextRow(row_cells& row) {
    const outcome what = _FindRow();
    const std::span<const csv_cell> cells = scanner_->cells();
    const char* const base = text_of(*buffer_) + row_begin_;
    row.resize(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        row[i].assign({base + cells[i].begin, cells[i].length});
    for (const std::size_t i : scanner_->doubled_cells())
        single_quotes(row[i], quote_);
    if (what != outcome::row && what != outcome::end) _Raise(what);
    return what == outcome::row;
}

bool CCsvParser::GetNextRow(csv_row_view& row) {
    const outcome what = _FindRow();
    if (what != outcome::row) {
        row = {};
        if (what != outcome::end) _Raise(what);
        return false;
    }
    const std::span<csv_cell> cells = scanner_->cells();
    std::fill_n(cells.data() + cells.size(), csv_row_view::spare_cells, csv_cell{0, 0});
    row.cells_ = cells.data();
    row.count_ = cells.size();
    row.base_ = text_of(own_buffer_) + row_begin_;
    if (buffer_ != &own_buffer_ || !scanner_->doubled_cells().empty()) {
        char* const base = _RowInOwnBuffer();
        row.base_ = base;
        for (const std::size_t i : scanner_->doubled_cells()) {
            cells[i].length = single_quotes(base + cells[i].begin, cells[i].length, quote_);
        }
    }
    return true;
}

/// The bytes of the finished row where they may be written to: a text in memory is the caller's, so its row
/// is copied.
char* CCsvParser::_RowInOwnBuffer() {
    if (buffer_ == &own_buffer_) return reinterpret_cast<char*>(own_buffer_.mutable_data()) + row_begin_;
    const std::size_t size = position_ - row_begin_;
    own_buffer_.assign_reserve(size + csv_row_view::readable_behind);
    std::memcpy(own_buffer_.mutable_data(), buffer_->data() + row_begin_, size);
    return reinterpret_cast<char*>(own_buffer_.mutable_data());
}

CCsvParser::outcome CCsvParser::_FindRow() {
    scanner_->start_row();
    row_begin_ = position_;
    const std::uint64_t most = row_quota_ == UINT64_MAX ? row_quota_ : row_quota_ + 1;
    for (;;) {
        const std::uint64_t available = buffer_->size() - row_begin_;
        const std::uint64_t limit = std::min(available, most);
        const auto stopped = scanner_->scan(text_of(*buffer_) + row_begin_, limit);
        position_ = row_begin_ + scanner_->position();
        switch (stopped) {
            case IMPL::csv_scanner::stop::row:
                if (line_end_rest_ <= buffer_->size() - position_) {
                    position_ += line_end_rest_;
                } else {
                    _SkipLineEndRest();
                }
                ++row_count_;
                return outcome::row;
            case IMPL::csv_scanner::stop::fail:
                return outcome::bad_quoting;
            case IMPL::csv_scanner::stop::used_up:
                break;
        }
        if (limit == available && (!source_ || source_->IsEof())) return _EndOfInput();
        if (limit > row_quota_) return outcome::over_quota;
        if (!_Refill()) return _EndOfInput();
    }
}

CCsvParser::outcome CCsvParser::_EndOfInput() {
    switch (scanner_->state()) {
        case IMPL::csv_state::field_start:
            // only a delimiter leads back here within a row
            if (scanner_->position() == 0) return outcome::end;
            scanner_->push_empty_cell();
            break;
        case IMPL::csv_state::plain:
        case IMPL::csv_state::quote_seen:
            scanner_->push_open_cell();
            break;
        case IMPL::csv_state::quoted:
            return outcome::unclosed;
    }
    ++row_count_;
    return outcome::row;
}

/// Goes over the line end's further characters, which are not looked at, from block to block.
void CCsvParser::_SkipLineEndRest() {
    std::uint64_t left = line_end_rest_;
    for (;;) {
        const std::uint64_t step = std::min(left, buffer_->size() - position_);
        position_ += step;
        left -= step;
        if (left == 0 || !source_ || source_->IsEof() || !_Refill()) return;
    }
}

/// Reads the next block behind what the buffer holds of the row. False at the end of the source.
bool CCsvParser::_Refill() {
    const std::size_t kept = own_buffer_.size() - row_begin_;
    own_buffer_.reserve_for_write(kept + block_size_ + csv_row_view::readable_behind);
    unsigned char* const data = own_buffer_.mutable_data();
    std::memmove(data, data + row_begin_, kept);
    position_ -= row_begin_;
    row_begin_ = 0;
    own_buffer_.set_size(kept);
    scanner_->forget_bytes();

    const std::size_t got = source_->Read(data + kept, block_size_);
    own_buffer_.set_size(kept + got);
    return got != 0;
}

void CCsvParser::_Raise(outcome what) {
    if (what == outcome::over_quota) OVER_QUOTA.raise({row_quota_});

    const bool unclosed = what == outcome::unclosed;
    const csv_cell cell = unclosed ? scanner_->open_cell() : scanner_->cells().back();
    stringEx content(text_of(*buffer_) + row_begin_ + cell.begin, cell.length);
    if (scanner_->open_cell_doubled()) single_quotes(content, quote_);
    if (unclosed) UNCLOSED_FIELD.raise({content});

    const char found = text_of(*buffer_)[position_ - 1];
    stringEx found_text(&found, 1);
    found_text.append_format(16, " (%#x)", static_cast<unsigned>(int{found}));
    BAD_QUOTING.raise({found_text, std::string_view(&delimiter_, 1), content});
}

}  // namespace Orlo
