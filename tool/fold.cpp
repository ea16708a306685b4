#include "fold.h"

namespace tallycsv {

void CFold::AddRow(const Orlo::csv_row_view& row) {
    if (row.size() < key_columns_) return;
    max_columns_ = std::max(max_columns_, static_cast<std::uint32_t>(row.size()));
    std::string key;
    for (std::size_t i = 0; i < key_columns_; ++i)
        key.append(row[i]).append(" ");
    auto [at, added] = groups_.try_emplace(key);
    group& g = at->second;
    if (added) {
        for (std::size_t i = 0; i < key_columns_; ++i)
            g.key_cells.emplace_back(row[i]);
    }
    if (g.sums.size() < row.size() - key_columns_) g.sums.resize(row.size() - key_columns_);
    for (std::size_t j = key_columns_; j < row.size(); ++j) {
        const Orlo::stringEx cell = Orlo::stringEx::borrow(row[j]);
        g.sums[j - key_columns_] =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(g.sums[j - key_columns_]) +
                                      static_cast<std::uint64_t>(Orlo::parse_int64(cell)));
    }
}

void CFold::ForEachGroup(const std::function<void(const group_view&)>& visit) {
    for (const auto& [key, g] : groups_) {
        std::vector<std::string_view> cells(g.key_cells.begin(), g.key_cells.end());
        visit({cells, g.sums});
    }
}

}  // namespace tallycsv
