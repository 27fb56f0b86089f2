/*
 * vosk32pd/base.h - types shared by the whole VOSK32PD interface.
 *
 * Holds the export macro, the image handle type QUORIN, the DIB header and
 * palette entry records, the rectangle record, the library's private DIB
 * compression values and the master table of error codes (QVE_ names).
 * Included by vosk32pd.h; compiles as C99 and as C++.
 */
#ifndef VOSK32PD_BASE_H
#define VOSK32PD_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(VOSK32PD_BUILD)
#define QV_API __attribute__((visibility("default")))
#else
#define QV_API
#endif

#ifdef __cplusplus
#define QV_EXTERN_C_BEGIN extern "C" {
#define QV_EXTERN_C_END }
#else
#define QV_EXTERN_C_BEGIN
#define QV_EXTERN_C_END
#endif

/* An image handle: the address of the library's image record. Treat it as
 * opaque; test it with QV_image_is_valid before trusting it. */
typedef struct QV_image_record_s *QUORIN;

/* A stream: a file or memory stream with its byte order, tag callbacks and
 * the load/save callbacks the pipelines install. Opaque to filters. */
typedef struct VPb_STREAM_s VPb_STREAM;

/* The 40-byte Windows BITMAPINFOHEADER, as held at the start of every DIB. */
typedef struct QV_DIB_HEADER {
    uint32_t biSize;          /* 40 */
    int32_t biWidth;
    int32_t biHeight;         /* positive: rows stored bottom-up */
    uint16_t biPlanes;        /* 1 */
    uint16_t biBitCount;      /* 1, 4, 8, 16, 24 or 32 */
    uint32_t biCompression;   /* QV_BI_* */
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;  /* per metre or per inch: QV_DIB_resolution_units_get */
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} QV_DIB_HEADER;

/* One palette entry: blue, green, red, reserved. */
typedef struct QV_RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} QV_RGBQUAD;

/* An inclusive rectangle in image coordinates (row 0 is the top row). */
typedef struct QV_RECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} QV_RECT;

/* DIB compression values: the Windows ones and the library's own. */
#define QV_BI_RGB 0u        /* uncompressed rows */
#define QV_BI_RLE8 1u
#define QV_BI_RLE4 2u
#define QV_BI_BITFIELDS 3u  /* 16/32 bits with three colour masks after the header */
#define QV_BI_RUNS 500u     /* 1-bit image held as run lists, one per row */
#define QV_BI_GRAY16 503u   /* 16-bit single channel, masks 65535 */
#define QV_BI_PAL_WIDE 504u /* palettised image above 8 bits: masks, then 2^bpp entries */

/* Error codes (negative). iVal/lVal meanings are fixed per report site. */
#define QVE_FAILED (-1)
#define QVE_XPM_SYNTAX (-50)
#define QVE_XPM_READ (-51)
#define QVE_XPM_PIXEL (-52)
#define QVE_ACCESS_MODE (-100)
#define QVE_FORMAT_UNSUPPORTED (-200)
#define QVE_NOT_AVAILABLE (-300)
#define QVE_BAD_HEADER (-400)
#define QVE_NOT_IMPLEMENTED (-500)
#define QVE_BAD_ARGUMENT (-600)
#define QVE_EXT_BAD_MODULE (-700)
#define QVE_NO_MEMORY (-1000)
#define QVE_KERNEL_STATE (-1004)
#define QVE_INTERNAL_TABLE (-1005)
#define QVE_READ_DATA (-2000)
#define QVE_READ_PALETTE (-2001)
#define QVE_LOAD_CALLBACK (-2002)
#define QVE_SEEK (-2005)
#define QVE_DETECT_FAILED (-2010)
#define QVE_OPEN_FAILED (-2030)
#define QVE_WRITE_HEADER (-2041)
#define QVE_SHORT_READ (-2050)
#define QVE_BUFFER_FAILED (-2051)
#define QVE_SHORT_HEADER (-2052)
#define QVE_BAD_SIGNATURE (-2060)
#define QVE_INVALID_IMAGE (-2061)
#define QVE_WRITE_FAILED (-2070)
#define QVE_WRITE_DATA (-2071)
#define QVE_SHORT_WRITE (-2072)
#define QVE_BAD_SAVE_OPTION (-2080)
#define QVE_REGISTRY (-2090)
#define QVE_BAD_OFFSET (-2100)
#define QVE_SAVE_FORMAT (-2110)
#define QVE_SAVE_CALLBACK (-2111)
#define QVE_UNSUPPORTED_VARIANT (-2112)
#define QVE_CANCELLED (-2113)
#define QVE_COLOR_COUNT (-2393)       /* also: short file write in the stream layer */
#define QVE_CCITT_CODE (-2403)
#define QVE_SAVE_DEPTH (-2413)
#define QVE_CONTROL_VALUE (-2420)
#define QVE_JPEG_STREAM (-2421)       /* JPEG markers out of order or damaged */
#define QVE_JPEG_FRAME (-2422)        /* JPEG frame header not usable */
#define QVE_JPEG_SAMPLING (-2423)     /* JPEG sampling factor of 4 or more */
#define QVE_JPEG_SCAN (-2424)         /* JPEG scan header or progression not usable */
#define QVE_JPEG_TABLE (-2426)        /* JPEG table with more than 256 entries */
#define QVE_LINE_LAYOUT (-2432)
#define QVE_DIB_LAYOUT (-2433)
#define QVE_THUMB_NO_READ (-2436)
#define QVE_PNG_CHUNK (-2440)         /* PNG chunk length, CRC or order inconsistent */
#define QVE_PNG_SEEK (-2442)          /* PNG repositioning failed */
#define QVE_SETTING_UNKNOWN (-2444)
#define QVE_RES_MODE (-2445)
#define QVE_FILE_SHORT (-2453)
#define QVE_VARIANT (-2456)
#define QVE_TIFF_PHOTOMETRIC (-2458)  /* TIFF photometric interpretation not supported */
#define QVE_TIFF_OFFSETS (-2459)      /* TIFF strip or tile offsets missing, tile out of range */
#define QVE_TIFF_COMPRESSION (-2460)  /* TIFF compression not supported */
#define QVE_OUTPUT_POSITION (-2464)
#define QVE_ZERO_SIZE (-2472)         /* width or height 0 */
#define QVE_DEPTH_COMPRESSION (-2477)
#define QVE_NO_LZW_CODEC (-2480)      /* no LZW decoder in the codec slot table */
#define QVE_NO_CODEC (-2485)          /* no decoder for compression 32780 */
#define QVE_FAX_PROFILE (-2530)       /* fax-profile TIFF rule broken (iVal: which) */
#define QVE_DEPTH_UNSUPPORTED (-3000)
#define QVE_LOCK_FAILED (-3010)
#define QVE_IMAGE_ALLOC (-3020)
#define QVE_FREE_FAILED (-3030)
#define QVE_NULL_POINTER (-3060)
#define QVE_DEPTH_NOT_APPLICABLE (-3300)
#define QVE_OUT_OF_RANGE (-3320)
#define QVE_NULL_OUTPUT (-3330)
#define QVE_RES_UNIT (-3370)
#define QVE_TARGET_ZERO (-3380)
#define QVE_TOO_LARGE (-3400)
#define QVE_BUFFER_UNAVAILABLE (-3410)  /* also: averaging or bilinear resize of a colour-palette image */
#define QVE_ROW_RANGE (-3420)
#define QVE_RECT_ORDER (-3421)
#define QVE_SAVE_TARGET (-3440)
#define QVE_NOT_IMAGE (-3600)
#define QVE_EXECUTABLE (-3601)
#define QVE_ARCHIVE (-3602)
#define QVE_HELP_FILE (-3604)

#endif /* VOSK32PD_BASE_H */
