/*
 * qv_tables.cpp - error code names and format names, as data, in one place.
 */
#include "qv_tables.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "vosk32pd.h"

namespace qvtool {
namespace {

struct CodeName {
    int32_t code;
    const char *name;
};

#define QV_NAME(c) {c, #c}
constexpr CodeName kErrorNames[] = {
    QV_NAME(QVE_FAILED),          QV_NAME(QVE_XPM_SYNTAX),       QV_NAME(QVE_XPM_READ),
    QV_NAME(QVE_XPM_PIXEL),       QV_NAME(QVE_ACCESS_MODE),      QV_NAME(QVE_FORMAT_UNSUPPORTED),
    QV_NAME(QVE_NOT_AVAILABLE),   QV_NAME(QVE_BAD_HEADER),       QV_NAME(QVE_NOT_IMPLEMENTED),
    QV_NAME(QVE_BAD_ARGUMENT),    QV_NAME(QVE_EXT_BAD_MODULE),   QV_NAME(QVE_NO_MEMORY),
    QV_NAME(QVE_KERNEL_STATE),    QV_NAME(QVE_INTERNAL_TABLE),   QV_NAME(QVE_READ_DATA),
    QV_NAME(QVE_READ_PALETTE),    QV_NAME(QVE_LOAD_CALLBACK),    QV_NAME(QVE_SEEK),
    QV_NAME(QVE_DETECT_FAILED),   QV_NAME(QVE_OPEN_FAILED),      QV_NAME(QVE_WRITE_HEADER),
    QV_NAME(QVE_SHORT_READ),      QV_NAME(QVE_BUFFER_FAILED),    QV_NAME(QVE_SHORT_HEADER),
    QV_NAME(QVE_BAD_SIGNATURE),   QV_NAME(QVE_INVALID_IMAGE),    QV_NAME(QVE_WRITE_FAILED),
    QV_NAME(QVE_WRITE_DATA),      QV_NAME(QVE_SHORT_WRITE),      QV_NAME(QVE_BAD_SAVE_OPTION),
    QV_NAME(QVE_REGISTRY),        QV_NAME(QVE_BAD_OFFSET),       QV_NAME(QVE_SAVE_FORMAT),
    QV_NAME(QVE_SAVE_CALLBACK),   QV_NAME(QVE_UNSUPPORTED_VARIANT), QV_NAME(QVE_CANCELLED),
    QV_NAME(QVE_COLOR_COUNT),     QV_NAME(QVE_SAVE_DEPTH),       QV_NAME(QVE_CONTROL_VALUE),
    QV_NAME(QVE_LINE_LAYOUT),     QV_NAME(QVE_DIB_LAYOUT),       QV_NAME(QVE_THUMB_NO_READ),
    QV_NAME(QVE_SETTING_UNKNOWN), QV_NAME(QVE_RES_MODE),         QV_NAME(QVE_FILE_SHORT),
    QV_NAME(QVE_VARIANT),         QV_NAME(QVE_DEPTH_UNSUPPORTED), QV_NAME(QVE_LOCK_FAILED),
    QV_NAME(QVE_IMAGE_ALLOC),     QV_NAME(QVE_FREE_FAILED),      QV_NAME(QVE_NULL_POINTER),
    QV_NAME(QVE_DEPTH_NOT_APPLICABLE), QV_NAME(QVE_OUT_OF_RANGE), QV_NAME(QVE_NULL_OUTPUT),
    QV_NAME(QVE_RES_UNIT),        QV_NAME(QVE_TARGET_ZERO),      QV_NAME(QVE_TOO_LARGE),
    QV_NAME(QVE_ROW_RANGE),       QV_NAME(QVE_RECT_ORDER),       QV_NAME(QVE_SAVE_TARGET),
    QV_NAME(QVE_NOT_IMAGE),       QV_NAME(QVE_EXECUTABLE),       QV_NAME(QVE_ARCHIVE),
    QV_NAME(QVE_HELP_FILE),
};
#undef QV_NAME

// Format types of the built-in filters with the names the tool shows and
// accepts (a few types have more than one accepted name).
constexpr CodeName kFormatNames[] = {
    {2, "BMP"},  {3, "BRK"},  {4, "CALS"}, {5, "CLP"},  {7, "CUT"},  {8, "DCX"},  {10, "EPS"},
    {11, "G3"},  {12, "G4"},  {13, "GEM"}, {14, "GIF"}, {16, "ICA"}, {17, "ICO"}, {18, "IFF"},
    {20, "IMT"}, {21, "JPEG"}, {21, "JPG"}, {22, "KFX"}, {23, "LV"},  {24, "MAC"}, {25, "MSP"},
    {26, "ICA2"}, {27, "NCR"}, {28, "PBM"}, {29, "PCD"}, {30, "PICT"}, {31, "PCX"}, {33, "PNG"},
    {36, "PSD"}, {37, "RAS"}, {38, "SGI"}, {39, "TGA"}, {40, "TIFF"}, {40, "TIF"}, {41, "TXT"},
    {42, "WPG"}, {43, "XBM"}, {44, "WMF"}, {45, "XPM"}, {46, "IMG"}, {47, "XWD"}, {49, "AFX"},
    {52, "AVI"},
};

}  // namespace

const char *error_name(int32_t code) {
    for (const CodeName &c : kErrorNames)
        if (c.code == code) return c.name;
    return nullptr;
}

const char *format_name(int32_t type) {
    for (const CodeName &c : kFormatNames)
        if (c.code == type) return c.name;
    return nullptr;
}

int32_t format_type_of(const char *text) {
    if (!text || !*text) return -1;
    char *end = nullptr;
    long v = std::strtol(text, &end, 10);
    if (*end == 0) return v > 0 && v < 65536 ? int32_t(v) : -1;
    for (const CodeName &c : kFormatNames) {
        size_t n = std::strlen(c.name);
        if (std::strlen(text) != n) continue;
        bool same = true;
        for (size_t i = 0; i < n && same; ++i)
            same = std::toupper(static_cast<unsigned char>(text[i])) == c.name[i];
        if (same) return c.code;
    }
    return -1;
}

}  // namespace qvtool
