/*
 * filter_records.cpp - the entry-point record of every built-in format
 * filter, as the filter table refers to them: the registry's detector for
 * the format and the filter's own entries (declared by the filter's header
 * in src/filters/). Formats whose codec is not built keep their detector
 * and have exactly the entries their table row lists, each pushing -500
 * (not compiled in) with the format type as iVal.
 */
#include "registry/filter_records.h"

#include "filters/bmp_format.h"
#include "filters/ccitt_filter.h"
#include "filters/gif_filter.h"
#include "filters/ico_format.h"
#include "filters/jpg_filter.h"
#include "filters/msp_format.h"
#include "filters/pcx_filter.h"
#include "filters/png_filter.h"
#include "filters/pnm_format.h"
#include "filters/psd_format.h"
#include "filters/sgi_format.h"
#include "filters/sun_format.h"
#include "filters/tga_format.h"
#include "filters/tif_filter.h"
#include "filters/xbm_format.h"
#include "filters/xpm_format.h"
#include "filters/xwd_format.h"
#include "registry/detect.h"
#include "support/errors.h"

namespace qv {
namespace {
constexpr char kModule[] = "FILTERS\\NOTBUILT.C";
}

// Built filters: detect, info, read, write, pages, tiles, thumbnail.
const FilterFns kFnsBMP = {detect_bmp, bmp_info, bmp_read, bmp_write, bmp_pages, nullptr, nullptr};
const FilterFns kFnsPCX = {detect_pcx, pcx_info, pcx_read, pcx_write, pcx_pages, nullptr, nullptr};
const FilterFns kFnsDCX = {detect_dcx, dcx_info, dcx_read, dcx_write, dcx_pages, nullptr, nullptr};
const FilterFns kFnsGIF = {detect_gif, gif_info, gif_read, gif_write, gif_pages, nullptr, nullptr};
const FilterFns kFnsJPG = {detect_jpg, jpg_info, jpg_read, jpg_write, jpg_pages, nullptr, jpg_thumbnail};
const FilterFns kFnsPNG = {detect_png, png_info, png_read, png_write, png_pages, nullptr, nullptr};
const FilterFns kFnsPBM = {detect_pbm, pnm_info, pnm_read, pnm_write, pnm_pages, nullptr, nullptr};
const FilterFns kFnsSGI = {detect_sgi, sgi_info, sgi_read, sgi_write, sgi_pages, nullptr, nullptr};
const FilterFns kFnsRAS = {detect_ras, sun_info, sun_read, sun_write, sun_pages, nullptr, nullptr};
const FilterFns kFnsICO = {detect_ico, ico_info, ico_read, ico_write, ico_pages, nullptr, nullptr};
const FilterFns kFnsXBM = {detect_xbm, xbm_info, xbm_read, xbm_write, xbm_pages, nullptr, nullptr};
const FilterFns kFnsXPM = {detect_xpm, xpm_info, xpm_read, xpm_write, xpm_pages, nullptr, nullptr};
const FilterFns kFnsXWD = {detect_xwd, xwd_info, xwd_read, xwd_write, xwd_pages, nullptr, nullptr};
const FilterFns kFnsPSD = {detect_psd, psd_info, psd_read, psd_write, psd_pages, nullptr, nullptr};
const FilterFns kFnsMSP = {detect_msp, msp_info, msp_read, nullptr, msp_pages, nullptr, nullptr};
const FilterFns kFnsTGA = {detect_tga, tga_info, tga_read, tga_write, tga_pages, nullptr, nullptr};

namespace {

// The entry points of one format that is not compiled in: each pushes -500
// with the format type as iVal.
template <int32_t Type>
struct NotBuilt {
    static int32_t info(VPb_STREAM *, QV_DIB_HEADER *, int32_t *, int32_t *, void *) {
        return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0);
    }
    static int32_t read(VPb_STREAM *, void *, int32_t, int32_t) { return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0); }
    static int32_t write(VPb_STREAM *, void *, int32_t, int32_t, int32_t) {
        return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0);
    }
    static int32_t pages(VPb_STREAM *, void *, int32_t *) { return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0); }
    static int32_t tiles(VPb_STREAM *, void *, int32_t, int32_t *, int32_t *) {
        return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0);
    }
    static int32_t thumb(VPb_STREAM *, void *, int32_t, int32_t) { return QV_ERR(QVE_NOT_IMPLEMENTED, Type, 0); }
};

}  // namespace

// Entry-point records: detect, info, read, write, pages, tiles, thumbnail.
#define I(t) NotBuilt<t>::info
#define R(t) NotBuilt<t>::read
#define W(t) NotBuilt<t>::write
#define P(t) NotBuilt<t>::pages
#define T(t) NotBuilt<t>::tiles
#define N nullptr
const FilterFns kFnsTIFF = {detect_tiff, tif_info, tif_read, tif_write, tif_pages, tif_tiles, N};
const FilterFns kFnsAFX = {detect_afx, I(49), R(49), N, P(49), N, N};
const FilterFns kFnsGEM = {detect_gem, I(13), R(13), N, N, N, N};
const FilterFns kFnsICA16 = {detect_ica16, I(16), R(16), W(16), P(16), T(16), N};
const FilterFns kFnsICA26 = {detect_ica26, I(26), R(26), W(26), P(26), T(26), N};
const FilterFns kFnsWPG = {detect_wpg, I(42), R(42), N, P(42), N, N};
const FilterFns kFnsPCD = {detect_pcd, I(29), R(29), N, P(29), N, N};
const FilterFns kFnsEPS = {detect_eps, I(10), R(10), W(10), P(10), N, N};
const FilterFns kFnsCALS = {detect_cals, I(4), R(4), W(4), P(4), N, N};
const FilterFns kFnsIFF = {detect_iff, I(18), R(18), W(18), P(18), N, N};
const FilterFns kFnsAVI = {detect_avi, I(52), R(52), N, P(52), N, N};
const FilterFns kFnsKFX = {detect_kfx, I(22), R(22), N, P(22), N, N};
const FilterFns kFnsIMT = {detect_imt, I(20), R(20), W(20), P(20), N, N};
const FilterFns kFnsBRK = {detect_brk, I(3), R(3), W(3), P(3), N, N};
const FilterFns kFnsLV = {detect_lv, I(23), R(23), N, P(23), N, N};
const FilterFns kFnsWMF = {detect_wmf, I(44), R(44), W(44), P(44), N, N};
const FilterFns kFnsNCR = {detect_ncr, I(27), R(27), W(27), P(27), N, N};
const FilterFns kFnsCLP = {detect_clp, I(5), R(5), W(5), P(5), N, N};
const FilterFns kFnsPCT = {detect_pict, I(30), R(30), W(30), P(30), N, N};
const FilterFns kFnsCUT = {detect_cut, I(7), R(7), N, P(7), N, N};
const FilterFns kFnsMAC = {detect_mac, I(24), R(24), N, P(24), N, N};
const FilterFns kFnsTXT = {detect_txt, I(41), R(41), N, P(41), N, N};
const FilterFns kFnsG3a = {N, N, g3_read, ccitt_raw_write, N, N, N};
const FilterFns kFnsRaw53 = {N, N, g3_2d_read, ccitt_raw_write, N, N, N};
const FilterFns kFnsG4 = {N, N, g4_read, ccitt_raw_write, N, N, N};
const FilterFns kFnsRaw54 = {N, N, R(54), N, N, N, N};
const FilterFns kFnsRaw55 = {N, N, R(55), N, N, N, N};
const FilterFns kFnsRaw57 = {N, N, R(57), W(57), N, N, N};
const FilterFns kFnsIMG = {detect_img, I(46), R(46), N, P(46), N, N};
#undef I
#undef R
#undef W
#undef P
#undef T
#undef N

// The library's own codecs in the codec slot table (LZW in slot 8).
void filter_codecs_attach() { VPb_TIF_codec_set(QV_CODEC_SLOT_LZW, tif_lzw_codec); }

}  // namespace qv
