/*
 * stub_filters.cpp - the "not compiled in" entry points, and the entry-point
 * records of every format whose codec is not built yet. Each record keeps
 * the format's detector and has exactly the entries its table row lists.
 */
#include "filters/stub_filters.h"

#include "filters/filters.h"
#include "load/detect.h"
#include "support/errors.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\NOTBUILT.C";
}

int32_t stub_info(VPb_STREAM *, QV_DIB_HEADER *, int32_t *, int32_t *, void *) {
    return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0);
}
int32_t stub_read(VPb_STREAM *, void *, int32_t, int32_t) { return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0); }
int32_t stub_write(VPb_STREAM *, void *, int32_t, int32_t, int32_t) {
    return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0);
}
int32_t stub_pages(VPb_STREAM *, void *, int32_t *) { return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0); }
int32_t stub_tiles(VPb_STREAM *, void *, int32_t, int32_t *, int32_t *) {
    return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0);
}
int32_t stub_thumb(VPb_STREAM *, void *, int32_t, int32_t) { return QV_ERR(QVE_NOT_IMPLEMENTED, 0, 0); }

// Entry-point records: detect, info, read, write, pages, tiles, thumbnail.
#define I stub_info
#define R stub_read
#define W stub_write
#define P stub_pages
#define T stub_tiles
#define N nullptr
const FilterFns kFnsTIFF = {detect_tiff, I, R, W, P, T, N};
const FilterFns kFnsAFX = {detect_afx, I, R, N, P, N, N};
const FilterFns kFnsGIF = {detect_gif, I, R, W, P, N, N};
const FilterFns kFnsPNG = {detect_png, I, R, W, P, N, N};
const FilterFns kFnsGEM = {detect_gem, I, R, N, N, N, N};
const FilterFns kFnsJPG = {detect_jpg, I, R, W, P, N, stub_thumb};
const FilterFns kFnsICA16 = {detect_ica16, I, R, W, P, T, N};
const FilterFns kFnsICA26 = {detect_ica26, I, R, W, P, T, N};
const FilterFns kFnsWPG = {detect_wpg, I, R, N, P, N, N};
const FilterFns kFnsPSD = {detect_psd, I, R, W, P, N, N};
const FilterFns kFnsPCD = {detect_pcd, I, R, N, P, N, N};
const FilterFns kFnsEPS = {detect_eps, I, R, W, P, N, N};
const FilterFns kFnsCALS = {detect_cals, I, R, W, P, N, N};
const FilterFns kFnsIFF = {detect_iff, I, R, W, P, N, N};
const FilterFns kFnsAVI = {detect_avi, I, R, N, P, N, N};
const FilterFns kFnsXWD = {detect_xwd, I, R, W, P, N, N};
const FilterFns kFnsXPM = {detect_xpm, I, R, W, P, N, N};
const FilterFns kFnsXBM = {detect_xbm, I, R, W, P, N, N};
const FilterFns kFnsPBM = {detect_pbm, I, R, W, P, N, N};
const FilterFns kFnsRAS = {detect_ras, I, R, W, P, N, N};
const FilterFns kFnsSGI = {detect_sgi, I, R, W, P, N, N};
const FilterFns kFnsMSP = {detect_msp, I, R, N, P, N, N};
const FilterFns kFnsKFX = {detect_kfx, I, R, N, P, N, N};
const FilterFns kFnsIMT = {detect_imt, I, R, W, P, N, N};
const FilterFns kFnsBRK = {detect_brk, I, R, W, P, N, N};
const FilterFns kFnsLV = {detect_lv, I, R, N, P, N, N};
const FilterFns kFnsWMF = {detect_wmf, I, R, W, P, N, N};
const FilterFns kFnsNCR = {detect_ncr, I, R, W, P, N, N};
const FilterFns kFnsCLP = {detect_clp, I, R, W, P, N, N};
const FilterFns kFnsICO = {detect_ico, I, R, W, P, N, N};
const FilterFns kFnsTGA = {detect_tga, I, R, W, P, N, N};
const FilterFns kFnsPCT = {detect_pict, I, R, W, P, N, N};
const FilterFns kFnsCUT = {detect_cut, I, R, N, P, N, N};
const FilterFns kFnsMAC = {detect_mac, I, R, N, P, N, N};
const FilterFns kFnsTXT = {detect_txt, I, R, N, P, N, N};
const FilterFns kFnsG3a = {N, N, R, W, N, N, N};
const FilterFns kFnsRaw53 = {N, N, R, W, N, N, N};
const FilterFns kFnsG4 = {N, N, R, W, N, N, N};
const FilterFns kFnsRaw54 = {N, N, R, N, N, N, N};
const FilterFns kFnsRaw55 = {N, N, R, N, N, N, N};
const FilterFns kFnsRaw57 = {N, N, R, W, N, N, N};
const FilterFns kFnsIMG = {detect_img, I, R, N, P, N, N};
#undef I
#undef R
#undef W
#undef P
#undef T
#undef N

}  // namespace qv
