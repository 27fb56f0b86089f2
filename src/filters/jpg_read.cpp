/*
 * jpg_read.cpp - the JPEG reader (format type 21): information, image,
 * page count and thumbnail, all through the shared decoder (jpeg_codec.h).
 *
 * Grey files become 8-bit images with the grey ramp; YCbCr, RGB, CMYK and
 * YCCK files 24-bit B, G, R images. The resolution comes from the JFIF
 * header, else from the EXIF block; the EXIF orientation is stored in the
 * image (and offered as tag 274). When a load size is in force (and no
 * load rectangle) the image is decoded at the largest DCT scale (1/2, 1/4,
 * 1/8) that still covers it, and the pipeline scales the rest of the way.
 * The thumbnail is the image decoded at that scale, or at 1/8 without a
 * load size. Rows go straight into the image's pixel memory when the
 * pipeline allows it.
 *
 * The second value of the information entry is the compression code 6
 * (JPEG). Codes: those of the decoder (jpeg_codec.h). On failure the stream
 * goes back to where the reader found it.
 */
#include <cstring>

#include "filters/filter_util.h"
#include "filters/jpeg_codec.h"
#include "filters/jpg_filter.h"

namespace qv {
namespace {

constexpr char kModule[] = "FILTERS\\JPGREAD.C";
constexpr int32_t kBatch = 16;

int32_t dib_resolution(int32_t unit, int32_t density) {
    const bool per_inch = VPb_DIB_resolution_mode_get() == 3;
    if (unit == 1) return per_inch ? density : int32_t(double(density) * 39.37 + 0.5);
    if (unit == 2) return per_inch ? int32_t(double(density) * 2.54 + 0.5) : density * 100;
    return 0;
}

void fill_header(const JpegFrame &f, int32_t bpp, QV_DIB_HEADER *h) {
    VPb_DIB_init(h, f.width, f.height, bpp, QV_BI_RGB, dib_resolution(f.density_unit, f.x_density),
                 dib_resolution(f.density_unit, f.y_density));
    h->biClrUsed = bpp == 8 ? 256 : 0;
}

// Decodes the image at `scale` (0: the load size decides) into a new image.
int32_t decode(VPb_STREAM *s, int32_t scale) {
    FilterTag tag;
    JpegDecoder dec(s, tag.tag());
    JpegParams p;
    JpegFrame f;
    if (int32_t rc = dec.read_header(p, &f)) return rc;
    int32_t tw = 0, th = 0;
    if (scale == 0 && VPb_IO_load_size_hint_get(s, &tw, &th)) scale = jpeg_scale_for(f.full_width, f.full_height, tw, th);
    p.scale_denom = scale < 1 ? 1 : scale;
    // The pixel limit before the decompressor sizes its buffers (a
    // progressive image's coefficients are held whole, from a header of a
    // few bytes): the delivered size is the stored one over the DCT scale,
    // rounded up, as the image will be made.
    const int32_t d = (p.scale_denom == 2 || p.scale_denom == 4 || p.scale_denom == 8) ? p.scale_denom : 1;
    if (int32_t rc = VPb_IO_pixel_limit_check(s, (f.full_width + d - 1) / d, (f.full_height + d - 1) / d))
        return rc;
    if (int32_t rc = dec.start(p, &f)) return rc;

    QV_DIB_HEADER h;
    fill_header(f, f.out_bpp, &h);
    QV_RGBQUAD grey[256];
    for (int i = 0; i < 256; ++i) grey[i] = QV_RGBQUAD{uint8_t(i), uint8_t(i), uint8_t(i), 0};
    if (int32_t rc = VPb_IO_DIB_create(s, &h, f.out_bpp == 8 ? grey : nullptr)) return rc;
    if (f.orientation) {
        VPb_IO_orientation_set(s, f.orientation);
        if (VPb_IO_tag_set_exists(s)) VPb_IO_tag_word_set(s, 274, uint16_t(f.orientation));
    }

    const size_t stride = size_t(raster_bytes(f.width, f.out_bpp));
    uint8_t *direct = VPb_IO_raster_direct_get(s);
    uint8_t *batch = nullptr;
    if (!direct) {
        batch = filter_alloc_array<uint8_t>(tag.tag(), stride * kBatch);
        if (!batch) return QV_ERR(QVE_NO_MEMORY, stride * kBatch, tag.tag());
    }
    uint8_t *rows[kBatch];
    for (int32_t y = 0; y < f.height; y += kBatch) {
        const int32_t n = f.height - y < kBatch ? f.height - y : kBatch;
        for (int32_t i = 0; i < n; ++i)
            rows[i] = direct ? direct + size_t(f.height - 1 - (y + i)) * stride : batch + size_t(i) * stride;
        if (int32_t rc = dec.read_rows(rows, n)) return rc;
        if (direct) {
            if (int32_t rc = VPb_IO_raster_direct_done(s, n)) return rc;
        } else {
            for (int32_t i = 0; i < n; ++i)
                if (int32_t rc = VPb_IO_raster_set(s, y + i, rows[i])) return rc;
        }
    }
    if (int32_t rc = dec.finish()) return rc;
    return VPb_IO_raster_post_process(s);
}

int32_t decode_at_entry(VPb_STREAM *s, int32_t scale) {
    const int64_t entry = VPb_IO_tell(s);
    const int32_t rc = decode(s, scale);
    if (rc != 0) VPb_IO_seek(s, entry, 0);
    return rc;
}

}  // namespace

int32_t jpg_read(VPb_STREAM *s, void *, int32_t, int32_t) { return decode_at_entry(s, 0); }

int32_t jpg_thumbnail(VPb_STREAM *s, void *, int32_t, int32_t) {
    int32_t tw = 0, th = 0;
    return decode_at_entry(s, VPb_IO_load_size_hint_get(s, &tw, &th) ? 0 : 8);
}

int32_t jpg_info(VPb_STREAM *s, QV_DIB_HEADER *info, int32_t *format_type, int32_t *value, void *) {
    const int64_t entry = VPb_IO_tell(s);
    int32_t rc = 0;
    {
        FilterTag tag;
        JpegDecoder dec(s, tag.tag());
        JpegParams p;
        JpegFrame f;
        rc = dec.read_header(p, &f);
        if (rc == 0) {
            QV_DIB_HEADER h;
            fill_header(f, f.space == JpegSpace::kGrey ? 8 : 24, &h);
            if (info) *info = h;
            if (format_type) *format_type = int32_t(kJpgFormatType);
            if (value) *value = 6;  // JPEG
        }
    }
    VPb_IO_seek(s, entry, 0);
    return rc;
}

int32_t jpg_pages(VPb_STREAM *, void *, int32_t *count) {
    if (count) *count = 1;
    return 0;
}

}  // namespace qv
