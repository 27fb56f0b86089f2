// Extension modules: loading failures, iteration and search with modules loaded, overriding a
// built-in type, detection and the choice by file extension, the auto-detect flag of type 0,
// and the example QVX filter's reader through the stream bridge and both ways through the
// pipelines.
#include <unistd.h>
#include <algorithm>
#include <cstring>

#include "common/test_util.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qvtest::error_at;
using V = std::vector<int64_t>;

std::string module_path(const char *name) {
    return std::string(QV_BUILD_DIR) + "/examples/ext_module/" + name + ".so";
}

#define SKIP_WITHOUT_MODULES()                                           \
    do {                                                                 \
        if (::access(module_path("qvx_module").c_str(), R_OK) != 0 ||    \
            ::access(module_path("qvx_module_t41").c_str(), R_OK) != 0)  \
            GTEST_SKIP() << "example modules not built";                 \
    } while (0)

// Loads modules for one test and unloads them at its end.
struct Modules {
    std::vector<int32_t> ids;
    int32_t load(const char *name) {
        int32_t id = 0;
        EXPECT_EQ(QV_ext_load(module_path(name).c_str(), &id), 0) << name;
        EXPECT_GT(id, 0);
        ids.push_back(id);
        return id;
    }
    ~Modules() {
        for (int32_t id : ids) EXPECT_EQ(QV_ext_unload(id), 0);
    }
};

Bytes qvx_file(uint32_t w, uint32_t h, uint8_t first) {
    Bytes b = {'Q', 'V', 'X', '1', uint8_t(w), uint8_t(w >> 8), 0, 0, uint8_t(h), uint8_t(h >> 8),
               0, 0};
    for (uint32_t i = 0; i < w * h; ++i) b.push_back(uint8_t(first + i));
    return b;
}

int32_t detect(Bytes data) {
    VPb_STREAM *s = iQV_stream_mem_new(data.data(), int64_t(data.size()));
    int32_t index = -7;
    QV_error_clear();
    VPb_VPr_filter_detect(s, &index);
    iQV_stream_free(s, 0);
    return index;
}

std::vector<int32_t> iteration() {
    std::vector<int32_t> out;
    for (int32_t i = VPb_VPr_filter_first(); i >= 0 && out.size() < 100; i = VPb_VPr_filter_next(i))
        out.push_back(i);
    return out;
}

std::vector<int32_t> builtin_then(std::vector<int32_t> ext) {
    for (int32_t i = 0; i < 45; ++i) ext.push_back(i);
    return ext;
}

TEST(ExtModules, BadPathAndMissingEntry) {
    int32_t id = 5;
    EXPECT_FAILS(QV_ext_load("/nonexistent/module.so", &id), {-700, 1, 0});
    EXPECT_EQ(id, 0);
    EXPECT_EQ(QV_ext_load("libm.so.6", &id), 1);  // a real shared object that is not a module
    EXPECT_EQ((V{error_at(0).code, error_at(0).iVal}), (V{-700, 2}));
    EXPECT_EQ(QV_ext_load(nullptr, &id), 1);
    EXPECT_EQ(error_at(0).code, -3060);
    EXPECT_EQ(QV_ext_unload(12345), 1);
    EXPECT_EQ((V{error_at(0).code, error_at(0).iVal}), (V{-2090, 12345}));
}

TEST(ExtModules, FilterComesFirstEverywhereAndASecondLoadOfItsTypeIsIgnored) {
    SKIP_WITHOUT_MODULES();
    Modules m;
    m.load("qvx_module");
    m.load("qvx_module");
    const int32_t qvx = 4096 + 60;
    EXPECT_EQ(iteration(), builtin_then({qvx}));
    uint32_t type = 0;
    int32_t size = 0, ctl = -1;
    EXPECT_NE(VPb_VPr_ext_filter_image_control_get(qvx, &size), nullptr);
    EXPECT_EQ((V{VPb_VPr_filter_count(), VPb_VPr_filter_search(60),
                 VPb_VPr_filter_type_get(qvx, &type), type, size,
                 VPb_VPr_filter_image_flags_get(qvx, &ctl), ctl}),
              (V{46, qvx, 1, 60, 4, 1, 0}));
    EXPECT_EQ((V{detect(qvx_file(2, 2, 0)), detect({'I', 'I', '*', 0}),
                 iQV_filter_by_extension("picture.qvx"), iQV_filter_by_extension("picture.tif")}),
              (V{qvx, 0, qvx, 0}));
}

TEST(ExtModules, OverrideOfABuiltInTypeAndModuleOrder) {
    SKIP_WITHOUT_MODULES();
    int32_t flag = 0;
    ASSERT_EQ(QV_load_auto_detect_get(40, &flag), 0);  // built-in flags exist before the modules
    Modules m;
    m.load("qvx_module");
    m.load("qvx_module_t41");  // serves type 41 (TXT) after a descriptor of another kind
    const int32_t qvx = 4096 + 60, txt = 4096 + 41;
    EXPECT_EQ(iteration(), builtin_then({qvx, txt}));
    // The other kind (61) is not a filter.
    EXPECT_EQ((V{VPb_VPr_filter_count(), VPb_VPr_filter_search(41), VPb_VPr_filter_search(61),
                 iQV_filter_by_extension("notes.txt"), iQV_filter_by_extension("notes.qvt"),
                 iQV_filter_by_extension("notes.qvy")}),
              (V{47, txt, -2110, txt, txt, -1}));
    // Both modules detect "QVX1": the first loaded wins; switching type 0 off affects only that
    // first filter.
    EXPECT_EQ(detect(qvx_file(1, 1, 9)), qvx);
    ASSERT_EQ(QV_load_auto_detect_set(0, 0), 0);
    int32_t tiff = 0;
    EXPECT_EQ(QV_load_auto_detect_get(60, &flag), 0);
    EXPECT_EQ(QV_load_auto_detect_get(40, &tiff), 0);
    EXPECT_EQ((std::vector<int32_t>{flag, tiff}), (std::vector<int32_t>{0, 1}));
    EXPECT_EQ(detect(qvx_file(1, 1, 9)), txt);
    ASSERT_EQ(QV_load_auto_detect_set(60, 1), 0);
    EXPECT_EQ(detect(qvx_file(1, 1, 9)), qvx);
}

TEST(ExtModules, UnloadRestoresTheBuiltInRegistry) {
    SKIP_WITHOUT_MODULES();
    int32_t a = 0, b = 0;
    ASSERT_EQ(QV_ext_load(module_path("qvx_module").c_str(), &a), 0);
    ASSERT_EQ(QV_ext_load(module_path("qvx_module_t41").c_str(), &b), 0);
    EXPECT_NE(a, b);
    ASSERT_EQ(QV_ext_unload(a), 0);
    EXPECT_EQ(iteration(), builtin_then({4096 + 41}));
    ASSERT_EQ(QV_ext_unload(b), 0);
    EXPECT_EQ(iteration(), builtin_then({}));
    EXPECT_EQ(VPb_VPr_filter_search(41), 37);
    EXPECT_EQ((V{QV_ext_unload(b), error_at(0).code}), (V{1, -2090}));
}

// ---- the QVX filter through the stream bridge ------------------------------

struct Sink {
    QV_DIB_HEADER hdr{};
    std::vector<Bytes> rows;
    int posts = 0;
};
int32_t sink_create(void *ctx, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *pal) {
    auto *s = static_cast<Sink *>(ctx);
    s->hdr = *hdr;
    s->rows.assign(size_t(hdr->biHeight), {});
    return pal && pal[200].rgbRed == 200 ? 0 : -1;
}
int32_t sink_row(void *ctx, int32_t row, const uint8_t *data) {
    auto *s = static_cast<Sink *>(ctx);
    s->rows.at(size_t(row)).assign(data, data + s->hdr.biWidth);
    return 0;
}
int32_t sink_post(void *ctx) { return ++static_cast<Sink *>(ctx)->posts, 0; }

TEST(ExtModules, QvxReaderDeliversRowsTopFirst) {
    SKIP_WITHOUT_MODULES();
    Modules m;
    m.load("qvx_module");
    VPb_READ_FN read = nullptr;
    ASSERT_EQ(VPb_VPr_filter_read_func_get(4096 + 60, &read), 1);
    Bytes file = qvx_file(3, 2, 10);
    for (size_t cut : {0, 1}) {  // truncated data: a short read with its counts
        Sink sink;
        QV_error_clear();
        VPb_STREAM *s = iQV_stream_mem_new(file.data(), int64_t(file.size() - cut));
        iQV_stream_load_slots_set(s, reinterpret_cast<void *>(sink_create),
                                  reinterpret_cast<void *>(sink_row), nullptr,
                                  reinterpret_cast<void *>(sink_post), &sink);
        EXPECT_EQ(read(s, nullptr, 1, 1), cut ? -2050 : 0);
        iQV_stream_free(s, 0);
        if (cut) {
            EXPECT_EQ((V{error_at(0).iVal, error_at(0).lVal}), (V{3, 2}));
            continue;
        }
        EXPECT_EQ((V{sink.hdr.biWidth, sink.hdr.biBitCount, sink.posts}), (V{3, 8, 1}));
        EXPECT_EQ(sink.rows, (std::vector<Bytes>{{10, 11, 12}, {13, 14, 15}}));
    }
}

// ---- through the load and save pipelines ----------------------------------

TEST(ExtModules, QvxFileRoundTripThroughThePipelines) {
    SKIP_WITHOUT_MODULES();
    Modules m;
    m.load("qvx_module");
    Bytes file = qvx_file(3, 2, 100);
    QUORIN image = nullptr;
    ASSERT_EQ(QV_load_mem(file.data(), file.size(), 1, 1, &image), 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(qvtest::dims(image), (std::vector<int32_t>{3, 2, 8}));
    Bytes pixels(6);
    for (int32_t i = 0; i < 6; ++i) ASSERT_EQ(QV_DIB_pixel_get(image, i % 3, i / 3, &pixels[i]), 0);
    EXPECT_EQ(pixels, Bytes(file.begin() + 12, file.end()));
    // Format 0: the writer is chosen by the ".qvx" extension.
    std::string path = qvtest::temp_path("roundtrip.QVX");
    ASSERT_EQ(QV_save_file(image, path.c_str(), 0), 0);
    EXPECT_EQ(qvtest::read_file(path), file);
    ::unlink(path.c_str());
    QV_image_delete(image);
}

}  // namespace
