#include "orlo/rows/csv_writer.h"

#include "orlo/data/generic_adapters.h"
#include "orlo/files/sys_file.h"
#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<csvExp> SINK_IS_FULL = {{
    .code = 6,
    .head = "CCsvWriter::Flush - the sink accepts no more bytes",
}};

const unsigned char* bytes_of(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string_view view_of(const stringEx& cell) {
    return cell.view();
}
std::string_view view_of(std::string_view cell) {
    return cell;
}

}  // namespace

CCsvWriter::CCsvWriter(const stringEx& path, char delimiter, char quote, bool append,
                       const stringEx& line_end, std::uint32_t block_size) {
    CSysFile file;
    file.Open(path, file_access::write, append ? O_CREAT : O_CREAT | O_TRUNC);
    if (append) file.SeekEnd(0);
    Attach(shared_ptr<CGenericSeekableSink<CSysFile>>::make(std::move(file)), delimiter, quote, line_end,
           block_size);
}

CCsvWriter::~CCsvWriter() noexcept(false) {
    finish_in_destructor([this] { Flush(); });
}

void CCsvWriter::Attach(shared_ptr<TDataSink> sink, char delimiter, char quote, const stringEx& line_end,
                        std::uint32_t block_size) {
    Flush();
    sink_ = std::move(sink);
    buffer_ = &own_buffer_;
    _Start(delimiter, quote, line_end, block_size);
}

void CCsvWriter::Attach(byteEx& text, char delimiter, char quote, const stringEx& line_end) {
    Flush();
    sink_.reset();
    buffer_ = &text;
    _Start(delimiter, quote, line_end, default_block_size);
}

void CCsvWriter::_Start(char delimiter, char quote, const stringEx& line_end, std::uint32_t block_size) {
    delimiter_ = delimiter;
    quote_ = quote;
    line_end_ = line_end.empty() ? "\n"_lit : line_end;
    block_size_ = block_size;
    rows_written_ = 0;
    buffer_->assign_reserve(block_size);
    buffer_->clear();
    special_.fill(false);
    special_[static_cast<unsigned char>(quote)] = true;
    special_[static_cast<unsigned char>(delimiter)] = true;
    for (const char c : line_end_)
        special_[static_cast<unsigned char>(c)] = true;
}

void CCsvWriter::WriteRow(const row_cells& row) {
    _WriteCells(std::span<const stringEx>(row));
}

void CCsvWriter::WriteRow(std::span<const std::string_view> row) {
    _WriteCells(row);
}

template <class Cell>
void CCsvWriter::_WriteCells(std::span<const Cell> row) {
    if (rows_written_ != 0) {
        _FlushBefore(line_end_.size());
        buffer_->append(bytes_of(line_end_.view()), line_end_.size());
    }
    bool first = true;
    for (const Cell& cell : row) {
        if (!first) buffer_->append(static_cast<unsigned char>(delimiter_));
        first = false;
        _WriteCell(view_of(cell));
    }
    ++rows_written_;
}

void CCsvWriter::_WriteCell(std::string_view cell) {
    const bool quoted = quoting_ == csv_quoting::always ||
                        (quoting_ == csv_quoting::if_special_or_empty && cell.empty()) || _HasSpecial(cell);
    if (quoted) {
        _WriteQuoted(cell);
    } else {
        _FlushBefore(cell.size());
        buffer_->append(bytes_of(cell), cell.size());
    }
}

bool CCsvWriter::_HasSpecial(std::string_view cell) const noexcept {
    for (const char c : cell) {
        if (special_[static_cast<unsigned char>(c)]) return true;
    }
    return false;
}

void CCsvWriter::_WriteQuoted(std::string_view cell) {
    _Put(quote_);
    for (const char c : cell) {
        if (c == quote_) _Put(quote_);
        _Put(c);
    }
    _Put(quote_);
}

/// Hands the block over if `bytes` more would fill it.
void CCsvWriter::_FlushBefore(std::size_t bytes) {
    if (sink_ && buffer_->size() + bytes >= block_size_) Flush();
}

void CCsvWriter::_Put(char c) {
    buffer_->append(static_cast<unsigned char>(c));
    if (sink_ && buffer_->size() >= block_size_) Flush();
}

void CCsvWriter::Flush() {
    if (!sink_) return;
    while (!buffer_->empty()) {
        const std::size_t taken = sink_->Write(buffer_->data(), buffer_->size());
        if (taken == 0) SINK_IS_FULL.raise();
        const byteEx rest = buffer_->substr_view(taken);
        buffer_->assign(rest.view());
    }
}

}  // namespace Orlo
