// Blocks that are not zero-filled: growing keeps the bytes asked for, from
// the heap into mappings and from mapping to mapping (on Linux by mremap),
// and every block still belongs to its tag.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/memory.h"

namespace {

void fill(uint8_t *p, size_t n, uint32_t seed) {
    for (size_t i = 0; i < n; ++i) p[i] = uint8_t((i * 131 + seed) >> 3);
}

bool holds(const uint8_t *p, size_t n, uint32_t seed) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] != uint8_t((i * 131 + seed) >> 3)) return false;
    return true;
}

TEST(MemoryUninit, GrowingKeepsTheBytesAskedFor) {
    qv::TagScope tag;
    // (first size, bytes kept, grown size): heap to heap, heap to mapping,
    // mapping to a larger mapping, several times over.
    const struct {
        size_t first, keep, grown;
    } steps[] = {{100, 100, 900}, {900, 900, 300000}, {300000, 250000, 1500000},
                 {1500000, 1500000, 5000000}, {5000000, 4000000, 9000000}};
    auto *p = static_cast<uint8_t *>(qv::mem_alloc_uninit(tag.tag(), steps[0].first));
    ASSERT_NE(p, nullptr);
    fill(p, steps[0].first, 1);
    for (const auto &s : steps) {
        p = static_cast<uint8_t *>(qv::mem_grow_uninit(tag.tag(), p, s.keep, s.grown));
        ASSERT_NE(p, nullptr) << s.grown;
        EXPECT_TRUE(holds(p, s.keep, 1)) << s.grown;
        fill(p, s.grown, 1);  // the whole block is writable
        EXPECT_TRUE(qv::mem_owns(tag.tag(), p));
    }
    EXPECT_EQ(qv::mem_block_count(tag.tag()), 1u);
    EXPECT_EQ(qv::mem_free(tag.tag(), p), 0);
    EXPECT_EQ(qv::mem_grow_uninit(tag.tag(), p, 1, 2), nullptr);  // no longer under the tag
}

}  // namespace
