/*
 * qv_tables.cpp - the qv tool's tables as data: error texts with the code
 * names, format names, compression names and the texts for paths qv could
 * not use.
 */
#include "qv_tables.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "vosk32pd.h"

namespace qvtool {
namespace {

#define QV_E(c, text, hint, role) {c, #c, text, hint, Role::role}
// Texts say what went wrong with the user's file; where a code has several
// meanings across modules, the text covers them in plain words.
constexpr ErrorText kErrors[] = {
    QV_E(QVE_FAILED, "the operation failed", nullptr, kPlain),
    QV_E(QVE_XPM_SYNTAX, "the XPM text is malformed", nullptr, kPlain),
    QV_E(QVE_XPM_READ, "an XPM line cannot be read", nullptr, kPlain),
    QV_E(QVE_XPM_PIXEL, "an XPM pixel uses a colour missing from its table", nullptr, kPlain),
    QV_E(QVE_ACCESS_MODE, "this row access mode is not supported", nullptr, kPlain),
    QV_E(QVE_FORMAT_UNSUPPORTED, "this image layout is not supported here ({iVal})", nullptr,
         kPlain),
    QV_E(QVE_NOT_AVAILABLE, "this operation is not available", nullptr, kPlain),
    QV_E(QVE_BAD_HEADER, "a header field is out of range: the file is damaged", nullptr, kPlain),
    QV_E(QVE_NOT_IMPLEMENTED, "{format} is recognised but cannot be {done} yet", nullptr,
         kPlain),
    QV_E(QVE_BAD_ARGUMENT, "the value {iVal} is not accepted", nullptr, kPlain),
    QV_E(QVE_EXT_BAD_MODULE, "the extension module is incomplete", nullptr, kPlain),
    QV_E(QVE_NO_MEMORY, "out of memory", nullptr, kPlain),
    QV_E(QVE_KERNEL_STATE, "the filter kernel is not set up", nullptr, kPlain),
    QV_E(QVE_INTERNAL_TABLE, "an internal table cannot be built", nullptr, kPlain),
    QV_E(QVE_READ_DATA, "the image data is damaged and cannot be decoded", nullptr, kPlain),
    QV_E(QVE_READ_PALETTE, "the palette is cut short: the file is truncated", nullptr, kPlain),
    QV_E(QVE_LOAD_CALLBACK, "the image was refused while loading", nullptr, kPlain),
    QV_E(QVE_SEEK, "a position inside the file cannot be reached: the file is truncated",
         nullptr, kPlain),
    QV_E(QVE_DETECT_FAILED, "not an image file", nullptr, kSummary),
    QV_E(QVE_OPEN_FAILED, "the file cannot be opened", nullptr, kPlain),
    QV_E(QVE_WRITE_HEADER, "the header cannot be written (disk full?)", nullptr, kPlain),
    QV_E(QVE_SHORT_READ, "the file is cut short (needed {iVal} bytes, found {lVal})", nullptr,
         kPlain),
    QV_E(QVE_BUFFER_FAILED, "a work buffer cannot be obtained, or the data is damaged", nullptr,
         kPlain),
    QV_E(QVE_SHORT_HEADER, "the header is cut short (needed {iVal} bytes, found {lVal})",
         nullptr, kPlain),
    QV_E(QVE_BAD_SIGNATURE, "the file's signature is wrong: it is damaged or not what it seems",
         nullptr, kPlain),
    QV_E(QVE_INVALID_IMAGE, "this variant or bit depth is not supported", nullptr, kPlain),
    QV_E(QVE_WRITE_FAILED, "writing failed (disk full?)", nullptr, kPlain),
    QV_E(QVE_WRITE_DATA, "the image data cannot be written", nullptr, kPlain),
    QV_E(QVE_SHORT_WRITE, "writing stopped short (disk full?)", nullptr, kPlain),
    QV_E(QVE_BAD_SAVE_OPTION, "this format cannot write with option or compression {iVal}",
         nullptr, kPlain),
    QV_E(QVE_REGISTRY, "the library's instance data cannot be found", nullptr, kPlain),
    QV_E(QVE_BAD_OFFSET, "a data offset does not fit the file: it is damaged", nullptr, kPlain),
    QV_E(QVE_SAVE_FORMAT, "no image format is known for {target}",
         "choose the output format with --format, for example --format bmp", kPlain),
    QV_E(QVE_SAVE_CALLBACK, "{format} can be read but not written", nullptr, kPlain),
    QV_E(QVE_UNSUPPORTED_VARIANT, "this variant or compression of the format is not supported "
         "({iVal})", nullptr, kPlain),
    QV_E(QVE_CANCELLED, "cancelled", nullptr, kPlain),
    QV_E(QVE_COLOR_COUNT, "the colour count is not accepted, or a write was short", nullptr,
         kPlain),
    QV_E(QVE_CCITT_CODE, "a fax code word is not valid: the data is damaged", nullptr, kPlain),
    QV_E(QVE_SAVE_DEPTH, "this bit depth cannot be saved in this format", nullptr, kPlain),
    QV_E(QVE_CONTROL_VALUE, "a format setting holds a value that is not accepted", nullptr,
         kPlain),
    QV_E(QVE_JPEG_STREAM, "the JPEG markers are damaged or out of order", nullptr, kPlain),
    QV_E(QVE_JPEG_FRAME, "the JPEG frame header cannot be used", nullptr, kPlain),
    QV_E(QVE_JPEG_SAMPLING, "the JPEG sampling factors are not supported", nullptr, kPlain),
    QV_E(QVE_JPEG_SCAN, "a JPEG scan header cannot be used", nullptr, kPlain),
    QV_E(QVE_JPEG_TABLE, "a JPEG table is damaged", nullptr, kPlain),
    QV_E(QVE_PNG_CHUNK, "a PNG chunk is damaged (length, checksum or order)", nullptr, kPlain),
    QV_E(QVE_PNG_SEEK, "the PNG stream cannot be repositioned", nullptr, kPlain),
    QV_E(QVE_LINE_LAYOUT, "line access is not supported for this image layout", nullptr, kPlain),
    QV_E(QVE_DIB_LAYOUT, "this access does not handle 1-bit images held as runs", nullptr,
         kPlain),
    QV_E(QVE_THUMB_NO_READ, "the load was stopped", nullptr, kPlain),
    QV_E(QVE_SETTING_UNKNOWN, "unknown setting", nullptr, kPlain),
    QV_E(QVE_RES_MODE, "unknown resolution unit", nullptr, kPlain),
    QV_E(QVE_FILE_SHORT, "the file is shorter than its header", nullptr, kPlain),
    QV_E(QVE_VARIANT, "this variant of the format is not supported", nullptr, kPlain),
    QV_E(QVE_TIFF_PHOTOMETRIC, "TIFF photometric interpretation {iVal} is not supported", nullptr,
         kPlain),
    QV_E(QVE_TIFF_OFFSETS, "the TIFF page has no strip or tile offsets, or no such tile", nullptr,
         kPlain),
    QV_E(QVE_TIFF_COMPRESSION, "TIFF compression {lVal} is not supported", nullptr, kPlain),
    QV_E(QVE_OUTPUT_POSITION, "the image to write could not be described", nullptr, kPlain),
    QV_E(QVE_ZERO_SIZE, "the image is {iVal} x {lVal} pixels: nothing to load", nullptr, kPlain),
    QV_E(QVE_DEPTH_COMPRESSION, "this bit depth cannot be written with this compression", nullptr,
         kPlain),
    QV_E(QVE_NO_LZW_CODEC, "no LZW decoder is installed", nullptr, kPlain),
    QV_E(QVE_FAX_PROFILE, "the image breaks fax-profile rule {iVal}", nullptr, kPlain),
    QV_E(QVE_NO_CODEC, "no decoder is installed for TIFF compression 32780", nullptr, kPlain),
    QV_E(QVE_DEPTH_UNSUPPORTED, "{iVal} bits per pixel is not supported here", nullptr, kPlain),
    QV_E(QVE_LOCK_FAILED, "image memory cannot be locked", nullptr, kPlain),
    QV_E(QVE_IMAGE_ALLOC, "out of memory for the image", nullptr, kPlain),
    QV_E(QVE_FREE_FAILED, "memory cannot be freed", nullptr, kPlain),
    QV_E(QVE_NULL_POINTER, "a required argument is missing", nullptr, kPlain),
    QV_E(QVE_DEPTH_NOT_APPLICABLE, "not possible at {iVal} bits per pixel", nullptr, kPlain),
    QV_E(QVE_OUT_OF_RANGE, "the value {iVal} is out of range", nullptr, kPlain),
    QV_E(QVE_NULL_OUTPUT, "a required output is missing", nullptr, kPlain),
    QV_E(QVE_RES_UNIT, "this resolution unit is not supported", nullptr, kPlain),
    QV_E(QVE_TARGET_ZERO, "the target size is zero", nullptr, kPlain),
    QV_E(QVE_TOO_LARGE, "the image is too large ({iVal} x {lVal} pixels)", nullptr, kPlain),
    QV_E(QVE_BUFFER_UNAVAILABLE,
         "this needs a grey image (averaging and bilinear resizing of colour-palette images), "
         "or a work buffer is unavailable",
         nullptr, kPlain),
    QV_E(QVE_ROW_RANGE, "a row outside the image was asked for", nullptr, kPlain),
    QV_E(QVE_RECT_ORDER, "the rectangle's left is beyond its right or its top beyond its bottom",
         nullptr, kPlain),
    QV_E(QVE_SAVE_TARGET, "the file cannot be created (is the folder there and writable?)",
         nullptr, kPlain),
    QV_E(QVE_NOT_IMAGE, "a known kind of file that is not an image", nullptr, kReason),
    QV_E(QVE_EXECUTABLE, "it is a program", nullptr, kReason),
    QV_E(QVE_ARCHIVE, "it is a ZIP archive", nullptr, kReason),
    QV_E(QVE_HELP_FILE, "it is a Windows help file", nullptr, kReason),
};
#undef QV_E

struct PathText {
    int32_t code;
    PathState state;
    const char *text;
};
constexpr PathText kPathTexts[] = {
    {QVE_OPEN_FAILED, PathState::kMissing, "file not found"},
    {QVE_OPEN_FAILED, PathState::kUnreadable, "permission denied"},
    {QVE_DETECT_FAILED, PathState::kEmpty, "not an image file: the file is empty"},
    {QVE_DETECT_FAILED, PathState::kDirectory, "not an image file: it is a directory"},
    {QVE_DETECT_FAILED, PathState::kOther, "not an image file: not a regular file"},
    {QVE_DETECT_FAILED, PathState::kRegular,
     "not an image file: its content matches no format qv knows"},
};

struct CodeName {
    int32_t code;
    const char *name;
};

// Format types of the built-in filters with the names the tool shows and
// accepts (a few types have more than one accepted name).
constexpr CodeName kFormatNames[] = {
    {2, "BMP"},  {3, "BRK"},  {4, "CALS"}, {5, "CLP"},  {7, "CUT"},  {8, "DCX"},  {10, "EPS"},
    {11, "G3"},  {12, "G4"},  {13, "GEM"}, {14, "GIF"}, {16, "ICA"}, {17, "ICO"}, {18, "IFF"},
    {20, "IMT"}, {21, "JPEG"}, {21, "JPG"}, {22, "KFX"}, {23, "LV"},  {24, "MAC"}, {25, "MSP"},
    {26, "ICA2"}, {27, "NCR"}, {28, "PBM"}, {29, "PCD"}, {30, "PICT"}, {31, "PCX"}, {33, "PNG"},
    {36, "PSD"}, {37, "RAS"}, {38, "SGI"}, {39, "TGA"}, {40, "TIFF"}, {40, "TIF"}, {41, "TXT"},
    {42, "WPG"}, {43, "XBM"}, {44, "WMF"}, {45, "XPM"}, {46, "IMG"}, {47, "XWD"}, {49, "AFX"},
    {52, "AVI"}, {53, "G3-2D"},
};

// Compression values of the information call: BMP reports the header's own
// value; every other format reports the library's compression code.
struct Compression {
    int32_t format_type;  // 0: any format but BMP
    int32_t value;
    const char *name;
};
constexpr Compression kCompressions[] = {
    {QV_FORMAT_BMP, 0, "uncompressed"},
    {QV_FORMAT_BMP, 1, "RLE8"},
    {QV_FORMAT_BMP, 2, "RLE4"},
    {QV_FORMAT_BMP, 3, "bit fields"},
    {QV_FORMAT_BMP, 4, "JPEG"},
    {QV_FORMAT_BMP, 5, "PNG"},
    {QV_FORMAT_BMP, 6, "bit fields with alpha"},
    {QV_FORMAT_BMP, 500, "1-bit runs"},
    {QV_FORMAT_BMP, 503, "16-bit grey"},
    {QV_FORMAT_BMP, 504, "palette above 8 bits"},
    {0, 0, "uncompressed"},
    {0, 1, "PackBits"},
    {0, 2, "CCITT modified Huffman"},
    {0, 3, "CCITT Group 3"},
    {0, 4, "CCITT Group 4"},
    {0, 5, "CCITT Group 3 2-D"},
    {0, 6, "JPEG"},
    {0, 7, "RLE"},
    {0, 8, "LZW"},
    {0, 9, "Deflate"},
};

}  // namespace

const ErrorText *error_text(int32_t code) {
    for (const ErrorText &e : kErrors)
        if (e.code == code) return &e;
    return nullptr;
}

const char *path_text(int32_t code, PathState state) {
    for (const PathText &p : kPathTexts)
        if (p.code == code && p.state == state) return p.text;
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

// Output extensions the library's extension lists leave out, with the
// format qv writes for them.
constexpr CodeName kExtraExtensions[] = {{28, "PPM"}, {28, "PGM"}, {28, "PNM"}};

int32_t format_of_name(const char *path) {
    const char *base = std::strrchr(path, '/');
    const char *dot = std::strrchr(base ? base : path, '.');
    if (!dot) return 0;
    for (const CodeName &c : kExtraExtensions)
        if (strcasecmp(dot + 1, c.name) == 0) return c.code;
    return 0;
}

const char *compression_name(int32_t format_type, int32_t value) {
    const int32_t family = format_type == QV_FORMAT_BMP ? QV_FORMAT_BMP : 0;
    for (const Compression &c : kCompressions)
        if (c.format_type == family && c.value == value) return c.name;
    return nullptr;
}

}  // namespace qvtool
