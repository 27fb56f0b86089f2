// Tagged allocator, caller callbacks, instance registry, settings and threads.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "common/test_util.h"

namespace {

using V = std::vector<int32_t>;

TEST(Memory, UniqueTagsCarryTheHighBitAndIncrease) {
    uint32_t a = VPb_AF_mem_unique_tag_get(), b = VPb_AF_mem_unique_tag_get();
    EXPECT_EQ(a & 0x10000000u, 0x10000000u);
    EXPECT_EQ(b, a + 1);
}

TEST(Memory, FreeAllReleasesEveryBlockOfTheTag) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    uint32_t first = tag + 32, last = tag + 64;  // other tags in the same bucket (tag & 31)
    size_t before = iQV_mem_live_blocks();
    void *a = VPb_AF_mem_alloc(first, 10);
    for (int i = 0; i < 100; ++i) {
        size_t size = (i % 2) ? 16 : 4096 + i;  // small and large kinds
        auto *p = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, size));
        ASSERT_NE(p, nullptr);
        for (size_t k = 0; k < size; ++k) ASSERT_EQ(p[k], 0);
    }
    void *b = VPb_AF_mem_alloc(last, 10);
    using S = std::vector<size_t>;
    EXPECT_EQ((S{iQV_mem_block_count(tag), iQV_mem_live_blocks() - before}), (S{100, 102}));
    VPb_AF_mem_free_all(tag);  // its nodes sit between those of the other two tags
    EXPECT_EQ((S{iQV_mem_block_count(tag), iQV_mem_block_count(first), iQV_mem_block_count(last)}),
              (S{0, 1, 1}));
    EXPECT_EQ((V{VPb_AF_mem_free(first, a), VPb_AF_mem_free(last, b)}), (V{0, 0}));
    EXPECT_EQ(iQV_mem_live_blocks(), before);
}

TEST(Memory, FreeUnderWrongTagFails) {
    uint32_t t1 = VPb_AF_mem_unique_tag_get(), t2 = VPb_AF_mem_unique_tag_get();
    void *p = VPb_AF_mem_alloc(t1, 100);
    EXPECT_NE(VPb_AF_mem_free(t2, p), 0);
    EXPECT_EQ(VPb_AF_mem_free(t1, p), 0);
    EXPECT_NE(VPb_AF_mem_free(t1, p), 0);  // already gone
}

TEST(Memory, ReallocKeepsContentAcrossKinds) {
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    auto *p = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, 100));
    std::memset(p, 0xAB, 100);
    p = static_cast<uint8_t *>(VPb_AF_mem_realloc(tag, p, 5000));  // small -> large
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(p[i], i < 100 ? 0xAB : 0) << i;
    p = static_cast<uint8_t *>(VPb_AF_mem_realloc(tag, p, 50));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[49], 0xAB);
    EXPECT_EQ(iQV_mem_block_count(tag), 1u);
    VPb_AF_mem_free_all(tag);
}

std::atomic<int> g_cb_allocs{0}, g_cb_frees{0};

TEST(Memory, CallerCallbacksServeLargeBlocksOnly) {
    ASSERT_EQ(QV_mem_CB_register([](size_t n) -> void * { return ++g_cb_allocs, std::malloc(n); },
                                 [](void *p, size_t n) -> void * { return std::realloc(p, n); },
                                 [](void *p) { ++g_cb_frees, std::free(p); }),
              0);
    uint32_t tag = VPb_AF_mem_unique_tag_get();
    VPb_AF_mem_alloc(tag, 1024);  // small: run-time heap
    int small = g_cb_allocs;
    VPb_AF_mem_alloc(tag, 1025);
    ASSERT_EQ(QV_mem_CB_register(nullptr, nullptr, nullptr), 0);  // built-ins again
    VPb_AF_mem_alloc(tag, 4096);
    VPb_AF_mem_free_all(tag);  // the callback block goes back to its own free
    EXPECT_EQ((V{small, g_cb_allocs, g_cb_frees}), (V{0, 1, 1}));
}

TEST(Memory, ConcurrentTagsDoNotInterfere) {
    size_t before = iQV_mem_live_blocks();
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                uint32_t tag = VPb_AF_mem_unique_tag_get();
                for (int i = 0; i < 20; ++i)
                    if (!VPb_AF_mem_alloc(tag, static_cast<size_t>(8 + i * 300))) ++failures;
                if (iQV_mem_block_count(tag) != 20) ++failures;
                VPb_AF_mem_free_all(tag);
            }
        });
    for (auto &th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(iQV_mem_live_blocks(), before);
}

TEST(Registry, ResultCodes) {
    int x = 0, y = 0;
    void *p = nullptr;
    EXPECT_EQ((V{iQV_registry_lookup(5001, &p), iQV_registry_register(5001, &x),
                 iQV_registry_register(5001, &y), iQV_registry_lookup(5001, &p)}),
              (V{-6, 0, -5, 0}));
    EXPECT_EQ(p, &x);
    // More keys than one node of 13 slots holds.
    for (int k = 0; k < 30; ++k) ASSERT_EQ(iQV_registry_register(6000 + k, &y), 0);
    for (int k = 0; k < 30; ++k) ASSERT_EQ(iQV_registry_lookup(6000 + k, &p), 0);
    for (int k = 0; k < 30; ++k) ASSERT_EQ(iQV_registry_remove(6000 + k), 0);
    // Removal, then the process-wide records in place.
    EXPECT_EQ((V{iQV_registry_remove(5001), iQV_registry_remove(5001), iQV_registry_lookup(835, &p),
                 iQV_registry_lookup(872, &p)}),
              (V{0, -6, 0, 0}));
}

int32_t control(int32_t id) {
    int32_t v = -1;
    return QV_image_control_get(id, &v) == 0 ? v : -1;
}

TEST(Settings, ImageControlSetGet) {
    const int32_t kValue = QVE_CONTROL_VALUE, kUnknown = QVE_SETTING_UNKNOWN;
    const struct {
        int32_t id, value, code;  // code 0: accepted
    } cases[] = {{277, 90, 0},          {277, 0, kValue},     {277, 101, kValue},
                 {31, 0, 0},            {31, 2, kValue},      {256 + 31, 1, kUnknown},
                 {8, 0, 0},             {256 + 8, 1, 0},      {2 * 256 + 8, 1, kUnknown},
                 {99, 1, kUnknown},     {46, 0, kUnknown},    {87 * 256 + 40, 5, 0},
                 {88 * 256 + 40, 5, kUnknown}, {-1, 0, kUnknown}};
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << "id " << c.id << " value " << c.value);
        int32_t old = control(c.id);
        if (c.code == 0) {
            ASSERT_EQ(QV_image_control_set(c.id, c.value), 0);
            EXPECT_EQ(control(c.id), c.value);
            QV_image_control_set(c.id, old);
            continue;
        }
        ASSERT_EQ(QV_image_control_set(c.id, c.value), 1);
        EXPECT_EQ((V{qvtest::error_at(0).code, qvtest::error_at(0).iVal}), (V{c.code, c.id}));
        EXPECT_EQ(control(c.id), old);  // a rejected value is not stored
    }
    EXPECT_EQ(QV_DIB_resolution_units_set(4), 1);
    EXPECT_EQ(qvtest::error_at(0).code, QVE_RES_MODE);
    int marker = 0;  // settings hooks: 0..15
    EXPECT_EQ(VPb_settings_hook_func_set(16, &marker), QVE_OUT_OF_RANGE);
}

TEST(Settings, UnitConversions) {
    EXPECT_EQ((V{QV_convert_DPI_to_PPM(300), QV_convert_PPM_to_DPI(11811),
                 QV_convert_DPI_to_PPM(72), QV_convert_PPM_to_DPI(3937)}),
              (V{11811, 300, 2835, 100}));
}

}  // namespace
