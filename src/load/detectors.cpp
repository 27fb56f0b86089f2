/*
 * detectors.cpp - the built-in format detectors (placeholders that decline).
 */
#include "load/detect.h"

namespace qv {
int32_t detect_tiff(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_bmp(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_afx(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_gif(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_png(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_gem(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_jpg(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_pcx(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_dcx(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_ica16(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_ica26(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_wpg(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_psd(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_pcd(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_eps(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_cals(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_iff(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_avi(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_xwd(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_xpm(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_xbm(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_pbm(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_ras(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_sgi(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_msp(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_kfx(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_imt(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_brk(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_lv(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_wmf(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_ncr(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_clp(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_ico(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_tga(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_pict(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_cut(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_mac(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_txt(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }
int32_t detect_img(VPb_STREAM *, const uint8_t *, int32_t) { return 0; }

}  // namespace qv
