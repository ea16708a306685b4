#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "orlo/data/data_object.h"
#include "orlo/export.h"
#include "orlo/rows/row.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_ptr.h"

namespace Orlo {

/// When a cell is put between quotes.
enum class csv_quoting : std::uint32_t {
    if_special = 0,           ///< it holds the quote, the delimiter or a character of the line end
    if_special_or_empty = 1,  ///< the same, or it is empty
    always = 2,
};

/// Formats rows of cells and hands them to a sink in blocks. The counterpart of `CCsvParser`.
///
/// ```cpp
/// CCsvWriter writer("prices.csv");
/// writer.WriteRow({"tea, green", "350"});  // "tea, green",350
/// writer.WriteRow({"milk", "89"});
/// writer.Flush();  // or leave it to the destructor, which reports a failure alike
/// ```
///
/// The line end separates rows: there is none after the last one. What a quoted cell holds is written as it
/// is, with each quote character twice.
///
/// Failures of the sink pass through. What the sink did not take stays in the block. A sink that takes no
/// bytes and gives no reason is a `csvExp` of `csv_code::sink_full`, 6. The destructor flushes and may throw,
/// unless an exception is in flight.
///
/// Threads: a writer belongs to one thread at a time.
class ORLO_API CCsvWriter {
public:
    static constexpr std::uint32_t default_block_size = 8192;

    /// Attached to nothing: collects in a buffer of its own.
    CCsvWriter() = default;
    /// Opens the file at `path` for writing, creating it (permission bits 0666) and, unless `append`,
    /// truncating it. Failures are those of `CSysFile::Open`.
    explicit CCsvWriter(const stringEx& path, char delimiter = ',', char quote = '"', bool append = false,
                        const stringEx& line_end = "\r\n"_lit, std::uint32_t block_size = default_block_size);
    ~CCsvWriter() noexcept(false);
    CCsvWriter(const CCsvWriter&) = delete;
    CCsvWriter& operator=(const CCsvWriter&) = delete;

    /// Writes out what the old sink still has pending, then starts on `sink`, which is owned jointly from now
    /// on. An empty `line_end` means "\n". About `block_size` bytes are collected before each write.
    void Attach(shared_ptr<TDataSink> sink, char delimiter = ',', char quote = '"',
                const stringEx& line_end = "\r\n"_lit, std::uint32_t block_size = default_block_size);
    /// The same, collecting in `text`, which is emptied and which the caller keeps alive.
    void Attach(byteEx& text, char delimiter = ',', char quote = '"', const stringEx& line_end = "\r\n"_lit);

    void SetQuoting(csv_quoting mode) noexcept { m_quoting = mode; }

    /// Formats one row. A row without cells writes at most the line end before it, and counts.
    void WriteRow(const row_cells& row);
    void WriteRow(std::span<const std::string_view> row);

    /// Hands what is pending to the sink. Without a sink nothing happens.
    void Flush();

    /// Rows written since the writer was attached.
    [[nodiscard]] std::uint64_t GetRowsWritten() const noexcept { return m_rows_written; }

private:
    void _Start(char delimiter, char quote, const stringEx& line_end, std::uint32_t block_size);
    template <class Cell>
    void _WriteCells(std::span<const Cell> row);
    void _WriteCell(std::string_view cell);
    void _WriteQuoted(std::string_view cell);
    bool _HasSpecial(std::string_view cell) const noexcept;
    void _FlushBefore(std::size_t bytes);
    void _Put(char c);

    std::uint64_t m_rows_written = 0;
    char m_quote = '"';
    char m_delimiter = ',';
    stringEx m_line_end = "\r\n"_lit;
    shared_ptr<TDataSink> m_sink;
    csv_quoting m_quoting = csv_quoting::if_special;
    std::uint32_t m_block_size = default_block_size;
    byteEx m_own_buffer;
    byteEx* m_buffer = &m_own_buffer;
    std::array<bool, 256> m_special{};
};

}  // namespace Orlo
