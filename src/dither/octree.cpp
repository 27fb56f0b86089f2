/*
 * octree.cpp - an optimised palette of up to 256 colours from a colour
 * octree, and the mapping of the pixels to it with error diffusion.
 *
 * Building: every colour (each pixel from the bottom row up, or the
 * caller's colour list) descends from the root by one bit of red, green
 * and blue per level; missing nodes are made on the way, a node made at the
 * leaf level is a leaf, the others enter the reducible list of their level.
 * After each insertion, while there are more leaves than colours wanted,
 * the node with the fewest colours in the deepest non-empty list (the
 * earliest on a tie; the list's last entry takes its place) absorbs its
 * children, and the leaf level moves up to just below it.
 *
 * Palette: the leaves in depth-first order, children 0 to 7, each the mean
 * of its colours.
 *
 * Mapping: each pixel plus its error is clamped and looked up; a lookup
 * that leaves the tree builds the missing path down to the leaf level and
 * gives the new leaf the nearest palette entry ((|dr| + |dg| + |db|) / 3,
 * the earliest on a tie), so later colours in that leaf cost one descent.
 * Small palettes (16 colours or fewer, search flag 0) look each pixel up
 * five times, shifted by -40, -20, 0, 20, 40 on all channels, and keep the
 * answer nearest to the pixel. The error e of each channel travels as
 * trunc(2e/16) to the next two pixels of the row, trunc(4e/16) added to the
 * next row below left and below, and trunc(2e/16) set (not added) into the
 * next row's two slots to the right - so the right neighbour always
 * overwrites what a pixel sends two places right in the next row.
 *
 * Speed without changing a result: leaves lie at most leaf_level deep, so
 * the top leaf_level bits of a colour's channels decide its leaf. Building
 * remembers the leaf of each such cell until the next reduction and counts
 * only at the leaves, summing the counts above them just before a
 * reduction reads them; mapping asks the tree once per cell, in the order
 * cells are first met, so the tree grows exactly as one lookup a pixel
 * would make it grow.
 *
 * Exported: QV_IP_color_reduce_octree.
 */
#include <cstdlib>
#include <cstring>
#include <utility>

#include "dither/dither_frame.h"
#include "support/frame.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "DITHER\\OCTREE.C";
constexpr int32_t kStartLeafLevel = 6;
constexpr int32_t kListSlots = 258;
constexpr size_t kPoolChunk = 1024;

struct Node {
    uint32_t is_leaf;
    uint8_t palette_index;
    uint8_t level;
    uint32_t pixel_count;
    uint64_t red_sum, green_sum, blue_sum;
    Node *children[8];
};

inline uint32_t child_index(uint32_t c, uint32_t level) {
    const uint32_t shift = 7 - level;
    return (((c >> (16 + shift)) & 1u) << 2) | (((c >> (8 + shift)) & 1u) << 1) | ((c >> shift) & 1u);
}

inline uint32_t distance(uint32_t c, const QV_RGBQUAD &q) {
    int32_t dr = int32_t((c >> 16) & 255) - q.rgbRed, dg = int32_t((c >> 8) & 255) - q.rgbGreen,
            db = int32_t(c & 255) - q.rgbBlue;
    return uint32_t(std::abs(dr) + std::abs(dg) + std::abs(db)) / 3;
}

class Octree {
public:
    Octree(Scratch &scratch, uint32_t colours) : scratch_(scratch), n_(colours) {}

    bool init() {
        root_ = make(0);
        seen_ = scratch_.array<Seen>(size_t(1) << (3 * kStartLeafLevel));
        if (!root_ || !seen_) return false;
        lists_[0][count_[0]++] = root_;
        return true;
    }

    /* Inserts `c` (0x00RRGGBB). False after pushing (no memory).
     * Only the leaf's count is kept up to date here: a node's count is the
     * sum of its leaves' counts (every colour passing a node ends in one of
     * its leaves), so the counts above the leaves are summed up just before
     * a reduction, the one step that reads them.
     * Leaves lie at most leaf_level deep, so the top leaf_level bits of each
     * channel decide the leaf: the leaf of each such cell is remembered
     * until the next reduction (growth alone leaves every path as it was). */
    bool insert(uint32_t c) {
        const uint32_t shift = 8 - uint32_t(leaf_level_), bits = uint32_t(leaf_level_);
        Seen &seen = seen_[(((c >> 16) & 255) >> shift) << (2 * bits) | (((c >> 8) & 255) >> shift) << bits |
                           ((c & 255) >> shift)];
        if (seen.epoch == epoch_) {
            add(seen.leaf, c);
            return true;
        }
        Node *node = root_;
        bool grew = false;
        while (!node->is_leaf) {
            Node *&slot = node->children[child_index(c, node->level)];
            if (!slot) {
                Node *child = make(node->level + 1);
                if (!child) return false;
                if (child->level == leaf_level_) {
                    child->is_leaf = 1;
                    ++leaf_count_;
                } else {
                    enter(child);
                }
                slot = child;
                grew = true;
            }
            node = slot;
        }
        add(node, c);
        if (grew && leaf_count_ > n_) {
            sum_counts(root_);
            reduce();
            ++epoch_;  // leaves were merged: forget every cell
        } else {
            seen = Seen{node, epoch_};
        }
        return true;
    }

    void make_palette() { walk(root_); }

    const QV_RGBQUAD *palette() const { return palette_; }
    int32_t leaf_level() const { return leaf_level_; }
    uint32_t palette_count() const { return palette_count_; }

    /* Palette entry of colour c, extending the tree for colours it has not
     * seen. 256 after pushing (no memory). */
    uint32_t lookup(uint32_t c) {
        Node *node = root_;
        while (!node->is_leaf) {
            Node *&slot = node->children[child_index(c, node->level)];
            if (!slot) {
                Node *child = make(node->level + 1);
                if (!child) return 256;
                if (child->level >= leaf_level_) {
                    child->is_leaf = 1;
                    child->palette_index = nearest(c);
                }
                slot = child;
            }
            node = slot;
        }
        return node->palette_index;
    }

private:
    static void add(Node *leaf, uint32_t c) {
        ++leaf->pixel_count;
        leaf->red_sum += (c >> 16) & 255;
        leaf->green_sum += (c >> 8) & 255;
        leaf->blue_sum += c & 255;
    }
    static uint32_t sum_counts(Node *node) {
        if (node->is_leaf) return node->pixel_count;
        uint32_t n = 0;
        for (Node *child : node->children)
            if (child) n += sum_counts(child);
        return node->pixel_count = n;
    }

    Node *make(uint32_t level) {
        Node *n = free_;
        if (n) {
            free_ = n->children[0];
            std::memset(n, 0, sizeof *n);
        } else {
            if (pool_used_ == kPoolChunk || !pool_) {
                pool_ = scratch_.array<Node>(kPoolChunk);
                if (!pool_) return nullptr;
                pool_used_ = 0;
            }
            n = &pool_[pool_used_++];
        }
        n->level = uint8_t(level);
        return n;
    }
    void release(Node *n) {
        n->children[0] = free_;
        free_ = n;
    }
    void enter(Node *n) {
        int32_t &k = count_[n->level];
        if (k < kListSlots) lists_[n->level][k++] = n;
    }

    void reduce() {
        while (leaf_count_ > n_) {
            int32_t level = leaf_level_ - 1;
            while (level >= 0 && count_[level] == 0) --level;
            if (level < 0) return;
            leaf_level_ = level + 1;
            Node **list = lists_[level];
            int32_t pick = 0;
            for (int32_t i = 1; i < count_[level]; ++i)
                if (list[i]->pixel_count < list[pick]->pixel_count) pick = i;
            Node *node = list[pick];
            list[pick] = list[--count_[level]];
            uint32_t children = 0;
            for (Node *&child : node->children) {
                if (!child) continue;
                node->red_sum += child->red_sum;
                node->green_sum += child->green_sum;
                node->blue_sum += child->blue_sum;
                release(child);
                child = nullptr;
                ++children;
            }
            node->is_leaf = 1;
            leaf_count_ = leaf_count_ - children + 1;
        }
    }

    void walk(Node *node) {
        if (node->is_leaf) {
            if (palette_count_ >= 256) return;
            QV_RGBQUAD &q = palette_[palette_count_];
            uint64_t n = node->pixel_count ? node->pixel_count : 1;
            q.rgbRed = uint8_t(node->red_sum / n);
            q.rgbGreen = uint8_t(node->green_sum / n);
            q.rgbBlue = uint8_t(node->blue_sum / n);
            node->palette_index = uint8_t(palette_count_++);
            return;
        }
        for (Node *child : node->children)
            if (child) walk(child);
    }

    uint8_t nearest(uint32_t c) const {
        uint32_t best = 0, best_d = distance(c, palette_[0]);
        for (uint32_t i = 1; i < palette_count_; ++i) {
            uint32_t d = distance(c, palette_[i]);
            if (d < best_d) best_d = d, best = i;
        }
        return uint8_t(best);
    }

    Scratch &scratch_;
    uint32_t n_;
    Node *root_ = nullptr;
    int32_t leaf_level_ = kStartLeafLevel;
    uint32_t leaf_count_ = 0;
    Node *lists_[kStartLeafLevel][kListSlots] = {};
    int32_t count_[kStartLeafLevel] = {};
    QV_RGBQUAD palette_[256] = {};
    uint32_t palette_count_ = 0;
    Node *pool_ = nullptr;
    size_t pool_used_ = 0;
    Node *free_ = nullptr;
    // The leaf of each colour cell, valid while epoch matches.
    struct Seen {
        Node *leaf;
        uint32_t epoch;
    };
    Seen *seen_ = nullptr;
    uint32_t epoch_ = 1;
};

inline uint32_t colour_of(const uint8_t *bgr) { return uint32_t(bgr[2]) << 16 | uint32_t(bgr[1]) << 8 | bgr[0]; }
inline int32_t clamp255(int32_t v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

bool build_from_image(Octree &tree, SourceRows &src, int32_t h) {
    const int32_t w = src.width();
    for (int32_t y = h - 1; y >= 0; --y) {
        const uint8_t *p = src.bgr(y);
        for (int32_t x = 0; x < w; ++x, p += 3)
            if (!tree.insert(colour_of(p))) return false;
    }
    return true;
}

/* Answers of the tree by colour cell. Every leaf lies at most leaf_level
 * levels deep, so the top leaf_level bits of each channel decide the leaf a
 * lookup ends in, and with it the answer: the tree is asked once per cell
 * (in the order the cells are first met, so it grows as it would without
 * the table) and the table answers the rest. An answer is kept with its
 * colour as index | red << 8 | green << 16 | blue << 24 | 1 << 32; 0 is a
 * cell not asked yet. */
class CellAnswers {
public:
    CellAnswers(Octree &tree, Scratch &scratch)
        : tree_(tree), bits_(uint32_t(tree.leaf_level())), shift_(8 - bits_),
          cells_(scratch.array<uint64_t>(size_t(1) << (3 * bits_))) {}
    bool ok() const { return cells_ != nullptr; }
    // The answer for the clamped channels; 0 when memory ran out (pushed).
    uint64_t at(uint32_t r, uint32_t g, uint32_t b) {
        uint64_t &slot = cells_[(r >> shift_) << (2 * bits_) | (g >> shift_) << bits_ | (b >> shift_)];
        if (!slot) slot = ask(r << 16 | g << 8 | b);
        return slot;
    }

private:
    uint64_t ask(uint32_t c) {
        const uint32_t idx = tree_.lookup(c);
        if (idx > 255) return 0;
        const QV_RGBQUAD &q = tree_.palette()[idx];
        return uint64_t(idx | uint32_t(q.rgbRed) << 8 | uint32_t(q.rgbGreen) << 16 | uint32_t(q.rgbBlue) << 24) |
               uint64_t(1) << 32;
    }
    Octree &tree_;
    uint32_t bits_, shift_;
    uint64_t *cells_;
};

// The best of five lookups shifted by -40, -20, 0, 20, 40 on all channels.
uint64_t find5(CellAnswers &cells, uint32_t r, uint32_t g, uint32_t b) {
    static constexpr int32_t kShift[5] = {-40, -20, 0, 20, 40};
    uint64_t best = 0;
    uint32_t best_d = ~0u;
    for (int32_t k : kShift) {
        const uint64_t a = cells.at(uint32_t(clamp255(int32_t(r) + k)), uint32_t(clamp255(int32_t(g) + k)),
                                    uint32_t(clamp255(int32_t(b) + k)));
        if (!a) return 0;
        const uint32_t d = uint32_t(std::abs(int32_t(r) - int32_t((a >> 8) & 255)) +
                                    std::abs(int32_t(g) - int32_t((a >> 16) & 255)) +
                                    std::abs(int32_t(b) - int32_t((a >> 24) & 255))) / 3;
        if (d < best_d) best_d = d, best = a;
    }
    return best;
}

/* Maps the rows into the destination; false when memory ran out (pushed).
 * A cancel stops early and still gives true: the partial result stands.
 *
 * Pixel x of a row takes its error slot (set while the row below was
 * worked) plus 2/16 of the errors of pixels x - 1 and x - 2; those two
 * travel in registers, since what they add to this row's slots is never
 * read again. The row above gets each slot written once it is complete:
 * slot of pixel p = 2/16 of p - 1 (the overwrite) + 4/16 of p and of
 * p + 1; the first pixel's has no 2/16 (cleared), nor the one before it. */
template <bool kFive, bool kFour>
bool map_rows(CellAnswers &cells, SourceRows &src, ReduceFrame &f, int32_t *rows[2], int32_t h) {
    const int32_t w = src.width();
    int32_t *cur = rows[1], *nxt = rows[0];
    for (int32_t y = h - 1; y >= 0; --y) {
        std::swap(cur, nxt);
        const uint8_t *p = src.bgr(y);
        uint8_t *out = f.row(y);
        // Per channel (blue, green, red): 2/16 of pixels x - 1 and x - 2,
        // 4/16 of pixel x - 1.
        int32_t two1[3] = {0, 0, 0}, two2[3] = {0, 0, 0}, four1[3] = {0, 0, 0};
        const int32_t *in = cur + 3;  // slot of pixel 0
        int32_t *below = nxt;         // slot of pixel -1
        for (int32_t x = 0; x < w; ++x, p += 3, in += 3, below += 3) {
            int32_t v[3];
            for (int ch = 0; ch < 3; ++ch) v[ch] = p[ch] + in[ch] + two1[ch] + two2[ch];
            const uint32_t r = uint32_t(clamp255(v[2])), g = uint32_t(clamp255(v[1])), b = uint32_t(clamp255(v[0]));
            const uint64_t a = kFive ? find5(cells, r, g, b) : cells.at(r, g, b);
            if (!a) return false;
            const uint8_t idx = uint8_t(a);
            if (!kFour) out[x] = idx;
            else if (x & 1) out[x >> 1] |= idx;
            else out[x >> 1] = uint8_t(idx << 4);
            const int32_t pal[3] = {int32_t((a >> 24) & 255), int32_t((a >> 16) & 255), int32_t((a >> 8) & 255)};
            for (int ch = 0; ch < 3; ++ch) {
                const int32_t e = v[ch] - pal[ch];
                const int32_t t2 = 2 * e / 16, t4 = 4 * e / 16;
                below[ch] = two2[ch] + four1[ch] + t4;  // pixel x - 1 complete
                two2[ch] = two1[ch];
                two1[ch] = t2;
                four1[ch] = t4;
            }
        }
        // Pixel w - 1 has no right neighbour; the slots after it are set by
        // the overwrite alone.
        for (int ch = 0; ch < 3; ++ch) {
            below[ch] = two2[ch] + four1[ch];
            below[3 + ch] = two1[ch];
            below[6 + ch] = two1[ch];
        }
        if (!f.row_done(y)) break;
    }
    return true;
}

bool map_rows(Octree &tree, SourceRows &src, ReduceFrame &f, Scratch &scratch, int32_t h, bool five) {
    const size_t slots = 3 * (size_t(src.width()) + 3);
    int32_t *rows[2] = {scratch.array<int32_t>(slots), scratch.array<int32_t>(slots)};
    if (!rows[0] || !rows[1]) return false;
    CellAnswers cells(tree, scratch);
    if (!cells.ok()) return false;
    const bool four = f.dib()->biBitCount == 4;
    if (five) return four ? map_rows<true, true>(cells, src, f, rows, h) : map_rows<true, false>(cells, src, f, rows, h);
    return four ? map_rows<false, true>(cells, src, f, rows, h) : map_rows<false, false>(cells, src, f, rows, h);
}

void octree(ImageRecord *rec, uint32_t search_flag, uint32_t count, uint32_t list_entries, const uint8_t *list) {
    const int32_t bpp = image_bpp(rec);
    if (bpp != 8 && bpp != 24) {
        QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, 0);
        return;
    }
    const uint32_t n = count > 256 ? 256 : count < 8 ? 8 : count;
    const bool from_list = list_entries >= 8 && list;
    if (from_list && list_entries < n) {
        QV_ERR(QVE_BAD_ARGUMENT, list_entries, 0);
        return;
    }
    const int32_t h = image_height(rec);
    Scratch scratch(kModule);
    SourceRows src(rec->dib, scratch);
    if (!src.ok()) return;
    Octree tree(scratch, n);
    if (!tree.init()) return;
    if (from_list) {
        for (uint32_t i = 0; i < list_entries; ++i)
            if (!tree.insert(colour_of(list + 3 * size_t(i)))) return;
    } else if (!build_from_image(tree, src, h)) {
        return;
    }
    tree.make_palette();
    ReduceFrame f(rec, kModule);
    if (!f.dest(n <= 16 ? 4 : 8, QV_BI_RGB, tree.palette(), 256)) return;
    if (map_rows(tree, src, f, scratch, h, search_flag == 0 && n <= 16)) f.finish();
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_color_reduce_octree(QUORIN image, uint32_t search_flag, uint32_t color_count,
                                         uint32_t list_entries, const uint8_t *list) {
    return api_frame_image(image, [&] {
        octree(image_from_handle(image), search_flag, color_count, list_entries, list);
    });
}

}  // extern "C"
