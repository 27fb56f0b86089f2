/*
 * halftone.cpp - clustered-dot halftone to a run-encoded 1-bit image.
 *
 * Two 4 x 4 cells of thresholds, A (1..16) and B (17..32), tile the image
 * in a checkerboard of 4 x 4 blocks, so a flat field repeats every eight
 * pixels both ways; a pixel is white when its gray level scaled to 0..32 is
 * at least its cell's threshold. The bottom band of four rows starts with A
 * at the left, the next with B.
 *
 * Exported: QV_IP_color_reduce_halftone.
 */
#include "dither/dither_frame.h"
#include "support/frame.h"
#include "vosk32pd.h"

namespace qv {
namespace {

constexpr char kModule[] = "DITHER\\HALFTONE.C";

constexpr uint16_t kCellA[4][4] = {{14, 12, 13, 16}, {5, 4, 3, 10}, {6, 1, 2, 11}, {9, 7, 8, 15}};
constexpr uint16_t kCellB[4][4] = {{19, 21, 20, 17}, {28, 29, 30, 23}, {27, 32, 31, 22}, {24, 26, 25, 18}};

/* For each of the 8 rows of the checkerboard's period, the thresholds of
 * two periods across (16 pixels), as the least gray level g with
 * g * 32 / 255 >= t. */
struct Period {
    uint8_t t[8][16];
};
constexpr uint8_t least_gray(uint32_t t) {
    for (uint32_t g = 0; g < 256; ++g)
        if (g * 32 / 255 >= t) return uint8_t(g);
    return 255;
}
constexpr Period make_period() {
    Period p{};
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 16; ++c) {
            bool a = ((r >> 2) + (c >> 2)) % 2 == 0;
            p.t[r][c] = least_gray(a ? kCellA[r & 3][c & 3] : kCellB[r & 3][c & 3]);
        }
    return p;
}
constexpr Period kPeriod = make_period();

void halftone(ImageRecord *rec) {
    int32_t bpp = image_bpp(rec);
    if (!reduce_source_ok(kModule, bpp, 1)) return;
    reduce_by_matrix(rec, kModule, QV_BI_RUNS, kPeriod.t, 8);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_IP_color_reduce_halftone(QUORIN image, uint32_t pattern) {
    (void)pattern;  // one pattern only
    return api_frame_image(image, [&] { halftone(image_from_handle(image)); });
}

}  // extern "C"
