// The CSV parser on arbitrary bytes: read in small blocks and as a text in memory, it must give the same
// rows, end the same way, and write rows that read back as they were.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orlo/rows/csv_parser.h"
#include "orlo/rows/csv_writer.h"

namespace {

using rows = std::vector<Orlo::row_cells>;

class bytes_source final : public Orlo::TDataSource {
public:
    bytes_source(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
    bool IsOpen() const override { return true; }
    int GetKind() const override { return 0; }
    bool IsEof() override { return left_ == 0; }
    std::size_t Read(void* buffer, std::size_t size) override {
        const std::size_t got = std::min(size, left_);
        std::memcpy(buffer, data_, got);
        data_ += got;
        left_ -= got;
        return got;
    }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

/// All rows up to the end or the first failure, whose code is returned; 0 at the end.
std::int32_t read(Orlo::CCsvParser& parser, rows& read_rows) {
    Orlo::row_cells row;
    try {
        while (parser.GetNextRow(row))
            read_rows.push_back(row);
    } catch (const Orlo::csvExp& failure) {
        return failure.code();
    }
    return 0;
}

void require(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::uint32_t block = size == 0 ? 1 : 1 + data[0] % 80;
    const std::uint64_t quota = size < 2 || data[1] > 99 ? Orlo::CCsvParser::default_row_quota : data[1];

    Orlo::CCsvParser in_blocks;
    in_blocks.SetRowQuota(quota);
    in_blocks.Attach(Orlo::shared_ptr<Orlo::TDataSource>(new bytes_source(data, size)), ',', '"',
                     Orlo::stringEx("\r\n"), block);
    Orlo::byteEx text(data, size);
    Orlo::CCsvParser in_memory;
    in_memory.SetRowQuota(quota);
    in_memory.Attach(text);

    rows from_blocks;
    rows from_memory;
    require(read(in_blocks, from_blocks) == read(in_memory, from_memory));
    require(from_blocks == from_memory);

    Orlo::byteEx written;
    Orlo::CCsvWriter writer;
    writer.Attach(written);
    writer.SetQuoting(Orlo::csv_quoting::always);
    for (const Orlo::row_cells& row : from_blocks)
        writer.WriteRow(row);
    Orlo::CCsvParser again;
    again.SetRowQuota(UINT64_MAX);
    again.Attach(written);
    rows read_again;
    require(read(again, read_again) == 0 && read_again == from_blocks);
    return 0;
}
