// What a run adds up, against the obvious way: keep every row, sort the groups, add up at the end.

#include "fold.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
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
struct merged {
    std::string text;
    std::int64_t total = 0;

    bool operator==(const merged&) const = default;
};

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
    Orlo::row_cells row;
    while (parser.GetNextRow(row)) {
        if (row.size() < key_columns) continue;
        max_columns = std::max(max_columns, row.size());
        std::string key;
        for (std::size_t i = 0; i < key_columns; ++i)
            key.append(row[i].view()).append(" ");
        groups[key].push_back(row);
    }
    merged result;
    Orlo::byteEx output;
    Orlo::CCsvWriter writer;
    writer.Attach(output);
    std::uint64_t total = 0;
    for (const auto& [key, rows] : groups) {
        Orlo::row_cells cells(rows[0].begin(), rows[0].begin() + key_columns);
        for (std::size_t j = key_columns; j < max_columns; ++j) {
            std::uint64_t sum = 0;
            for (const Orlo::row_cells& r : rows) {
                if (j < r.size()) sum += static_cast<std::uint64_t>(Orlo::parse_int64(r[j]));
            }
            cells.emplace_back().append_number(static_cast<std::int64_t>(sum));
            if (j == stat_column) total += sum;
        }
        writer.WriteRow(cells);
    }
    return {{output.begin(), output.end()}, static_cast<std::int64_t>(total)};
}

TEST(Fold, AgreesWithTheObviousWayOnRandomInputs) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::string_view key_cells[] = {"a", "a b", "b",    "",     "\"q, \"\"1\"\"\"",
                                          "A", "b c", "\xFF", "\x01", "long key cell of many bytes"};
    const std::string_view number_cells[] = {"1",
                                             "-7",
                                             "",
                                             "12abc",
                                             " 5",
                                             "9223372036854775807",
                                             "-9223372036854775808",
                                             "99999999999999999999",
                                             "+3",
                                             "-",
                                             "1.9",
                                             "00012",
                                             "12345678",
                                             "-1234567",
                                             "123456789",
                                             "\"4\"",
                                             "0123456789012345"};
    for (int round = 0; round < 300; ++round) {
        std::string input;
        for (std::size_t rows = random() % 300; rows != 0; --rows) {
            std::string row;
            for (std::size_t cells = random() % 9; cells != 0; --cells) {
                const bool key = random() % 3 == 0;
                row += key ? key_cells[random() % std::size(key_cells)]
                           : number_cells[random() % std::size(number_cells)];
                if (random() % 8 == 0 && !row.empty() && row.back() != '"')
                    row += std::to_string(random() % 100);
                row += ',';
            }
            input += row + "\r\n";
        }
        const std::uint32_t key_columns = 1 + random() % 4;
        const std::uint64_t stat_column = random() % 8;
        ASSERT_EQ(fold_while_reading(bytes_of(input), key_columns, stat_column),
                  fold_obviously(bytes_of(input), key_columns, stat_column))
            << input;
    }
}

// More groups than any node has room for, in rows that grow wider.
TEST(Fold, AgreesOnManyGroups) {
    std::mt19937 random(4711);
    std::string input;
    for (int i = 0; i < 30000; ++i) {
        input += std::to_string(random() % 7000) + ',' + static_cast<char>(128 + random() % 128);
        for (int cells = i / 3000; cells >= 0; --cells)
            input += "," + std::to_string(random() % 1000000);
        input += "\r\n";
    }
    ASSERT_EQ(fold_while_reading(bytes_of(input), 2, 3), fold_obviously(bytes_of(input), 2, 3));
}

/// A key of one cell with one sum. `text` must have what a key needs behind it.
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
        const auto [at, added] = expected.try_emplace(key, group);
        ASSERT_EQ(at->second, group) << key;
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
        const auto at = expected.find({probe.bytes, probe.size});
        ASSERT_EQ(probe.group, at == expected.end() ? nullptr : at->second)
            << std::string(probe.bytes, probe.size);
    }
    auto next = expected.begin();
    table.ForEach([&](const merge_group& group) {
        ASSERT_NE(next, expected.end());
        ASSERT_EQ(std::string(group.key_bytes(1), group.key_size), next->first);
        ++next;
    });
    EXPECT_EQ(next, expected.end());
}

TEST(MergeTable, KeepsKeysOfEveryShapeInOrder) {
    check_table({});
    check_table({""});
    check_table({"b ", "a ", "", "a", "ab", std::string("\0", 1), std::string("a\0", 2), "\xFF\xFF", "\xFF"});

    std::vector<std::string> nested;
    for (std::size_t length = 0; length < 3000; ++length)
        nested.push_back(std::string(length * 7919 % 3000, 'x'));
    check_table(nested);  // each key begins all longer ones: a tree as deep as the keys are long

    std::vector<std::string> all_bytes;
    for (int i = 0; i < 512; ++i)
        all_bytes.push_back(std::string("p") + static_cast<char>(i * 73) + (i < 256 ? "" : "q"));
    check_table(all_bytes);  // one node through all its sizes

    std::vector<std::string> spread;  // enough that the table leaves the cache; bytes far apart and close
    for (std::uint32_t i = 0; i < 20000; ++i) {
        const std::uint32_t mixed = i * 2654435761u;
        spread.push_back(std::to_string(mixed % 100000) + "-\x01\xFF@ az"[mixed >> 29] + std::to_string(i));
    }
    check_table(spread);

    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 40; ++round) {
        std::vector<std::string> keys(1 + random() % 2000);
        const int letters = 1 + static_cast<int>(random() % (round % 2 == 0 ? 3 : 256));
        for (std::string& key : keys) {
            key = std::string(random() % 3 * 40, 'c');
            for (std::size_t n = random() % 12; n != 0; --n)
                key += static_cast<char>(random() % static_cast<unsigned>(letters));
        }
        check_table(keys);
    }
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
        ASSERT_EQ(row.size(), cells + 1);
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
