#include "output.h"

#include <string_view>
#include <vector>

namespace tallycsv {
namespace {

/// Texts of the sums of one group, made anew for each in the same storage.
class sum_texts {
public:
    explicit sum_texts(std::size_t columns) { text_.reserve_for_write(columns * longest + 1); }

    void clear() { text_.clear(); }
    /// The decimal text of `sum`, valid until `clear`.
    std::string_view add(std::int64_t sum) {
        const std::size_t begin = text_.size();
        text_.append_number(sum);
        return text_.view().substr(begin);
    }

private:
    static constexpr std::size_t longest = 20;  ///< a sign and 19 digits
    Orlo::stringEx text_;
};

}  // namespace

std::int64_t write_groups(CFold& fold, Orlo::CCsvWriter& writer, std::uint64_t stat_column) {
    const std::size_t key_columns = fold.GetKeyColumns();
    const std::size_t columns = fold.GetMaxColumns();
    const bool with_total = stat_column >= key_columns && stat_column < columns;

    std::vector<std::string_view> row(columns);
    sum_texts texts(columns);
    std::uint64_t total = 0;
    fold.ForEachGroup([&](const group_view& group) {
        std::copy(group.key_cells.begin(), group.key_cells.end(), row.begin());
        texts.clear();
        for (std::size_t j = key_columns; j < columns; ++j) {
            const std::size_t at = j - key_columns;
            row[j] = at < group.sums.size() ? texts.add(group.sums[at]) : std::string_view("0");
        }
        writer.WriteRow(row);
        const std::size_t stat = stat_column - key_columns;
        if (with_total && stat < group.sums.size()) total += static_cast<std::uint64_t>(group.sums[stat]);
    });
    return static_cast<std::int64_t>(total);
}

}  // namespace tallycsv
