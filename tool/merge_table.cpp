// An ordered tree of keys by their bytes: a radix tree whose nodes are as large as they need to be.
//
// A node compares one byte of the key, the one at its depth, and has a child for each value that occurs
// there. A stretch of bytes that all keys below a node share is skipped: the node below it names a larger
// depth. So a look-up compares no keys on its way down; the one group that it arrives at is compared
// once, whole. With the keys "ab 1 ", "ab 2 ", "ac 1 " the tree is
//
//     depth 1: b -> depth 3: 1 -> "ab 1 "
//              |             2 -> "ab 2 "
//              c -> "ac 1 "
//
// and "ax 9 " finds no child at depth 1, while "zb 1 " arrives at "ab 1 " and is told apart there. A key that
// ends at a node's depth goes to the node's `end`, which comes before all children.
//
// Nodes come in three kinds. Those with room for 4 or 16 children keep their bytes, unordered, in one 16-byte
// word and find a byte by comparing all at once. A window has a child or none for each of 16, 32, 64, 128 or
// 256 bytes that follow each other, so the place of a byte is known without a search: ten digits lie in a
// window of 16, 144 bytes large. A node that is full, or whose window does not reach a byte, is exchanged for
// the smallest that does; few bytes that lie far apart stay in a node that searches, so a new
// window takes at most 122 bytes a child. The old node's memory stays unused. Only while the table fits the
// cache are nodes windows from the start, of up to 32 bytes, however few children they have.
//
// A look-up costs one node per byte that tells keys apart. In a large table each of them is a cache miss, so
// `Find` takes many keys at once and moves each down by one level in turn: while one waits for memory the
// others go on. No look-up is as deep as the machine's stack, and no walk recurses: keys decide how deep a
// tree is.

#include "merge_table.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <numeric>
#include <vector>

namespace tallycsv {
namespace {

constexpr std::size_t SMALL_ROOM = 4;
constexpr std::size_t MOST_SEARCHED = 16;
/// A table of up to this size is looked up without asking for its memory ahead.
constexpr std::size_t IN_CACHE = std::size_t{384} << 10;

}  // namespace

struct CMergeTable::node {
    std::uint32_t depth;  ///< which byte of the key the children differ in
    std::uint8_t mask;    ///< bytes that a window reaches, less one; 0 in nodes that search
    std::uint8_t low;     ///< the first byte of a window, a multiple of its size
    std::uint8_t count;   ///< children, in nodes that search
    link end;             ///< the group whose key ends at `depth`

    bool is_window() const { return mask != 0; }
    bool reaches(std::uint8_t byte) const { return (byte & ~mask) == low; }
};

/// Searches. The larger size has more than four children, so `count` tells when either is full. Places that
/// are not taken repeat the first byte: it is found before them.
struct CMergeTable::small_node : node {
    std::uint8_t bytes[MOST_SEARCHED];
    link* children() { return reinterpret_cast<link*>(this + 1); }
    const link* children() const { return reinterpret_cast<const link*>(this + 1); }
    bool is_full() const { return count == SMALL_ROOM || count == MOST_SEARCHED; }
};

struct CMergeTable::window_node : node {
    link* children() { return reinterpret_cast<link*>(this + 1); }
    const link* children() const { return reinterpret_cast<const link*>(this + 1); }
    link& child(std::uint8_t byte) { return children()[byte & mask]; }
};

namespace {

constexpr int KEY_ENDS = -1;

/// What a node at `depth` compares of a key: a byte, or that the key ends there.
int byte_at(const char* bytes, std::uint32_t size, std::uint32_t depth) {
    return depth < size ? static_cast<unsigned char>(bytes[depth]) : KEY_ENDS;
}

}  // namespace

/// Where the link of the child that `key` goes to stands in a node; null if there is none.
inline CMergeTable::link* CMergeTable::_SlotOf(node* parent, const merge_key& key) {
    if (parent->depth >= key.size) return &parent->end;
    const auto byte = static_cast<std::uint8_t>(key.bytes[parent->depth]);
    if (parent->is_window())
        return parent->reaches(byte) ? &static_cast<window_node*>(parent)->child(byte) : nullptr;
    auto* const n = static_cast<small_node*>(parent);
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(n->bytes));
    const __m128i same = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(byte)));
    const auto hits = static_cast<std::uint32_t>(_mm_movemask_epi8(same));
    return hits == 0 ? nullptr : n->children() + std::countr_zero(hits);
}

/// Some child of a node. All groups below it share the bytes before the node's depth.
CMergeTable::link CMergeTable::_AnyChild(node* parent) {
    if (parent->end != 0) return parent->end;
    if (!parent->is_window()) return static_cast<small_node*>(parent)->children()[0];
    const link* const children = static_cast<window_node*>(parent)->children();
    return *std::find_if(children, children + parent->mask + 1, [](link child) { return child != 0; });
}

/// Where `key` goes on to. One that is missing goes to some neighbour, which `FindOrInsert` is going to visit;
/// so a window takes a byte that it does not reach for one that it does.
inline CMergeTable::link CMergeTable::_Step(node* parent, const merge_key& key) {
    link child = 0;
    if (parent->depth < key.size && parent->is_window()) {
        const auto byte = static_cast<std::uint8_t>(key.bytes[parent->depth]);
        child = static_cast<window_node*>(parent)->child(byte);
    } else if (const link* const slot = _SlotOf(parent, key)) {
        child = *slot;
    }
    return child != 0 ? child : _AnyChild(parent);
}

/// Asks for the memory of what `to` links to: a small node's bytes and children, or a group with its key.
inline void CMergeTable::_Prefetch(link to) {
    const char* const bytes = reinterpret_cast<const char*>(to & ~link{1});
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
}

inline bool CMergeTable::_Matches(const merge_key& key, const merge_group& group) const {
    if (key.size != group.key_size) return false;
    const char* const other = group.key_bytes(m_key_columns);
    const auto same = [&](std::uint32_t offset) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(key.bytes + offset));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(other + offset));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, b)));
    };
    static_assert(Orlo::csv_rows_view::readable_after >= 32);
    for (std::uint32_t offset = 0; offset < key.size; offset += 32) {
        const std::uint32_t differ = ~(same(offset) | same(offset + 16) << 16);
        if (differ != 0) return static_cast<std::uint32_t>(std::countr_zero(differ)) + offset >= key.size;
    }
    return true;
}

bool CMergeTable::_IsInCache() const {
    return m_arena.GetSize() <= IN_CACHE;
}

void CMergeTable::Find(std::span<merge_key> keys) const {
    _IsInCache() ? _Find<true>(keys) : _Find<false>(keys);
}

template <bool InCache>
void CMergeTable::_Find(std::span<merge_key> keys) const {
    constexpr std::size_t in_flight = 64;
    link reached[in_flight];
    for (std::span<merge_key> now; !keys.empty(); keys = keys.subspan(now.size())) {
        now = keys.first(std::min(keys.size(), in_flight));
        std::fill_n(reached, now.size(), m_root);
        // the keys on their way, a bit each
        std::uint64_t walking =
            m_root == 0 || _IsGroup(m_root) ? 0 : ~std::uint64_t{0} >> (in_flight - now.size());
        while (walking != 0) {
            for (std::uint64_t left = walking; left != 0; left &= left - 1) {
                const auto i = static_cast<unsigned>(std::countr_zero(left));
                const link next = _Step(_NodeOf(reached[i]), now[i]);
                if constexpr (!InCache) _Prefetch(next);
                reached[i] = next;
                walking ^= std::uint64_t{_IsGroup(next)} << i;
            }
        }
        for (std::size_t i = 0; i < now.size(); ++i)
            now[i].group =
                reached[i] != 0 && _Matches(now[i], *_GroupOf(reached[i])) ? _GroupOf(reached[i]) : nullptr;
    }
}

merge_group* CMergeTable::FindOrInsert(const merge_key& key) {
    merge_group* nearest = nullptr;
    if (m_root != 0) {
        link reached = m_root;
        while (!_IsGroup(reached))
            reached = _Step(_NodeOf(reached), key);
        nearest = _GroupOf(reached);
        if (_Matches(key, *nearest)) return nearest;
    }
    merge_group* const group = _NewGroup(key);
    const link added = reinterpret_cast<link>(group) + 1;
    if (nearest == nullptr) {
        m_root = added;
    } else {
        _Insert(key, *nearest, added);
    }
    return group;
}

/// Puts `added` where `key` first differs from `nearest`, the group that it arrived at: all nodes above that
/// byte are on the way of both.
void CMergeTable::_Insert(const merge_key& key, const merge_group& nearest, link added) {
    const char* const other = nearest.key_bytes(m_key_columns);
    const std::uint32_t common = std::min(key.size, nearest.key_size);
    const auto depth =
        static_cast<std::uint32_t>(std::mismatch(key.bytes, key.bytes + common, other).first - key.bytes);

    link* slot = &m_root;
    while (!_IsGroup(*slot) && _NodeOf(*slot)->depth < depth)
        slot = _SlotOf(_NodeOf(*slot), key);
    if (_IsGroup(*slot) || _NodeOf(*slot)->depth != depth) {
        const int one = byte_at(other, nearest.key_size, depth);
        const int two = byte_at(key.bytes, key.size, depth);
        const int lowest = one == KEY_ENDS || two == KEY_ENDS ? std::max(one, two) : std::min(one, two);
        node* const fork = _NewNode(depth, 2, static_cast<std::uint8_t>(lowest),
                                    static_cast<std::uint8_t>(std::max(one, two)));
        link fork_link = reinterpret_cast<link>(fork);
        _AddChild(&fork_link, one, *slot);
        *slot = fork_link;
    }
    _AddChild(slot, byte_at(key.bytes, key.size, depth), added);
}

/// Gives the node at `slot` a child for `byte`, which it has none for yet; exchanges the node if it has no
/// room.
void CMergeTable::_AddChild(link* slot, int byte, link child) {
    node* parent = _NodeOf(*slot);
    if (byte == KEY_ENDS) {
        parent->end = child;
        return;
    }
    const auto key = static_cast<std::uint8_t>(byte);
    const auto has_room = [key](const node* n) {
        return n->is_window() ? n->reaches(key) : !static_cast<const small_node*>(n)->is_full();
    };
    if (!has_room(parent)) {
        parent = _Enlarge(parent, key);
        *slot = reinterpret_cast<link>(parent);
    }
    _PutChild(parent, key, child);
}

void CMergeTable::_PutChild(node* parent, std::uint8_t byte, link child) {
    if (parent->is_window()) {
        static_cast<window_node*>(parent)->child(byte) = child;
        return;
    }
    auto* const n = static_cast<small_node*>(parent);
    if (n->count == 0) std::memset(n->bytes, byte, sizeof n->bytes);
    n->bytes[n->count] = byte;
    n->children()[n->count++] = child;
}

/// The children of a node with their bytes: in order in a window, unordered in one that searches.
template <class Visit>
void CMergeTable::_ForEachChild(const node* parent, Visit visit) {
    if (!parent->is_window()) {
        const auto* const n = static_cast<const small_node*>(parent);
        for (std::size_t i = 0; i < n->count; ++i)
            visit(n->bytes[i], n->children()[i]);
        return;
    }
    const link* const children = static_cast<const window_node*>(parent)->children();
    for (std::size_t i = 0; i <= parent->mask; ++i) {
        if (children[i] != 0) visit(static_cast<std::uint8_t>(parent->low + i), children[i]);
    }
}

/// The same node, with room for `byte`.
CMergeTable::node* CMergeTable::_Enlarge(const node* full, std::uint8_t byte) {
    std::size_t count = 1;
    std::uint8_t lowest = byte;
    std::uint8_t highest = byte;
    _ForEachChild(full, [&](std::uint8_t b, link) {
        ++count;
        lowest = std::min(lowest, b);
        highest = std::max(highest, b);
    });
    node* const larger = _NewNode(full->depth, count, lowest, highest);
    _ForEachChild(full, [&](std::uint8_t b, link child) { _PutChild(larger, b, child); });
    larger->end = full->end;
    return larger;
}

/// A node for `count` children with bytes from `lowest` to `highest`.
CMergeTable::node* CMergeTable::_NewNode(std::uint32_t depth, std::size_t count, std::uint8_t lowest,
                                         std::uint8_t highest) {
    std::size_t window = 16;
    while (lowest / window != highest / window)
        window *= 2;
    const bool as_window = count > MOST_SEARCHED || (_IsInCache() && window <= 32) ||
                           (count > SMALL_ROOM && window <= 4 * count);
    const std::size_t room = as_window ? window : count <= SMALL_ROOM ? SMALL_ROOM : MOST_SEARCHED;
    const std::size_t size = (as_window ? sizeof(window_node) : sizeof(small_node)) + room * sizeof(link);
    auto* const made = static_cast<node*>(std::memset(m_arena.Allocate(size), 0, size));
    made->depth = depth;
    if (as_window) {
        made->mask = static_cast<std::uint8_t>(window - 1);
        made->low = static_cast<std::uint8_t>(lowest - lowest % window);
    }
    return made;
}

/// A group in one piece: head, sizes of cells, key, and at the end, aligned, the sums. The sums move when the
/// group is widened.
merge_group* CMergeTable::_NewGroup(const merge_key& key) {
    const std::size_t sizes = (m_key_columns - 1) * sizeof(std::uint32_t);
    const std::size_t head = (sizeof(merge_group) + sizes + key.size + 7) & ~std::size_t{7};
    const std::size_t sums = key.sum_cells * sizeof(std::int64_t);
    auto* const piece = static_cast<char*>(m_arena.Allocate(head + sums));
    auto* const group = new (piece) merge_group{};
    group->sums = reinterpret_cast<std::int64_t*>(piece + head);
    std::memset(group->sums, 0, sums);
    group->sum_count = key.sum_cells;
    group->key_size = key.size;
    auto* const cell_sizes = reinterpret_cast<std::uint32_t*>(group + 1);
    for (std::uint32_t i = 0; i + 1 < m_key_columns; ++i)
        cell_sizes[i] = static_cast<std::uint32_t>(key.cells[i].length());
    std::copy_n(key.bytes, key.size, const_cast<char*>(group->key_bytes(m_key_columns)));
    return group;
}

void CMergeTable::Widen(merge_group* group, std::uint32_t sum_count) {
    assert(sum_count > group->sum_count);
    auto* const sums = static_cast<std::int64_t*>(m_arena.Allocate(sum_count * sizeof(std::int64_t)));
    std::fill(std::copy_n(group->sums, group->sum_count, sums), sums + sum_count, 0);
    group->sums = sums;
    group->sum_count = sum_count;
}

/// Appends the links of a node's children so that the first in order is the last on the stack.
void CMergeTable::_PushChildren(const node* parent, std::vector<link>& stack) const {
    const std::size_t first = stack.size();
    if (!parent->is_window()) {
        const auto* const n = static_cast<const small_node*>(parent);
        std::uint8_t order[MOST_SEARCHED];
        std::iota(order, order + n->count, std::uint8_t{0});
        std::sort(order, order + n->count,
                  [n](std::uint8_t a, std::uint8_t b) { return n->bytes[a] > n->bytes[b]; });
        for (std::uint8_t i = 0; i < n->count; ++i)
            stack.push_back(n->children()[order[i]]);
    } else {
        const link* const children = static_cast<const window_node*>(parent)->children();
        for (std::size_t i = parent->mask + std::size_t{1}; i-- != 0;) {
            if (children[i] != 0) stack.push_back(children[i]);
        }
    }
    for (std::size_t i = first; i < stack.size(); ++i)
        _Prefetch(stack[i]);
    if (parent->end != 0) stack.push_back(parent->end);
}

/// Groups lie in memory in the order in which they came, so each visit in key order is a cache miss. A group
/// is asked for when the walk meets it and visited a few dozen groups later.
void CMergeTable::ForEach(const std::function<void(const merge_group&)>& visit) const {
    constexpr std::size_t ahead = 32;
    const merge_group* asked[ahead];
    std::size_t met = 0;
    std::vector<link> stack;
    if (m_root != 0) stack.push_back(m_root);
    while (!stack.empty()) {
        const link next = stack.back();
        stack.pop_back();
        if (!_IsGroup(next)) {
            _PushChildren(_NodeOf(next), stack);
            continue;
        }
        _Prefetch(next);
        if (met >= ahead) visit(*asked[met % ahead]);
        asked[met++ % ahead] = _GroupOf(next);
    }
    for (std::size_t i = met - std::min(met, ahead); i < met; ++i)
        visit(*asked[i % ahead]);
}

}  // namespace tallycsv
