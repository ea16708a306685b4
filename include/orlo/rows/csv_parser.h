#pragma once

#include <cstdint>
#include <memory>

#include "orlo/data/data_object.h"
#include "orlo/export.h"
#include "orlo/rows/row.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_ptr.h"

namespace Orlo {

namespace IMPL {
class csv_scanner;
}

/// Turns bytes into rows of cells, one row a call or many.
///
/// ```cpp
/// #include <cstdio>
/// CCsvParser parser("prices.csv");
/// for (row_cells row; parser.GetNextRow(row);) {
///     if (row.size() == 2) std::printf("%s: %s\n", row[0].terminated().c_str(), row[1].terminated().c_str());
/// }
/// ```
///
/// The dialect: cells are separated by the delimiter. A cell that begins with the quote character ends at the
/// next lone one; delimiters and line ends in between are text, and a doubled quote stands for one. A quote
/// inside an unquoted cell is text. Only the first character of the line end is compared, the rest is skipped
/// unseen: with "\r\n" a lone "\r" ends the row and swallows the character after it, and a lone "\n" is
/// text. A blank line is a row of one empty cell; a final line end makes no row of its own.
///
/// Failures are `csvExp`: `csv_code::row_quota`, 5, when a row exceeds the quota; `csv_code::quoting`, 1, when
/// something other than a delimiter or line end follows a closing quote, or the input ends inside a quoted
/// cell. Failures of the source pass through. A parser is not used further after a failure.
///
/// Threads: a parser belongs to one thread at a time.
class ORLO_API CCsvParser {
public:
    static constexpr std::uint32_t default_block_size = 8192;
    static constexpr std::uint64_t default_row_quota = 0xFFFF;

    /// Attached to nothing: there are no rows.
    CCsvParser();
    /// Opens the file at `path` for reading. Failures are those of `CSysFile::Open`.
    explicit CCsvParser(const stringEx& path, char delimiter = ',', char quote = '"',
                        const stringEx& line_end = "\r\n"_lit, std::uint32_t block_size = default_block_size);
    ~CCsvParser() noexcept(false);
    CCsvParser(const CCsvParser&) = delete;
    CCsvParser& operator=(const CCsvParser&) = delete;

    /// Starts on `source`, which is owned jointly from now on and read in blocks of `block_size` bytes (at
    /// least 1); the old one is let go. An empty pointer is nothing, with no rows. An empty `line_end` means
    /// "\n".
    void Attach(shared_ptr<TDataSource> source, char delimiter = ',', char quote = '"',
                const stringEx& line_end = "\r\n"_lit, std::uint32_t block_size = default_block_size);
    /// Starts on a text in memory, which is shared and never written to; a borrowed one has to stay until all
    /// rows were read.
    void Attach(byteEx& text, char delimiter = ',', char quote = '"', const stringEx& line_end = "\r\n"_lit);

    /// Replaces `row` with the next row, whose cells are the caller's to keep. False, with an empty row, when
    /// nothing was left. On a failure the cells read so far are in `row`. Cells of `row` that nobody else
    /// holds lend their storage to the new ones.
    [[nodiscard]] bool GetNextRow(row_cells& row);

    /// Replaces `rows` with as many of the next rows as were found at once, one at least, without copies:
    /// they are valid until the next call. False, with no rows, when nothing was left. A row that fails does
    /// so in the call after the one that delivers the rows before it.
    [[nodiscard]] bool GetNextRows(csv_rows_view& rows);

    /// Bounds the bytes of one row, delimiters and quotes included. A row may have one byte more. It holds
    /// from the next row on.
    void SetRowQuota(std::uint64_t quota) noexcept;
    /// Rows delivered since the parser was attached.
    [[nodiscard]] std::uint32_t GetRowCount() const noexcept { return m_row_count; }

private:
    enum class outcome { row, end, over_quota, bad_quoting, unclosed };

    outcome _MakeRowsReady();
    outcome _EndOfInput();
    void _CountRows();
    void _SkipLineEndRest();
    bool _Refill(std::uint64_t keep_from);
    void _SingleQuotes();
    const char* _Text() const;
    [[noreturn]] void _Raise(outcome what);

    char m_quote = '"';
    char m_delimiter = ',';
    stringEx m_line_end;
    shared_ptr<TDataSource> m_source;
    std::uint64_t m_row_quota = default_row_quota;
    std::uint32_t m_row_count = 0;
    std::uint32_t m_block_size = default_block_size;
    byteEx m_buffer;
    std::unique_ptr<IMPL::csv_scanner> m_scanner;
};

}  // namespace Orlo
