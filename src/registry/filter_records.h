/*
 * filter_records.h - the entry-point records of every built-in format filter.
 *
 * Defined in filter_records.cpp from the registry's detectors and each
 * filter's entries (src/filters/); formats whose codec is not built have
 * records whose entries push -500 (not compiled in) but keep their detector.
 */
#pragma once

#include "registry/filter_table.h"

namespace qv {

extern const FilterFns kFnsTIFF, kFnsBMP, kFnsAFX, kFnsGIF, kFnsPNG, kFnsGEM, kFnsJPG, kFnsPCX,
    kFnsDCX, kFnsICA16, kFnsICA26, kFnsWPG, kFnsPSD, kFnsPCD, kFnsEPS, kFnsCALS, kFnsIFF, kFnsAVI,
    kFnsXWD, kFnsXPM, kFnsXBM, kFnsPBM, kFnsRAS, kFnsSGI, kFnsMSP, kFnsKFX, kFnsIMT, kFnsBRK, kFnsLV,
    kFnsWMF, kFnsNCR, kFnsCLP, kFnsICO, kFnsTGA, kFnsPCT, kFnsCUT, kFnsMAC, kFnsTXT, kFnsG3a,
    kFnsRaw53, kFnsG4, kFnsRaw54, kFnsRaw55, kFnsRaw57, kFnsIMG;

// Installs the library's own decoders in the codec slot table (process attach).
void filter_codecs_attach();

}  // namespace qv
