/*
 * detect.h - the built-in format detectors, one per detecting table row.
 *
 * Each takes the stream, the first bytes of it and their count, and returns
 * non-zero when the bytes belong to its format. Detectors that seek leave
 * the final position to the detection driver, which restores it.
 */
#pragma once

#include "vosk32pd_bridge.h"

namespace qv {

#define QV_DETECTOR(name) int32_t name(VPb_STREAM *stream, const uint8_t *buf, int32_t count)
QV_DETECTOR(detect_tiff);
QV_DETECTOR(detect_bmp);
QV_DETECTOR(detect_afx);
QV_DETECTOR(detect_gif);
QV_DETECTOR(detect_png);
QV_DETECTOR(detect_gem);
QV_DETECTOR(detect_jpg);
QV_DETECTOR(detect_pcx);
QV_DETECTOR(detect_dcx);
QV_DETECTOR(detect_ica16);
QV_DETECTOR(detect_ica26);
QV_DETECTOR(detect_wpg);
QV_DETECTOR(detect_psd);
QV_DETECTOR(detect_pcd);
QV_DETECTOR(detect_eps);
QV_DETECTOR(detect_cals);
QV_DETECTOR(detect_iff);
QV_DETECTOR(detect_avi);
QV_DETECTOR(detect_xwd);
QV_DETECTOR(detect_xpm);
QV_DETECTOR(detect_xbm);
QV_DETECTOR(detect_pbm);
QV_DETECTOR(detect_ras);
QV_DETECTOR(detect_sgi);
QV_DETECTOR(detect_msp);
QV_DETECTOR(detect_kfx);
QV_DETECTOR(detect_imt);
QV_DETECTOR(detect_brk);
QV_DETECTOR(detect_lv);
QV_DETECTOR(detect_wmf);
QV_DETECTOR(detect_ncr);
QV_DETECTOR(detect_clp);
QV_DETECTOR(detect_ico);
QV_DETECTOR(detect_tga);
QV_DETECTOR(detect_pict);
QV_DETECTOR(detect_cut);
QV_DETECTOR(detect_mac);
QV_DETECTOR(detect_txt);
QV_DETECTOR(detect_img);
#undef QV_DETECTOR

}  // namespace qv
