#include "orlo/rows/csv_writer.h"

#include "orlo/data/generic_adapters.h"
#include "orlo/files/sys_file.h"
#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<csvExp> SINK_IS_FULL = {{
    .code = csv_code::sink_full,
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
    m_sink = std::move(sink);
    m_buffer = &m_own_buffer;
    _Start(delimiter, quote, line_end, block_size);
}

void CCsvWriter::Attach(byteEx& text, char delimiter, char quote, const stringEx& line_end) {
    Flush();
    m_sink.reset();
    m_buffer = &text;
    _Start(delimiter, quote, line_end, default_block_size);
}

void CCsvWriter::_Start(char delimiter, char quote, const stringEx& line_end, std::uint32_t block_size) {
    m_delimiter = delimiter;
    m_quote = quote;
    m_line_end = line_end.empty() ? "\n"_lit : line_end;
    m_block_size = block_size;
    m_rows_written = 0;
    m_buffer->assign_reserve(block_size);
    m_buffer->clear();
    m_special.fill(false);
    m_special[static_cast<unsigned char>(quote)] = true;
    m_special[static_cast<unsigned char>(delimiter)] = true;
    for (const char c : m_line_end)
        m_special[static_cast<unsigned char>(c)] = true;
}

void CCsvWriter::WriteRow(const row_cells& row) {
    _WriteCells(std::span<const stringEx>(row));
}

void CCsvWriter::WriteRow(std::span<const std::string_view> row) {
    _WriteCells(row);
}

template <class Cell>
void CCsvWriter::_WriteCells(std::span<const Cell> row) {
    if (m_rows_written != 0) {
        _FlushBefore(m_line_end.size());
        m_buffer->append(bytes_of(m_line_end.view()), m_line_end.size());
    }
    bool first = true;
    for (const Cell& cell : row) {
        if (!first) m_buffer->append(static_cast<unsigned char>(m_delimiter));
        first = false;
        _WriteCell(view_of(cell));
    }
    ++m_rows_written;
}

void CCsvWriter::_WriteCell(std::string_view cell) {
    const bool quoted = m_quoting == csv_quoting::always ||
                        (m_quoting == csv_quoting::if_special_or_empty && cell.empty()) || _HasSpecial(cell);
    if (quoted) {
        _WriteQuoted(cell);
    } else {
        _FlushBefore(cell.size());
        m_buffer->append(bytes_of(cell), cell.size());
    }
}

bool CCsvWriter::_HasSpecial(std::string_view cell) const noexcept {
    for (const char c : cell) {
        if (m_special[static_cast<unsigned char>(c)]) return true;
    }
    return false;
}

void CCsvWriter::_WriteQuoted(std::string_view cell) {
    _Put(m_quote);
    for (const char c : cell) {
        if (c == m_quote) _Put(m_quote);
        _Put(c);
    }
    _Put(m_quote);
}

/// Hands the block over if `bytes` more would fill it.
void CCsvWriter::_FlushBefore(std::size_t bytes) {
    if (m_sink && m_buffer->size() + bytes >= m_block_size) Flush();
}

void CCsvWriter::_Put(char c) {
    m_buffer->append(static_cast<unsigned char>(c));
    if (m_sink && m_buffer->size() >= m_block_size) Flush();
}

void CCsvWriter::Flush() {
    if (!m_sink) return;
    while (!m_buffer->empty()) {
        const std::size_t taken = m_sink->Write(m_buffer->data(), m_buffer->size());
        if (taken == 0) SINK_IS_FULL.raise();
        const byteEx rest = m_buffer->substr_view(taken);
        m_buffer->assign(rest.view());
    }
}

}  // namespace Orlo
