#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "arena.h"
#include "orlo/rows/row.h"

namespace tallycsv {

/// One group in the table: its key, how the key divides into cells, and its running sums.
struct merge_group {
    std::int64_t* sums;       ///< one for each column after the key that some row of the group reached
    std::uint32_t sum_count;  ///< so many
    std::uint32_t key_size;   ///< bytes of the key

    /// The sizes of all key cells but the last, which follow the group in memory; the key follows them.
    const std::uint32_t* cell_sizes() const { return reinterpret_cast<const std::uint32_t*>(this + 1); }
    const char* key_bytes(std::size_t key_columns) const {
        return reinterpret_cast<const char*>(cell_sizes() + key_columns - 1);
    }
};

/// What a row brings to the table: its key, made of its first cells, and the cells.
struct merge_key {
    const char* bytes;  ///< followed by `csv_rows_view::readable_after` that may be read
    std::uint32_t size;
    std::uint32_t sum_cells;      ///< cells after those of the key
    const Orlo::csv_cell* cells;  ///< of the whole row
    merge_group* group;           ///< what `CMergeTable::Find` found
};

/// The groups of a run, ordered by key: bytes compare unsigned, and a key comes before those that it begins.
/// See merge_table.cpp for how it is made.
class CMergeTable {
public:
    /// Keys are made of `key_columns` (at least 1) cells.
    explicit CMergeTable(std::uint32_t key_columns) : m_key_columns(key_columns) {}
    CMergeTable(const CMergeTable&) = delete;
    CMergeTable& operator=(const CMergeTable&) = delete;

    /// Looks all `keys` up together, so that their cache misses overlap. The `group` of those that are not in
    /// the table becomes null.
    void Find(std::span<merge_key> keys) const;

    /// The group of `key`, which is made if there is none, with a sum of 0 for each of the key's `sum_cells`.
    merge_group* FindOrInsert(const merge_key& key);

    /// Makes room for `sum_count` sums, more than the group has; the new ones are 0.
    void Widen(merge_group* group, std::uint32_t sum_count);

    /// Visits all groups in the order of their keys.
    void ForEach(const std::function<void(const merge_group&)>& visit) const;

private:
    struct node;
    struct small_node;
    struct window_node;
    /// A node, or a group if the lowest bit is set; 0 for none.
    using link = std::uintptr_t;

    static bool _IsGroup(link to) { return (to & 1) != 0; }
    static merge_group* _GroupOf(link to) { return reinterpret_cast<merge_group*>(to - 1); }
    static node* _NodeOf(link to) { return reinterpret_cast<node*>(to); }
    static link* _SlotOf(node* parent, const merge_key& key);
    static link _AnyChild(node* parent);
    static link _Step(node* parent, const merge_key& key);
    static void _Prefetch(link to);
    static void _PutChild(node* parent, std::uint8_t byte, link child);
    template <class Visit>
    static void _ForEachChild(const node* parent, Visit visit);

    template <bool InCache>
    void _Find(std::span<merge_key> keys) const;
    bool _IsInCache() const;
    node* _NewNode(std::uint32_t depth, std::size_t count, std::uint8_t lowest, std::uint8_t highest);
    merge_group* _NewGroup(const merge_key& key);
    bool _Matches(const merge_key& key, const merge_group& group) const;
    void _Insert(const merge_key& key, const merge_group& nearest, link added);
    void _AddChild(link* slot, int byte, link child);
    node* _Enlarge(const node* full, std::uint8_t byte);
    void _PushChildren(const node* parent, std::vector<link>& stack) const;

    std::uint32_t m_key_columns;
    link m_root = 0;
    CArena m_arena;
};

}  // namespace tallycsv
