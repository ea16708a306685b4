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

/// Where blocks are read to. The system copies them out of whole pages, which takes twice the time to a place
/// that lies some bytes behind the beginning of a page.
constexpr std::size_t BLOCK_ALIGNMENT = 64;

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

/// A text of the caller's, read like any other source: rows are made ready for use where they lie, so not in
/// the caller's bytes.
class text_source final : public TDataSource {
public:
    explicit text_source(const byteEx& text) : text_(text) {}

    bool IsOpen() const override { return true; }
    int GetKind() const override { return 0; }
    bool IsEof() override { return position_ == text_.size(); }
    std::size_t Read(void* buffer, std::size_t size) override {
        const std::size_t got = std::min(size, text_.size() - position_);
        std::memcpy(buffer, text_.data() + position_, got);
        position_ += got;
        return got;
    }

private:
    const byteEx& text_;
    std::size_t position_ = 0;
};

}  // namespace

CCsvParser::CCsvParser() : scanner_(std::make_unique<IMPL::csv_scanner>()) {}

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
    buffer_.assign_reserve(block_size_ + csv_rows_view::readable_behind);
    buffer_.set_size(0);
    delimiter_ = delimiter;
    quote_ = quote;
    line_end_ = line_end.empty() ? "\n"_lit : line_end;
    row_count_ = 0;
    scanner_->set_marks({quote, delimiter, line_end_[0]}, line_end_.size() - 1);
}

void CCsvParser::Attach(byteEx& text, char delimiter, char quote, const stringEx& line_end) {
    Attach(shared_ptr<text_source>::make(text), delimiter, quote, line_end);
}

void CCsvParser::SetRowQuota(std::uint64_t quota) noexcept {
    if (quota == row_quota_) return;
    row_quota_ = quota;
    scanner_->scan_again();
}

bool CCsvParser::GetNextRow(row_cells& row) {
    const outcome what = _FindRows();
    if (what == outcome::end) {
        row.clear();
        return false;
    }
    if (what == outcome::row) {
        scanner_->take_row();
        _CountRows();
    }
    const std::span<const csv_cell> cells = scanner_->cells();
    row.resize(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        row[i].assign({_Text() + cells[i].begin, cells[i].length()});
    const std::size_t first = scanner_->rows().front().cell;
    for (const auto& doubled : scanner_->doubled_cells())
        single_quotes(row[doubled.cell - first], quote_);
    if (what != outcome::row) _Raise(what);
    return true;
}

bool CCsvParser::GetNextRows(csv_rows_view& rows) {
    rows = {};
    const outcome what = _FindRows();
    if (what == outcome::end) return false;
    if (what != outcome::row) _Raise(what);
    scanner_->take_rows(buffer_.size());
    _CountRows();
    if (scanner_->any_doubled()) _SingleQuotes();
    rows.base_ = _Text();
    rows.cells_ = scanner_->all_cells();
    rows.starts_ = scanner_->rows().data();
    rows.count_ = scanner_->rows().size() - 1;
    return true;
}

const char* CCsvParser::_Text() const {
    return reinterpret_cast<const char*>(buffer_.data());
}

/// Rows were taken and are going to be handed out.
void CCsvParser::_CountRows() {
    row_count_ += static_cast<std::uint32_t>(scanner_->rows().size() - 1);
    if (scanner_->end_byte() > buffer_.size()) _SkipLineEndRest();
}

void CCsvParser::_SingleQuotes() {
    char* const base = reinterpret_cast<char*>(buffer_.mutable_data());
    for (const auto& doubled : scanner_->doubled_cells()) {
        csv_cell& cell = scanner_->all_cells()[doubled.cell];
        char* const from = base + doubled.byte;
        if (doubled.more) {
            cell.end = cell.begin + single_quotes(base + cell.begin, cell.length(), quote_);
        } else {
            std::memmove(from, from + 1, static_cast<std::size_t>(base + cell.end - from - 1));
            --cell.end;
        }
    }
}

/// Sees to it that there are rows to take. Otherwise there are none any more, or the open row, which is taken
/// then, fails.
CCsvParser::outcome CCsvParser::_FindRows() {
    if (!source_) return outcome::end;
    while (!scanner_->has_rows()) {
        const std::uint64_t begin = scanner_->open_row_begin();
        const std::uint64_t available = buffer_.size() - begin;
        const std::uint64_t most = row_quota_ == UINT64_MAX ? row_quota_ : row_quota_ + 1;
        const std::uint64_t limit = std::min(available, most);
        switch (scanner_->scan(_Text(), begin + limit)) {
            case IMPL::csv_scanner::stop::rows:
                continue;
            case IMPL::csv_scanner::stop::fail:
                scanner_->take_open_row();
                return outcome::bad_quoting;
            case IMPL::csv_scanner::stop::used_up:
                break;
        }
        if (limit == available && source_->IsEof()) return _EndOfInput();
        if (limit > row_quota_) {
            scanner_->take_open_row();
            return outcome::over_quota;
        }
        if (!_Refill(begin)) return _EndOfInput();
    }
    return outcome::row;
}

CCsvParser::outcome CCsvParser::_EndOfInput() {
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
            scanner_->take_open_row();
            return outcome::unclosed;
    }
    scanner_->end_open_row();
    return outcome::row;
}

/// Goes over the line end's further characters, which are not looked at, from block to block.
void CCsvParser::_SkipLineEndRest() {
    while (scanner_->end_byte() > buffer_.size()) {
        if (source_->IsEof() || !_Refill(scanner_->first_byte())) {
            scanner_->open_row_at(buffer_.size());
            return;
        }
    }
}

/// Reads the next block behind what the buffer holds from `keep_from` on, which moves to the front. False at
/// the end of the source.
bool CCsvParser::_Refill(std::uint64_t keep_from) {
    const std::size_t kept = buffer_.size() - keep_from;
    buffer_.reserve_for_write(BLOCK_ALIGNMENT + kept + block_size_ + csv_rows_view::readable_behind);
    unsigned char* const data = buffer_.mutable_data();
    const std::size_t front = (0 - reinterpret_cast<std::uintptr_t>(data + kept)) % BLOCK_ALIGNMENT;
    std::memmove(data + front, data + keep_from, kept);
    buffer_.set_size(front + kept);
    scanner_->text_moved(keep_from, front);

    const std::size_t got = source_->Read(data + front + kept, block_size_);
    buffer_.set_size(front + kept + got);
    return got != 0;
}

void CCsvParser::_Raise(outcome what) {
    if (what == outcome::over_quota) OVER_QUOTA.raise({row_quota_});

    const csv_cell cell = scanner_->open_cell();
    stringEx content(_Text() + cell.begin, cell.length());
    if (scanner_->open_cell_doubled()) single_quotes(content, quote_);
    if (what == outcome::unclosed) UNCLOSED_FIELD.raise({content});

    const char found = _Text()[scanner_->position() - 1];
    stringEx found_text(&found, 1);
    found_text.append_format(16, " (%#x)", static_cast<unsigned>(int{found}));
    BAD_QUOTING.raise({found_text, std::string_view(&delimiter_, 1), content});
}

}  // namespace Orlo
