/*
 * qvx_module.c - an example extension module: a filter for "QVX", a
 * trivial uncompressed 8-bit grey format, with a detector, a header reader,
 * a reader and a writer, all working through the VPb_ bridge.
 *
 * File layout (little-endian):
 *   0  "QVX1"
 *   4  width  (32-bit, 1..65535)
 *   8  height (32-bit, 1..65535)
 *  12  height rows of width grey bytes, top row first, no padding
 *
 * The module exports VPb_module_entry, which returns its descriptor table.
 * Built twice: as qvx_module (format type 60, extension QVX) and, for the
 * registry tests, as qvx_module_t41 (format type 41, extensions TXT and QVT,
 * after a descriptor of another kind that the registry must skip).
 */
#include <stdlib.h>
#include <string.h>

#include "vosk32pd_bridge.h"

#ifndef QVX_FORMAT_TYPE
#define QVX_FORMAT_TYPE 60
#endif
#ifndef QVX_EXTENSIONS
#define QVX_EXTENSIONS "QVX|"
#endif

#define QVX_MODULE "EXT\\QVXFILT.C"
#define QVX_HEADER 12
#define QVX_MAX_SIDE 65535u

static int32_t qvx_error(int32_t line, int32_t code, int32_t ival, int32_t lval) {
    return VPb_AF_error_set(QVX_MODULE, line, code, ival, lval);
}

static int32_t qvx_detect(VPb_STREAM *stream, const uint8_t *buf, int32_t count) {
    (void)stream;
    return count >= 4 && memcmp(buf, "QVX1", 4) == 0;
}

/* Reads and checks the 12-byte header; 0 or the pushed error code. */
static int32_t qvx_header(VPb_STREAM *stream, uint32_t *width, uint32_t *height) {
    uint8_t magic[4];
    int32_t got = VPb_IO_read(stream, magic, 4);
    if (got != 4) return qvx_error(__LINE__, QVE_SHORT_HEADER, 4, got);
    if (memcmp(magic, "QVX1", 4) != 0) return qvx_error(__LINE__, QVE_BAD_SIGNATURE, 0, 0);
    if (VPb_IO_ii_dword_read(stream, width) != 4 || VPb_IO_ii_dword_read(stream, height) != 4)
        return qvx_error(__LINE__, QVE_SHORT_HEADER, QVX_HEADER, 0);
    if (*width < 1 || *width > QVX_MAX_SIDE) return qvx_error(__LINE__, QVE_BAD_HEADER, (int32_t)*width, 0);
    if (*height < 1 || *height > QVX_MAX_SIDE) return qvx_error(__LINE__, QVE_BAD_HEADER, (int32_t)*height, 0);
    return 0;
}

static void qvx_dib_header(QV_DIB_HEADER *hdr, uint32_t width, uint32_t height) {
    memset(hdr, 0, sizeof *hdr);
    hdr->biSize = 40;
    hdr->biWidth = (int32_t)width;
    hdr->biHeight = (int32_t)height;
    hdr->biPlanes = 1;
    hdr->biBitCount = 8;
    hdr->biCompression = QV_BI_RGB;
    hdr->biSizeImage = ((width + 3u) & ~3u) * height;
}

static int32_t qvx_info(VPb_STREAM *stream, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value,
                        void *ctl) {
    uint32_t width, height;
    int32_t rc = qvx_header(stream, &width, &height);
    (void)ctl;
    if (rc) return rc;
    qvx_dib_header(info, width, height);
    *format_type = QVX_FORMAT_TYPE;
    *value = 0;
    return 0;
}

static int32_t qvx_pages(VPb_STREAM *stream, void *ctl, int32_t *count) {
    (void)stream;
    (void)ctl;
    *count = 1;
    return 0;
}

static int32_t qvx_read(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2) {
    uint32_t width, height, y;
    QV_DIB_HEADER hdr;
    QV_RGBQUAD grey[256];
    uint32_t tag;
    uint8_t *row;
    int32_t rc, i;
    (void)ctl;
    (void)sel1;
    (void)sel2;
    rc = qvx_header(stream, &width, &height);
    if (rc) return rc;
    qvx_dib_header(&hdr, width, height);
    for (i = 0; i < 256; ++i) {
        grey[i].rgbBlue = grey[i].rgbGreen = grey[i].rgbRed = (uint8_t)i;
        grey[i].rgbReserved = 0;
    }
    rc = VPb_IO_DIB_create(stream, &hdr, grey);
    if (rc) return rc;
    tag = VPb_AF_mem_unique_tag_get();
    row = (uint8_t *)VPb_AF_mem_alloc(tag, (width + 3u) & ~3u);
    if (!row) return qvx_error(__LINE__, QVE_NO_MEMORY, (int32_t)((width + 3u) & ~3u), 0);
    for (y = 0; y < height && rc == 0; ++y) {
        int32_t got = VPb_IO_read(stream, row, (int32_t)width);
        if (got != (int32_t)width)
            rc = qvx_error(__LINE__, QVE_SHORT_READ, (int32_t)width, got);
        else
            rc = VPb_IO_raster_set(stream, (int32_t)y, row);
    }
    VPb_AF_mem_free_all(tag);
    if (rc) return rc;
    return VPb_IO_raster_post_process(stream);
}

/* Grey level of a colour, rounded: (299 R + 587 G + 114 B + 500) / 1000. */
static uint8_t qvx_luma(uint8_t r, uint8_t g, uint8_t b) {
    return (uint8_t)((299u * r + 587u * g + 114u * b + 500u) / 1000u);
}

/* Writes 8-bit images (through their palette) and 24-bit images as grey. */
static int32_t qvx_write(VPb_STREAM *stream, void *ctl, int32_t sel1, int32_t sel2, int32_t compression) {
    QV_DIB_HEADER hdr;
    QV_RGBQUAD pal[256];
    uint8_t map[256];
    int32_t entries = 0, rc, i;
    uint32_t width, height, y, x, stride, tag;
    uint8_t *in, *out;
    (void)ctl;
    (void)sel1;
    (void)sel2;
    (void)compression;
    memset(pal, 0, sizeof pal);
    rc = VPb_IO_DIB_get(stream, &hdr, pal, &entries);
    if (rc) return rc;
    if (hdr.biBitCount != 8 && hdr.biBitCount != 24) return qvx_error(__LINE__, QVE_SAVE_DEPTH, hdr.biBitCount, 0);
    width = (uint32_t)hdr.biWidth;
    height = (uint32_t)(hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight);
    if (width < 1 || width > QVX_MAX_SIDE || height < 1 || height > QVX_MAX_SIDE)
        return qvx_error(__LINE__, QVE_SAVE_DEPTH, (int32_t)width, (int32_t)height);
    for (i = 0; i < 256; ++i) map[i] = qvx_luma(pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue);
    stride = ((width * hdr.biBitCount + 31u) / 32u) * 4u;
    tag = VPb_AF_mem_unique_tag_get();
    in = (uint8_t *)VPb_AF_mem_alloc(tag, stride);
    out = (uint8_t *)VPb_AF_mem_alloc(tag, width);
    if (!in || !out) {
        VPb_AF_mem_free_all(tag);
        return qvx_error(__LINE__, QVE_NO_MEMORY, (int32_t)stride, 0);
    }
    if (VPb_IO_write(stream, "QVX1", 4) != 4 || VPb_IO_ii_dword_write(stream, width) != 4 ||
        VPb_IO_ii_dword_write(stream, height) != 4)
        rc = qvx_error(__LINE__, QVE_WRITE_FAILED, 0, QVX_HEADER);
    for (y = 0; y < height && rc == 0; ++y) {
        rc = VPb_IO_raster_get(stream, (int32_t)y, in);
        if (rc) break;
        if (hdr.biBitCount == 8)
            for (x = 0; x < width; ++x) out[x] = map[in[x]];
        else
            for (x = 0; x < width; ++x) out[x] = qvx_luma(in[3 * x + 2], in[3 * x + 1], in[3 * x]);
        if (VPb_IO_write(stream, out, (int32_t)width) != (int32_t)width)
            rc = qvx_error(__LINE__, QVE_WRITE_DATA, (int32_t)y, 0);
    }
    VPb_AF_mem_free_all(tag);
    return rc;
}

static int32_t qvx_control[1] = {0};

static const VPb_EXT_DESCRIPTOR qvx_descriptors[] = {
#ifdef QVX_EXTRA_DESCRIPTOR
    /* A descriptor of another kind: skipped by the registry. */
    {1, 7, 0, 61, qvx_detect, 0, qvx_read, 0, 0, 0, 0, 0, 0, 0, "QVY|"},
#endif
    {1, VPb_EXT_KIND_FILTER, 0, QVX_FORMAT_TYPE, qvx_detect, qvx_info, qvx_read, qvx_write, qvx_pages, 0, 0,
     qvx_control, (int32_t)sizeof qvx_control, 0, QVX_EXTENSIONS},
};

static const VPb_EXT_TABLE qvx_table = {(int32_t)(sizeof qvx_descriptors / sizeof qvx_descriptors[0]),
                                        qvx_descriptors};

__attribute__((visibility("default"))) const VPb_EXT_TABLE *VPb_module_entry(void) { return &qvx_table; }
