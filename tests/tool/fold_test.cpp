// What a run adds up, against the obvious way: keep every row, sort the groups, add up at the end.

#include "fold.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>
#include <string>

#include "merge_table.h"
#include "number_cells.h"
#include "orlo/rows/csv_parser.h"
#include "orlo/rows/csv_writer.h"
#include "output.h"

namespace tallycsv {
namespace {

Orlo::byteEx bytes_of(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// The merged file, and the sum of one column over all groups.
using merged = std::pair<std::string, std::int64_t>;

merged fold_while_reading(Orlo::byteEx input, std::uint32_t key_columns, std::uint64_t stat_column) {
    Orlo::CCsvParser parser;
    parser.Attach(input);
    CFold fold(key_columns);
    Orlo::csv_rows_view rows;
    while (parser.GetNextRows(rows))
        fold.AddRows(rows);

    Orlo::byteEx output;
    Orlo::CCsvWriter writer;
    writer.Attach(output);
    const std::int64_t total = write_groups(fold, writer, stat_column);
    return {{output.begin(), output.end()}, total};
}

merged fold_obviously(Orlo::byteEx input, std::uint32_t key_columns, std::uint64_t stat_column) {
    Orlo::CCsvParser parser;
    parser.Attach(input);
    std::map<std::string, std::vector<Orlo::row_cells>> groups;
    std::size_t max_columns = 0;
    for (Orlo::row_cells row; parser.GetNextRow(row);) {
        if (row.size() < key_columns) continue;
        max_columns = std::max(max_columns, row.size());
        std::string key;
        for (std::size_t i = 0; i < key_columns; ++i)
            key.append(row[i].view()).append(" ");
        groups[key].push_back(row);
    }
    Orlo::byteEx output;
    Orlo::CCsvWriter writer;
    writer.Attach(output);
    std::uint64_t total = 0;
    for (const auto& [key, rows] : groups) {
        Orlo::row_cells cells(rows[0].begin(), rows[0].begin() + key_columns);
        for (std::size_t j = key_columns; j < max_columns; ++j) {
            std::uint64_t sum = 0;
            for (const Orlo::row_cells& row : rows)
                sum += j < row.size() ? static_cast<std::uint64_t>(Orlo::parse_int64(row[j])) : 0;
            cells.emplace_back().append_number(static_cast<std::int64_t>(sum));
            if (j == stat_column) total += sum;
        }
        writer.WriteRow(cells);
    }
    return {{output.begin(), output.end()}, static_cast<std::int64_t>(total)};
}

void expect_agreement(const std::string& input, std::uint32_t key_columns, std::uint64_t stat_column) {
    ASSERT_EQ(fold_while_reading(bytes_of(input), key_columns, stat_column),
              fold_obviously(bytes_of(input), key_columns, stat_column));
}

TEST(Fold, AgreesWithTheObviousWayOnRandomInputs) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<std::string> kinds;
    std::istringstream words(
        "a|a b|b||\"q, \"\"1\"\"\"|A|\xFF|\x01|long key cell of over thirty-two bytes|1|-7| 5|"
        "12abc|9223372036854775807|-99999999999999999999|0123456789012345");
    for (std::string word; std::getline(words, word, '|');)
        kinds.push_back(word);
    for (int round = 0; round < 300; ++round) {
        std::string input;
        for (std::size_t rows = random() % 300; rows != 0; --rows) {
            for (std::size_t cells = random() % 9; cells != 0; --cells) {
                input += kinds[random() % kinds.size()];
                if (random() % 8 == 0 && !input.ends_with('"')) input += std::to_string(random() % 100);
                input += ',';
            }
            input += "\r\n";
        }
        expect_agreement(input, 1 + random() % 4, random() % 8);
    }
}

// More groups than any node has room for, in rows that grow wider.
TEST(Fold, AgreesOnManyGroups) {
    std::string input;
    for (std::uint32_t i = 0; i < 30000; ++i) {
        const std::uint32_t mixed = i * 2654435761u;
        input += std::to_string(mixed % 7000) + ',' + static_cast<char>(128 + mixed % 128);
        for (std::uint32_t cells = 0; cells <= i / 3000; ++cells)
            input += "," + std::to_string(mixed % 1000003);
        input += "\r\n";
    }
    expect_agreement(input, 2, 3);
}

/// A key of one cell with one sum. `text` is followed by what may be read after a key.
merge_key key_of(std::string_view text) {
    static const Orlo::csv_cell cells[1] = {};
    return {text.data(), static_cast<std::uint32_t>(text.size()), 1, cells, nullptr};
}

/// Puts `keys` into a table in their order and checks look-ups and the visit against an ordered map.
void check_table(const std::vector<std::string>& keys) {
    const std::string padding(Orlo::csv_rows_view::readable_after, '#');
    CMergeTable table(1);
    std::map<std::string, merge_group*> expected;
    for (const std::string& key : keys) {
        const std::string padded = key + padding;
        merge_group* const group = table.FindOrInsert(key_of(std::string_view(padded).substr(0, key.size())));
        const auto [known, added] = expected.try_emplace(key, group);
        ASSERT_EQ(known->second, group) << key;
        ASSERT_EQ(group->sums[0]++ == 0, added) << key;
    }
    std::vector<std::string> texts;
    for (const std::string& key : keys)
        texts.insert(texts.end(), {key + padding, key + "?" + padding});
    std::vector<merge_key> probes;
    for (const std::string& text : texts)
        probes.push_back(key_of(std::string_view(text).substr(0, text.size() - padding.size())));
    table.Find(probes);
    for (const merge_key& probe : probes) {
        const auto known = expected.find({probe.bytes, probe.size});
        ASSERT_EQ(probe.group, known == expected.end() ? nullptr : known->second);
    }
    auto next = expected.begin();
    table.ForEach([&](const merge_group& group) {
        ASSERT_NE(next, expected.end());
        ASSERT_EQ(std::string(group.key_bytes(1), group.key_size), (next++)->first);
    });
    EXPECT_EQ(next, expected.end());
}

TEST(MergeTable, KeepsKeysOfEveryShapeInOrder) {
    check_table({});
    check_table({""});
    check_table({"b ", "a ", "", "a", "ab", std::string("\0", 1), std::string("a\0", 2), "\xFF\xFF", "\xFF"});

    std::vector<std::string> nested, all_bytes, spread;
    for (std::size_t length = 0; length < 3000; ++length)
        nested.push_back(std::string(length * 7919 % 3000, 'x'));
    check_table(nested);  // each key begins all longer ones: a tree as deep as the keys are long
    for (int i = 0; i < 512; ++i)
        all_bytes.push_back(std::string("p") + static_cast<char>(i * 73) + (i < 256 ? "" : "q"));
    check_table(all_bytes);  // one node through all its sizes
    for (std::uint32_t i = 0; i < 20000; ++i) {
        const std::uint32_t mixed = i * 2654435761u;
        spread.push_back(std::to_string(mixed % 100000) + "-\x01\xFF@ az"[mixed >> 29] + std::to_string(i));
    }
    check_table(spread);  // enough that the table leaves the cache; bytes far apart and close
}

// Each way to read numbers against the library's parser, on cells of every length and kind side by side.
TEST(NumberCells, AgreeWithTheNumberParser) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 20000; ++round) {
        std::string input = "key";
        const std::size_t cells = random() % 11;
        for (std::size_t i = 0; i < cells; ++i) {
            input += ',';
            if (random() % 3 == 0) input += "- +"[random() % 3];
            for (std::size_t n = random() % (round % 4 == 0 ? 22 : 9); n != 0; --n)
                input += static_cast<char>('0' + random() % 10);
            if (random() % 16 == 0) input += "/:x.-\t"[random() % 6];
        }
        Orlo::byteEx bytes = bytes_of(input);
        Orlo::CCsvParser parser;
        parser.Attach(bytes);
        Orlo::csv_rows_view rows;
        ASSERT_TRUE(parser.GetNextRows(rows));
        const Orlo::csv_row_view row = rows[0];
        for (const auto way : {number_cells::add_one_by_one, number_cells::add_by_fours, add_numbers}) {
            if (way == number_cells::add_by_fours && !__builtin_cpu_supports("avx2")) continue;
            std::vector<std::int64_t> sums(cells, INT64_MAX);
            merge_group group{sums.data(), static_cast<std::uint32_t>(cells), 0};
            const merge_key key{nullptr, 0, group.sum_count, row.cells().data(), &group};
            way({&key, 1}, row.base(), 1);
            for (std::size_t i = 0; i < cells; ++i) {
                const std::int64_t number = Orlo::parse_int64(Orlo::stringEx(row[i + 1]));
                ASSERT_EQ(static_cast<std::uint64_t>(sums[i]), INT64_MAX + static_cast<std::uint64_t>(number))
                    << row[i + 1];
            }
        }
    }
}

}  // namespace
}  // namespace tallycsv
