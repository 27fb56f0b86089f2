/*
 * bayer.cpp - ordered (dispersed-dot) dither to 1 bit or to 16 colours.
 *
 * Target 1: each pixel's gray level, scaled to 0..256, is compared with a
 * 16 x 16 threshold matrix; target 4: each channel's high four bits, scaled
 * to 0..64, with an 8 x 8 matrix, which switches the channel fully on or
 * off, and the eight on/off corners go through the inverse colour map.
 * The matrix row advances with every row worked, starting at the bottom.
 *
 * Exported: QV_IP_color_reduce_bayer.
 */
#include <cstring>

#include "dither/dither_frame.h"
#include "support/frame.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "DITHER\\BAYER.C";

// Row by row as used: 1..256 with 164 missing and 64 twice (row 11).
constexpr uint16_t kMatrix16[16][16] = {
    {2, 236, 60, 220, 16, 232, 56, 216, 3, 233, 57, 217, 13, 229, 53, 213},
    {130, 66, 188, 124, 144, 80, 184, 120, 131, 67, 185, 121, 141, 77, 181, 117},
    {34, 194, 18, 252, 48, 208, 32, 248, 35, 195, 19, 249, 45, 205, 29, 245},
    {162, 98, 146, 82, 176, 112, 160, 96, 163, 99, 147, 83, 173, 109, 157, 93},
    {10, 226, 50, 210, 6, 240, 64, 224, 11, 227, 51, 211, 7, 237, 61, 221},
    {138, 74, 178, 114, 134, 70, 192, 128, 139, 75, 179, 115, 135, 71, 189, 125},
    {42, 202, 26, 242, 38, 198, 22, 256, 43, 203, 27, 243, 39, 199, 23, 253},
    {170, 106, 154, 90, 166, 102, 150, 86, 171, 107, 155, 91, 167, 103, 151, 87},
    {4, 234, 58, 218, 14, 230, 54, 214, 1, 235, 59, 219, 15, 231, 55, 215},
    {132, 68, 186, 122, 142, 78, 182, 118, 129, 65, 187, 123, 143, 79, 183, 119},
    {36, 196, 20, 250, 46, 206, 30, 246, 33, 193, 17, 251, 47, 207, 31, 247},
    {64, 100, 148, 84, 174, 110, 158, 94, 161, 97, 145, 81, 175, 111, 159, 95},
    {12, 228, 52, 212, 8, 238, 62, 222, 9, 225, 49, 209, 5, 239, 63, 223},
    {140, 76, 180, 116, 136, 72, 190, 126, 137, 73, 177, 113, 133, 69, 191, 127},
    {44, 204, 28, 244, 40, 200, 24, 254, 41, 201, 25, 241, 37, 197, 21, 255},
    {172, 108, 156, 92, 168, 104, 152, 88, 169, 105, 153, 89, 165, 101, 149, 85},
};

// A permutation of 1..64.
constexpr uint16_t kMatrix8[8][8] = {
    {2, 60, 16, 56, 3, 57, 13, 53},   {34, 18, 48, 32, 35, 19, 45, 29},
    {10, 50, 6, 64, 11, 51, 7, 61},   {42, 26, 38, 22, 43, 27, 39, 23},
    {4, 58, 14, 54, 1, 59, 15, 55},   {36, 20, 46, 30, 33, 17, 47, 31},
    {12, 52, 8, 62, 9, 49, 5, 63},    {44, 28, 40, 24, 41, 25, 37, 21},
};

// The built-in palette of the ordered dither (blue, green, red, 0).
constexpr QV_RGBQUAD kPalette[16] = {
    {0, 0, 0, 0},     {0, 0, 128, 0},     {0, 128, 0, 0},     {0, 128, 128, 0},
    {128, 0, 0, 0},   {128, 0, 128, 0},   {128, 128, 0, 0},   {128, 128, 128, 0},
    {192, 192, 192, 0}, {0, 0, 255, 0},   {0, 255, 0, 0},     {0, 255, 255, 0},
    {255, 0, 0, 0},   {255, 0, 255, 0},   {255, 255, 0, 0},   {255, 255, 255, 0},
};

/* The least gray level g with g * 256 / 255 >= m: comparing the gray level
 * with it gives the matrix test without the scaling per pixel. */
constexpr uint8_t least_gray(uint32_t m) {
    for (uint32_t g = 0; g < 256; ++g)
        if (g * 256 / 255 >= m) return uint8_t(g);
    return 255;  // m = 257 never occurs; 256 is reached at g = 255
}

struct GrayThresholds {
    uint8_t t[16][16];
};
constexpr GrayThresholds make_thresholds() {
    GrayThresholds r{};
    for (int i = 0; i < 16; ++i)
        for (int j = 0; j < 16; ++j) r.t[i][j] = least_gray(kMatrix16[i][j]);
    return r;
}
constexpr GrayThresholds kGray = make_thresholds();

void to_4(ImageRecord *rec, const QV_RGBQUAD *caller) {
    QV_RGBQUAD pal[16];
    std::memcpy(pal, caller ? caller : kPalette, sizeof pal);
    InverseMap map;
    map.build(pal);
    // Entry of each on/off corner: bit 2 red, bit 1 green, bit 0 blue.
    uint8_t corner[8];
    for (uint32_t c = 0; c < 8; ++c) corner[c] = map.at(c & 4 ? 15 : 0, c & 2 ? 15 : 0, c & 1 ? 15 : 0);
    // Channel level by value: (v >> 4) * 64 / 15.
    uint8_t level[256];
    for (uint32_t v = 0; v < 256; ++v) level[v] = uint8_t((v >> 4) * 64 / 15);

    ReduceFrame f(rec, kModule);
    Scratch scratch(kModule);
    SourceRows src(rec->dib, scratch);
    if (!src.ok() || !f.dest(4, QV_BI_RGB, pal, 16)) return;
    const int32_t w = src.width(), h = image_height(rec);
    for (int32_t y = h - 1, i = 0; y >= 0; --y, ++i) {
        const uint16_t *t = kMatrix8[i & 7];
        const uint8_t *p = src.bgr(y);
        uint8_t *out = f.row(y);
        for (int32_t x = 0; x < w; ++x, p += 3) {
            uint32_t m = t[x & 7];
            uint32_t c = (uint32_t(m <= level[p[2]]) << 2) | (uint32_t(m <= level[p[1]]) << 1) |
                         uint32_t(m <= level[p[0]]);
            uint8_t idx = corner[c];
            if (x & 1) out[x >> 1] |= idx;
            else out[x >> 1] = uint8_t(idx << 4);
        }
        if (!f.row_done(y)) break;
    }
    f.finish();
}

void bayer(ImageRecord *rec, uint32_t target, const QV_RGBQUAD *palette) {
    int32_t bpp = image_bpp(rec);
    if (!reduce_source_ok(kModule, bpp, int32_t(target))) return;
    if (target == 1) return reduce_by_matrix(rec, kModule, QV_BI_RGB, kGray.t, 16);
    if (target == 4 && bpp != 4) return to_4(rec, palette);
    QV_ERR(QVE_DEPTH_NOT_APPLICABLE, bpp, target);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_color_reduce_bayer(QUORIN image, uint32_t target_bits, const QV_RGBQUAD *palette) {
    return api_frame_image(image, [&] { bayer(image_from_handle(image), target_bits, palette); });
}

}  // extern "C"
