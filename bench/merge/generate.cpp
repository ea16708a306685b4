// usage: merge_generate SHAPE FILE
// Writes one input of the merge bench: CSV with CR LF after every row, no header, 150 to 250 MB. The same
// shape gives the same bytes on every machine.

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

namespace {

// SplitMix64: one multiply-and-shift chain a number, and no library's idea of a distribution in the way.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    // Evenly in [0, bound), bound below 2^32; the bias of the multiplication is of no account here.
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(((next() >> 32) * bound) >> 32);
    }

private:
    std::uint64_t state_;
};

class Output {
public:
    explicit Output(const char* path) : file_(std::fopen(path, "wb")) { buffer_.reserve(block + 4096); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }

    Output& operator<<(std::string_view text) {
        buffer_ += text;
        return *this;
    }
    // Decimal digits, with zeros in front up to the width.
    void number(std::int64_t value, std::size_t width = 0) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        const auto length = static_cast<std::size_t>(end - digits);
        buffer_.append(width > length ? width - length : 0, '0');
        buffer_.append(digits, length);
    }
    void row_done() {
        buffer_ += "\r\n";
        if (buffer_.size() >= block) {
            write();
        }
    }
    bool close() {
        write();
        ok_ = ok_ && std::fclose(file_) == 0;
        file_ = nullptr;
        return ok_;
    }

    bool ok() const { return file_ != nullptr && ok_; }

private:
    static constexpr std::size_t block = 1 << 20;
    void write() {
        ok_ = ok_ && std::fwrite(buffer_.data(), 1, buffer_.size(), file_) == buffer_.size();
        buffer_.clear();
    }

    std::FILE* file_;
    std::string buffer_;
    bool ok_ = true;
};

// The size of what a column counts: mostly small pieces, some money in cents, now and then a large amount.
// All stay small enough for sums in doubles to be exact, since some peers add up that way.
std::int64_t amount(Random& random, std::uint32_t column) {
    static constexpr std::uint32_t ranges[] = {100, 500'000, 2'000'000, 1'000, 3'000'000, 1'000'000};
    const std::int64_t value = random.below(ranges[column % std::size(ranges)]);
    return random.below(20) == 0 ? -value : value;
}

constexpr std::string_view regions[] = {
    "eu-north",    "eu-central",   "eu-west",  "eu-south", "us-east",   "us-west",    "us-central",
    "ca-atlantic", "ca-pacific",   "mx-north", "br-south", "br-east",   "za-cape",    "ke-nairobi",
    "in-mumbai",   "in-hyderabad", "jp-tokyo", "jp-osaka", "au-sydney", "nz-auckland"};
constexpr std::uint32_t products = 50;

// 20 regions by 50 products. With quotes, every third product has a name that needs them, and the row then
// quotes one of its numbers as well.
void write_low_row(Output& out, Random& random, std::uint32_t numbers, bool with_quotes) {
    const std::uint32_t product = random.below(products);
    const bool quoted = with_quotes && product % 3 == 0;
    out << regions[random.below(std::size(regions))] << (quoted ? ",\"desk, 24\"\" oak " : ",sku-");
    out.number(product, 4);
    out << (quoted ? "\"" : "");
    for (std::uint32_t column = 0; column < numbers; ++column) {
        const bool in_quotes = quoted && column == 2;
        out << (in_quotes ? ",\"" : ",");
        out.number(amount(random, column));
        out << (in_quotes ? "\"" : "");
    }
    out.row_done();
}

// 65,000 accounts on 30 days are 1,950,000 possible groups, of which 4,000,000 draws hit about 1,700,000.
void write_high_row(Output& out, Random& random) {
    out << "acct-";
    out.number(10'000'000 + random.below(65'000) * 977, 8);
    out << ",2024-06-";
    out.number(1 + random.below(30), 2);
    for (std::uint32_t column = 0; column < 3; ++column) {
        out << ",";
        out.number(amount(random, column));
    }
    out.row_done();
}

struct Shape {
    std::string_view name;
    std::uint32_t rows;
    void (*write_row)(Output&, Random&);
};
constexpr Shape shapes[] = {
    {"low", 4'000'000, [](Output& out, Random& random) { write_low_row(out, random, 6, false); }},
    {"high", 4'000'000, write_high_row},
    {"quoted", 4'000'000, [](Output& out, Random& random) { write_low_row(out, random, 6, true); }},
    {"wide", 600'000, [](Output& out, Random& random) { write_low_row(out, random, 40, false); }},
};

const Shape* find_shape(std::string_view name) {
    for (const Shape& shape : shapes) {
        if (shape.name == name) {
            return &shape;
        }
    }
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    const Shape* shape = argc == 3 ? find_shape(argv[1]) : nullptr;
    if (shape == nullptr) {
        std::fputs("usage: merge_generate low|high|quoted|wide FILE\n", stderr);
        return 2;
    }
    Output out(argv[2]);
    Random random(20240601);
    for (std::uint32_t row = 0; out.ok() && row < shape->rows; ++row) {
        shape->write_row(out, random);
    }
    if (!out.ok() || !out.close()) {
        std::fprintf(stderr, "%s: %s\n", argv[2], std::strerror(errno));
        return 1;
    }
    return 0;
}
