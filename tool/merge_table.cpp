// An ordered tree of keys by their bytes: a radix tree whose nodes are as large as they need to be.
//
// A node looks at one byte of the key, the one at its depth, and has a child for each value that occurs
// there. A stretch of bytes that all keys below a node share is not looked at: the node below it names a
// larger depth. So a look-up compares no keys on its way down; the one group that it arrives at is compared
// once, whole. With the keys "ab 1 ", "ab 2 ", "ac 1 " the tree is
//
//     depth 1: b -> depth 3: 1 -> "ab 1 "
//              |             2 -> "ab 2 "
//              c -> "ac 1 "
//
// and "ax 9 " finds no child at depth 1, while "zb 1 " arrives at "ab 1 " and is told apart there. A key that
// ends at a node's depth goes to the node's `end`, which comes before all children.
//
// Nodes have room for 4, 16, 48 or 256 children and are exchanged for the next size when full; children of
// the small ones are unordered, and sorted when the groups are visited. The old node's memory stays unused:
// together a quarter of the tree at most.
//
// A look-up costs one node per byte that tells keys apart. In a large table each of them is a cache miss, so
// `Find` takes many keys at once and moves each down by one level in turn: while one waits for memory the
// others go on. No look-up is as deep as the machine's stack, and no walk recurses: keys decide how deep a
// tree is.

#include "merge_table.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <vector>

namespace tallycsv {
namespace {

enum class node_kind : std::uint8_t { four, sixteen, forty_eight, full };

}  // namespace

struct CMergeTable::node {
    std::uint32_t depth;  ///< which byte of the key the children differ in
    node_kind kind;
    std::uint8_t count;  ///< children, in nodes that are not full
    link end;            ///< the group whose key ends at `depth`
};

/// What the two small sizes share, so that one piece of code serves both without asking which it is.
struct CMergeTable::small_node : node {
    std::uint8_t bytes[16];
    link* children() { return reinterpret_cast<link*>(this + 1); }
    const link* children() const { return reinterpret_cast<const link*>(this + 1); }
};

/// One cache line.
struct CMergeTable::node4 : small_node {
    static constexpr node_kind its_kind = node_kind::four;
    static constexpr std::size_t room = 4;
    link its_children[room];
};

struct CMergeTable::node16 : small_node {
    static constexpr node_kind its_kind = node_kind::sixteen;
    static constexpr std::size_t room = 16;
    link its_children[room];
};

struct CMergeTable::node48 : node {
    static constexpr node_kind its_kind = node_kind::forty_eight;
    static constexpr std::size_t room = 48;
    std::uint8_t places[256];  ///< by byte: one more than the place in `children`, 0 for none
    link children[48];
};

struct CMergeTable::node256 : node {
    static constexpr node_kind its_kind = node_kind::full;
    link children[256];
};

namespace {

constexpr int KEY_ENDS = -1;

/// What of `key` a node at `depth` looks at: a byte, or that the key ends there.
int byte_at(const char* bytes, std::uint32_t size, std::uint32_t depth) {
    return depth < size ? static_cast<unsigned char>(bytes[depth]) : KEY_ENDS;
}

}  // namespace

/// Where the link of the child that `key` goes to stands in a node; null if there is none.
inline CMergeTable::link* CMergeTable::slot_of(node* at, const merge_key& key) {
    if (at->depth >= key.size) return &at->end;
    const auto byte = static_cast<std::uint8_t>(key.bytes[at->depth]);
    if (at->kind <= node_kind::sixteen) {
        auto* const n = static_cast<small_node*>(at);
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(n->bytes));
        const __m128i same = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(byte)));
        const auto hits = static_cast<std::uint32_t>(_mm_movemask_epi8(same)) & ((1u << n->count) - 1);
        return hits == 0 ? nullptr : n->children() + std::countr_zero(hits);
    }
    if (at->kind == node_kind::full) return &static_cast<node256*>(at)->children[byte];
    auto* const n = static_cast<node48*>(at);
    return n->places[byte] == 0 ? nullptr : &n->children[n->places[byte] - 1];
}

/// Some child of a node. All groups below it share the bytes in front of the node's depth.
CMergeTable::link CMergeTable::any_child(node* at) {
    if (at->end != 0) return at->end;
    if (at->kind <= node_kind::sixteen) return static_cast<small_node*>(at)->children()[0];
    if (at->kind == node_kind::forty_eight) return static_cast<node48*>(at)->children[0];
    const auto& children = static_cast<node256*>(at)->children;
    return *std::find_if(std::begin(children), std::end(children), [](link child) { return child != 0; });
}

/// Asks for the memory of what `at` links to: a small node's bytes and children, or a group with its key.
inline void CMergeTable::prefetch(link at) {
    const char* const bytes = reinterpret_cast<const char*>(at & ~link{1});
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
}

bool CMergeTable::_Matches(const merge_key& key, const merge_group& group) const {
    return key.size == group.key_size && std::memcmp(key.bytes, group.key_bytes(key_columns_), key.size) == 0;
}

void CMergeTable::Find(std::span<const merge_key> keys, merge_group** found) const {
    constexpr std::size_t in_flight = 64;
    link at[in_flight];
    std::uint32_t active[in_flight];
    for (; !keys.empty(); keys = keys.subspan(std::min(keys.size(), in_flight)), found += in_flight) {
        const std::size_t count = std::min(keys.size(), in_flight);
        std::fill_n(at, count, root_);
        std::size_t left = 0;
        if (root_ != 0 && !is_group(root_)) {
            for (; left < count; ++left)
                active[left] = static_cast<std::uint32_t>(left);
        }
        while (left != 0) {
            std::size_t still = 0;
            for (std::size_t a = 0; a < left; ++a) {
                const std::uint32_t i = active[a];
                node* const n = node_of(at[i]);
                const link* const slot = slot_of(n, keys[i]);
                // a missing key goes on to a neighbour, which `FindOrInsert` is going to look at
                at[i] = slot != nullptr && *slot != 0 ? *slot : any_child(n);
                prefetch(at[i]);
                active[still] = i;
                still += is_group(at[i]) ? 0 : 1;
            }
            left = still;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const bool here = at[i] != 0 && _Matches(keys[i], *group_of(at[i]));
            found[i] = here ? group_of(at[i]) : nullptr;
        }
    }
}

merge_group* CMergeTable::FindOrInsert(const merge_key& key, std::uint32_t columns) {
    merge_group* nearest = nullptr;
    if (root_ != 0) {
        link at = root_;
        while (!is_group(at)) {
            const link* const slot = slot_of(node_of(at), key);
            at = slot != nullptr && *slot != 0 ? *slot : any_child(node_of(at));
        }
        nearest = group_of(at);
        if (_Matches(key, *nearest)) return nearest;
    }
    merge_group* const group = _NewGroup(key, columns);
    const link added = reinterpret_cast<link>(group) + 1;
    if (nearest == nullptr) {
        root_ = added;
    } else {
        _Insert(key, *nearest, added);
    }
    return group;
}

/// Puts `added` where `key` first differs from `nearest`, the group that it arrived at: all nodes above that
/// byte are on the way of both.
void CMergeTable::_Insert(const merge_key& key, const merge_group& nearest, link added) {
    const char* const other = nearest.key_bytes(key_columns_);
    const std::uint32_t common = std::min(key.size, nearest.key_size);
    const auto depth =
        static_cast<std::uint32_t>(std::mismatch(key.bytes, key.bytes + common, other).first - key.bytes);

    link* slot = &root_;
    while (!is_group(*slot) && node_of(*slot)->depth < depth)
        slot = slot_of(node_of(*slot), key);
    if (is_group(*slot) || node_of(*slot)->depth != depth) {
        node4* const fork = _New<node4>(depth);
        link fork_link = reinterpret_cast<link>(fork);
        _AddChild(&fork_link, byte_at(other, nearest.key_size, depth), *slot);
        *slot = fork_link;
    }
    _AddChild(slot, byte_at(key.bytes, key.size, depth), added);
}

/// Gives the node at `slot` a child for `byte`, which it has none for yet; exchanges the node if it is full.
void CMergeTable::_AddChild(link* slot, int byte, link child) {
    node* at = node_of(*slot);
    if (byte == KEY_ENDS) {
        at->end = child;
        return;
    }
    static constexpr std::uint8_t rooms[] = {node4::room, node16::room, node48::room};
    if (at->kind != node_kind::full && at->count == rooms[static_cast<std::size_t>(at->kind)]) {
        at = _Enlarge(at);
        *slot = reinterpret_cast<link>(at);
    }
    const auto key = static_cast<std::uint8_t>(byte);
    switch (at->kind) {
        case node_kind::four:
        case node_kind::sixteen: {
            auto* const n = static_cast<small_node*>(at);
            n->bytes[n->count] = key;
            n->children()[n->count++] = child;
            break;
        }
        case node_kind::forty_eight: {
            auto* const n = static_cast<node48*>(at);
            n->children[n->count++] = child;
            n->places[key] = n->count;
            break;
        }
        case node_kind::full:
            static_cast<node256*>(at)->children[key] = child;
            break;
    }
}

/// The same node with more room.
CMergeTable::node* CMergeTable::_Enlarge(const node* full) {
    node* larger = nullptr;
    switch (full->kind) {
        case node_kind::four: {
            const auto* const from = static_cast<const node4*>(full);
            auto* const to = _New<node16>(full->depth);
            std::copy_n(from->bytes, node4::room, to->bytes);
            std::copy_n(from->its_children, node4::room, to->its_children);
            larger = to;
            break;
        }
        case node_kind::sixteen: {
            const auto* const from = static_cast<const node16*>(full);
            auto* const to = _New<node48>(full->depth);
            std::copy_n(from->its_children, node16::room, to->children);
            for (std::uint8_t i = 0; i < node16::room; ++i)
                to->places[from->bytes[i]] = i + 1;
            larger = to;
            break;
        }
        default: {
            const auto* const from = static_cast<const node48*>(full);
            auto* const to = _New<node256>(full->depth);
            for (std::size_t byte = 0; byte < 256; ++byte) {
                if (from->places[byte] != 0) to->children[byte] = from->children[from->places[byte] - 1];
            }
            larger = to;
            break;
        }
    }
    larger->end = full->end;
    larger->count = full->count;
    return larger;
}

template <class Node>
Node* CMergeTable::_New(std::uint32_t depth) {
    Node* const made = new (arena_.Allocate(sizeof(Node))) Node{};
    made->depth = depth;
    made->kind = Node::its_kind;
    return made;
}

/// A group in one piece: head, sizes of cells, key, and at the end, aligned, the sums. The sums move when the
/// group is widened.
merge_group* CMergeTable::_NewGroup(const merge_key& key, std::uint32_t columns) {
    const std::size_t sizes = (key_columns_ - 1) * sizeof(std::uint32_t);
    const std::size_t head = (sizeof(merge_group) + sizes + key.size + 7) & ~std::size_t{7};
    const std::size_t sums = columns * sizeof(std::int64_t);
    auto* const piece = static_cast<char*>(arena_.Allocate(head + sums));
    auto* const group = new (piece) merge_group{};
    group->sums = reinterpret_cast<std::int64_t*>(piece + head);
    std::memset(group->sums, 0, sums);
    group->columns = columns;
    group->key_size = key.size;
    std::copy_n(key.cell_sizes, key_columns_ - 1, reinterpret_cast<std::uint32_t*>(group + 1));
    std::copy_n(key.bytes, key.size, const_cast<char*>(group->key_bytes(key_columns_)));
    return group;
}

void CMergeTable::Widen(merge_group* group, std::uint32_t columns) {
    auto* const sums = static_cast<std::int64_t*>(arena_.Allocate(columns * sizeof(std::int64_t)));
    std::fill(std::copy_n(group->sums, group->columns, sums), sums + columns, 0);
    group->sums = sums;
    group->columns = columns;
}

/// Appends the links of a node's children so that the first in order is the last on the stack.
void CMergeTable::_PushChildren(const node* at, std::vector<link>& stack) const {
    switch (at->kind) {
        case node_kind::four:
        case node_kind::sixteen: {
            const auto* const n = static_cast<const small_node*>(at);
            std::uint8_t order[node16::room];
            std::iota(order, order + n->count, std::uint8_t{0});
            std::sort(order, order + n->count,
                      [n](std::uint8_t a, std::uint8_t b) { return n->bytes[a] > n->bytes[b]; });
            for (std::uint8_t i = 0; i < n->count; ++i) {
                stack.push_back(n->children()[order[i]]);
                prefetch(stack.back());
            }
            break;
        }
        case node_kind::forty_eight: {
            const auto* const n = static_cast<const node48*>(at);
            for (int byte = 255; byte >= 0; --byte) {
                if (n->places[byte] != 0) stack.push_back(n->children[n->places[byte] - 1]);
            }
            break;
        }
        case node_kind::full: {
            const auto* const n = static_cast<const node256*>(at);
            for (int byte = 255; byte >= 0; --byte) {
                if (n->children[byte] != 0) stack.push_back(n->children[byte]);
            }
            break;
        }
    }
    if (at->end != 0) stack.push_back(at->end);
}

/// Groups lie in memory in the order in which they came, so each visit in key order is a cache miss. A group
/// is asked for when the walk meets it and visited a few dozen groups later.
void CMergeTable::ForEach(const std::function<void(const merge_group&)>& visit) const {
    constexpr std::size_t ahead = 32;
    const merge_group* asked[ahead];
    std::size_t met = 0;
    std::vector<link> stack;
    if (root_ != 0) stack.push_back(root_);
    while (!stack.empty()) {
        const link at = stack.back();
        stack.pop_back();
        if (!is_group(at)) {
            _PushChildren(node_of(at), stack);
            continue;
        }
        prefetch(at);
        if (met >= ahead) visit(*asked[met % ahead]);
        asked[met++ % ahead] = group_of(at);
    }
    for (std::size_t i = met - std::min(met, ahead); i < met; ++i)
        visit(*asked[i % ahead]);
}

}  // namespace tallycsv
