/*
 * jpeg_codec.cpp - the JPEG decoder and encoder over libjpeg-turbo
 * (jpeg_codec.h says what each does).
 *
 * The functions named jd_* and je_* are the only callers of libjpeg. Each
 * sets its jump point first and holds nothing that needs destroying, so a
 * libjpeg error lands back in it and becomes a pushed code.
 */
#include "filters/jpeg_codec.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jerror.h>
#include <jpeglib.h>

#include "filters/filter_util.h"

namespace qv {

namespace {

constexpr char kModule[] = "FILTERS\\JPEGCODE.C";
constexpr int32_t kBlock = 64 * 1024;
// libjpeg's own memory for one image (whole-image coefficient buffers of
// progressive files); beyond it the decode fails instead of growing.
constexpr long kMaxLibjpegMemory = 1L << 30;

struct ErrorMgr {
    jpeg_error_mgr pub;
    jmp_buf jump;
};

void on_error_exit(j_common_ptr c) { longjmp(reinterpret_cast<ErrorMgr *>(c->err)->jump, 1); }
void on_output_message(j_common_ptr) {}

// The pushed code of a libjpeg failure (message code and first parameter).
int32_t push_libjpeg_error(j_common_ptr c, bool writing) {
    const int msg = c->err->msg_code;
    const int32_t p0 = c->err->msg_parm.i[0];
    if (msg == JERR_OUT_OF_MEMORY) return QV_ERR(QVE_NO_MEMORY, msg, p0);
    if (writing) return QV_ERR(QVE_WRITE_DATA, msg, p0);
    switch (msg) {
    case JERR_UNKNOWN_MARKER:
        return QV_ERR(3, msg, p0);
    case JERR_NO_HUFF_TABLE:
        return QV_ERR(4, msg, p0);
    case JERR_DHT_INDEX:
        return QV_ERR(5, msg, p0);
    case JERR_BAD_HUFF_TABLE:
        return QV_ERR(QVE_JPEG_TABLE, msg, p0);
    case JERR_BAD_SAMPLING:
    case JERR_BAD_MCU_SIZE:
        return QV_ERR(QVE_JPEG_SAMPLING, msg, p0);
    case JERR_BAD_PROGRESSION:
    case JERR_BAD_SCAN_SCRIPT:
    case JERR_COMPONENT_COUNT:
        return QV_ERR(QVE_JPEG_SCAN, msg, p0);
    case JERR_BAD_PRECISION:
    case JERR_EMPTY_IMAGE:
    case JERR_IMAGE_TOO_BIG:
    case JERR_WIDTH_OVERFLOW:
    case JERR_SOF_UNSUPPORTED:
    case JERR_BAD_COMPONENT_ID:
    case JERR_CONVERSION_NOTIMPL:
    case JERR_BAD_J_COLORSPACE:
    case JERR_NOTIMPL:
        return QV_ERR(QVE_JPEG_FRAME, msg, p0);
    case JERR_NO_SOI:
    case JERR_SOI_DUPLICATE:
    case JERR_SOF_DUPLICATE:
    case JERR_SOF_NO_SOS:
    case JERR_EOI_EXPECTED:
    case JERR_BAD_LENGTH:
    case JERR_NO_IMAGE:
    case JERR_DQT_INDEX:
    case JERR_NO_QUANT_TABLE:
    case JERR_DAC_INDEX:
    case JERR_DAC_VALUE:
        return QV_ERR(QVE_JPEG_STREAM, msg, p0);
    default:
        return QV_ERR(QVE_READ_DATA, msg, p0);
    }
}

uint8_t mul_div_255(int a, int b) {
    const int t = a * b + 128;
    return uint8_t(((t >> 8) + t) >> 8);
}

uint16_t be16(const uint8_t *p, bool le) { return le ? uint16_t(p[0] | p[1] << 8) : uint16_t(p[0] << 8 | p[1]); }
uint32_t be32(const uint8_t *p, bool le) {
    return le ? uint32_t(p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24)
              : uint32_t(uint32_t(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3]);
}

// Orientation and resolution from an APP1 EXIF block (the first IFD).
void parse_exif(const uint8_t *d, size_t n, JpegFrame *f) {
    if (n < 14 || std::memcmp(d, "Exif\0\0", 6) != 0) return;
    const uint8_t *t = d + 6;
    const size_t tn = n - 6;
    const bool le = t[0] == 'I' && t[1] == 'I';
    if (!le && !(t[0] == 'M' && t[1] == 'M')) return;
    const uint32_t ifd = be32(t + 4, le);
    if (ifd > tn || tn - ifd < 2) return;
    const uint32_t count = be16(t + ifd, le);
    uint32_t unit = 2, xr = 0, yr = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t e = size_t(ifd) + 2 + 12 * size_t(i);
        if (e + 12 > tn) break;
        const uint16_t tag = be16(t + e, le), type = be16(t + e + 2, le);
        if (tag == 0x0112 && type == 3) {
            const uint16_t v = be16(t + e + 8, le);
            if (v >= 1 && v <= 8) f->orientation = v;
        } else if (tag == 0x0128 && type == 3) {
            unit = be16(t + e + 8, le);
        } else if ((tag == 0x011A || tag == 0x011B) && type == 5) {
            const uint32_t off = be32(t + e + 8, le);
            if (off > tn || tn - off < 8) continue;
            const uint32_t num = be32(t + off, le), den = be32(t + off + 4, le);
            const uint32_t v = den ? uint32_t((uint64_t(num) + den / 2) / den) : 0;
            (tag == 0x011A ? xr : yr) = v > 65535 ? 65535 : v;
        }
    }
    if (f->density_unit == 0 && xr && yr && (unit == 2 || unit == 3)) {
        f->density_unit = unit == 2 ? 1 : 2;
        f->x_density = int32_t(xr);
        f->y_density = int32_t(yr);
    }
}

}  // namespace

struct JpegDecodeState {
    jpeg_decompress_struct cinfo;
    ErrorMgr err;
    jpeg_source_mgr src;
    VPb_STREAM *s;
    uint8_t *buf;
    int64_t pos;  // stream position of the next byte to fetch
    int64_t end;
    bool created, started, eof;
    int32_t eof_row;  // rows delivered when the data ran out (-1: not yet)
    uint8_t *scratch;  // one CMYK row
    JpegSpace space;
    bool adobe;
    int32_t out_bpp;
    uint8_t fake_eoi[2];
};

namespace {

JpegDecodeState *state_of(j_decompress_ptr c) { return static_cast<JpegDecodeState *>(c->client_data); }

void src_init(j_decompress_ptr) {}

boolean src_fill(j_decompress_ptr c) {
    JpegDecodeState *st = state_of(c);
    int32_t want = kBlock;
    if (st->end >= 0) {
        const int64_t left = st->end - st->pos;
        if (left < want) want = left > 0 ? int32_t(left) : 0;
    }
    const int32_t got = want > 0 ? VPb_IO_read(st->s, st->buf, want) : 0;
    if (got <= 0) {
        // Out of data: end the image here, remembering how far it got.
        if (!st->eof) st->eof_row = st->started ? int32_t(c->output_scanline) : -1;
        st->eof = true;
        st->fake_eoi[0] = 0xFF;
        st->fake_eoi[1] = JPEG_EOI;
        st->src.next_input_byte = st->fake_eoi;
        st->src.bytes_in_buffer = 2;
        return TRUE;
    }
    st->pos += got;
    st->src.next_input_byte = st->buf;
    st->src.bytes_in_buffer = size_t(got);
    return TRUE;
}

void src_skip(j_decompress_ptr c, long n) {
    JpegDecodeState *st = state_of(c);
    if (n <= 0) return;
    if (size_t(n) <= st->src.bytes_in_buffer) {
        st->src.next_input_byte += n;
        st->src.bytes_in_buffer -= size_t(n);
        return;
    }
    const int64_t rest = int64_t(n) - int64_t(st->src.bytes_in_buffer);
    st->src.bytes_in_buffer = 0;
    st->pos += rest;
    if (st->end >= 0 && st->pos > st->end) st->pos = st->end;
    VPb_IO_seek(st->s, st->pos, 0);
}

void src_term(j_decompress_ptr) {}

// Creates the decompressor and reads the header (after the tables stream).
int32_t jd_header(JpegDecodeState *st, const JpegParams *p, JpegFrame *f) {
    if (setjmp(st->err.jump)) return push_libjpeg_error(reinterpret_cast<j_common_ptr>(&st->cinfo), false);
    j_decompress_ptr c = &st->cinfo;
    c->err = jpeg_std_error(&st->err.pub);
    st->err.pub.error_exit = on_error_exit;
    st->err.pub.output_message = on_output_message;
    jpeg_create_decompress(c);
    st->created = true;
    c->client_data = st;
    c->mem->max_memory_to_use = kMaxLibjpegMemory;
    st->src.init_source = src_init;
    st->src.fill_input_buffer = src_fill;
    st->src.skip_input_data = src_skip;
    st->src.resync_to_restart = jpeg_resync_to_restart;
    st->src.term_source = src_term;
    c->src = &st->src;
    jpeg_save_markers(c, JPEG_APP0 + 1, 0xFFFF);
    if (p->tables && p->tables_len) {
        st->src.next_input_byte = p->tables;
        st->src.bytes_in_buffer = p->tables_len;
        jpeg_read_header(c, FALSE);
        st->src.bytes_in_buffer = 0;
        st->eof = false;
    }
    jpeg_read_header(c, TRUE);
    f->full_width = f->width = int32_t(c->image_width);
    f->full_height = f->height = int32_t(c->image_height);
    f->components = c->num_components;
    f->adobe = c->saw_Adobe_marker;
    f->progressive = c->progressive_mode;
    switch (c->jpeg_color_space) {
    case JCS_GRAYSCALE: f->space = JpegSpace::kGrey; break;
    case JCS_YCbCr: f->space = JpegSpace::kYCbCr; break;
    case JCS_RGB: f->space = JpegSpace::kRgb; break;
    case JCS_CMYK: f->space = JpegSpace::kCmyk; break;
    case JCS_YCCK: f->space = JpegSpace::kYcck; break;
    default: f->space = JpegSpace::kOther; break;
    }
    if (p->no_colour_transform && c->num_components == 3) {
        c->jpeg_color_space = JCS_RGB;
        f->space = JpegSpace::kRgb;
    }
    if (c->saw_JFIF_marker && c->density_unit != 0 && c->X_density && c->Y_density) {
        f->density_unit = c->density_unit;
        f->x_density = c->X_density;
        f->y_density = c->Y_density;
    }
    for (jpeg_saved_marker_ptr m = c->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 1) parse_exif(m->data, m->data_length, f);
    st->space = f->space;
    st->adobe = f->adobe;
    return 0;
}

int32_t jd_start(JpegDecodeState *st, const JpegParams *p, JpegFrame *f) {
    if (setjmp(st->err.jump)) return push_libjpeg_error(reinterpret_cast<j_common_ptr>(&st->cinfo), false);
    j_decompress_ptr c = &st->cinfo;
    const int d = p->scale_denom;
    c->scale_num = 1;
    c->scale_denom = (d == 2 || d == 4 || d == 8) ? unsigned(d) : 1u;
    switch (st->space) {
    case JpegSpace::kGrey:
        c->out_color_space = JCS_GRAYSCALE;
        st->out_bpp = 8;
        break;
    case JpegSpace::kCmyk:
    case JpegSpace::kYcck:
        c->out_color_space = JCS_CMYK;
        st->out_bpp = 24;
        break;
    default:
        if (c->num_components != 3) ERREXIT(c, JERR_CONVERSION_NOTIMPL);
        c->out_color_space = JCS_EXT_BGR;
        st->out_bpp = 24;
        break;
    }
    jpeg_start_decompress(c);
    st->started = true;
    f->width = int32_t(c->output_width);
    f->height = int32_t(c->output_height);
    f->out_bpp = st->out_bpp;
    return 0;
}

void cmyk_to_bgr(const uint8_t *src, uint8_t *dst, uint32_t width, bool inverted) {
    for (uint32_t x = 0; x < width; ++x, src += 4, dst += 3) {
        const int nk = inverted ? src[3] : 255 - src[3];
        for (int ch = 0; ch < 3; ++ch) {
            const int v = inverted ? 255 - src[ch] : src[ch];
            dst[2 - ch] = uint8_t(nk - mul_div_255(v, nk));
        }
    }
}

int32_t jd_rows(JpegDecodeState *st, uint8_t *const *rows, int32_t n) {
    if (setjmp(st->err.jump)) return push_libjpeg_error(reinterpret_cast<j_common_ptr>(&st->cinfo), false);
    j_decompress_ptr c = &st->cinfo;
    const bool cmyk = c->out_color_space == JCS_CMYK;
    for (int32_t i = 0; i < n; ++i) {
        if (c->output_scanline >= c->output_height) return QV_ERR(QVE_SHORT_READ, int32_t(c->output_height), int32_t(c->output_scanline));
        JSAMPROW row = cmyk ? st->scratch : rows[i];
        if (jpeg_read_scanlines(c, &row, 1) != 1) return QV_ERR(QVE_READ_DATA, 0, int32_t(c->output_scanline));
        if (cmyk) cmyk_to_bgr(st->scratch, rows[i], c->output_width, st->adobe);
    }
    return 0;
}

}  // namespace

JpegDecoder::JpegDecoder(VPb_STREAM *s, uint32_t tag) : s_(s), tag_(tag) {
    st_ = static_cast<JpegDecodeState *>(VPb_AF_mem_calloc(tag, 1, sizeof(JpegDecodeState)));
    if (st_) {
        st_->s = s;
        st_->buf = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, kBlock));
        st_->pos = VPb_IO_tell(s);
        st_->end = -1;
        st_->eof_row = -1;
    }
}

JpegDecoder::~JpegDecoder() {
    if (st_ && st_->created) jpeg_destroy_decompress(&st_->cinfo);
}

int32_t JpegDecoder::read_header(const JpegParams &p, JpegFrame *f) {
    *f = JpegFrame{};
    if (!st_ || !st_->buf) return QV_ERR(QVE_NO_MEMORY, kBlock, tag_);
    st_->end = p.data_end;
    return jd_header(st_, &p, f);
}

int32_t JpegDecoder::start(const JpegParams &p, JpegFrame *f) {
    if (int32_t rc = jd_start(st_, &p, f)) return rc;
    if (st_->cinfo.out_color_space == JCS_CMYK) {
        st_->scratch = filter_alloc_array<uint8_t>(tag_, size_t(f->width) * 4 + 4);
        if (!st_->scratch) return QV_ERR(QVE_NO_MEMORY, f->width * 4, tag_);
    }
    return 0;
}

int32_t JpegDecoder::read_rows(uint8_t *const *rows, int32_t n) { return jd_rows(st_, rows, n); }

int32_t JpegDecoder::finish() {
    // Data that ran out before the last block row began is a truncated image.
    const j_decompress_ptr c = &st_->cinfo;
    if (st_->eof) {
        const int32_t block_rows = c->max_v_samp_factor * c->min_DCT_scaled_size;
        const int32_t last_block = int32_t(c->output_height) - block_rows;
        if (st_->eof_row < last_block) return QV_ERR(QVE_SHORT_READ, int32_t(c->output_height), st_->eof_row < 0 ? 0 : st_->eof_row);
    }
    return 0;
}

int64_t JpegDecoder::position() const {
    return st_ ? st_->pos - int64_t(st_->src.bytes_in_buffer) : VPb_IO_tell(s_);
}

int32_t jpeg_scale_for(int32_t width, int32_t height, int32_t target_w, int32_t target_h) {
    if (target_w <= 0 || target_h <= 0) return 1;  // that axis keeps the stored size
    for (int32_t d = 8; d > 1; d /= 2) {
        const int32_t w = (width + d - 1) / d, h = (height + d - 1) / d;
        if (w >= target_w && h >= target_h) return d;
    }
    return 1;
}

// ---- encoding -------------------------------------------------------------

namespace {

struct EncodeState {
    jpeg_compress_struct cinfo;
    ErrorMgr err;
    jpeg_destination_mgr dest;
    VPb_STREAM *s;
    uint8_t *buf;
    uint8_t *row;
    bool created, short_write;
    int32_t written, wanted;
};

EncodeState *enc_of(j_compress_ptr c) { return static_cast<EncodeState *>(c->client_data); }

void dest_init(j_compress_ptr c) {
    EncodeState *e = enc_of(c);
    e->dest.next_output_byte = e->buf;
    e->dest.free_in_buffer = kBlock;
}

boolean dest_empty(j_compress_ptr c) {
    EncodeState *e = enc_of(c);
    const int32_t n = VPb_IO_write(e->s, e->buf, kBlock);
    if (n != kBlock) {
        e->short_write = true;
        e->written = n, e->wanted = kBlock;
        ERREXIT(c, JERR_FILE_WRITE);
    }
    e->dest.next_output_byte = e->buf;
    e->dest.free_in_buffer = kBlock;
    return TRUE;
}

void dest_term(j_compress_ptr c) {
    EncodeState *e = enc_of(c);
    const int32_t n = int32_t(kBlock - e->dest.free_in_buffer);
    if (n > 0 && VPb_IO_write(e->s, e->buf, n) != n) {
        e->short_write = true;
        e->written = 0, e->wanted = n;
        ERREXIT(c, JERR_FILE_WRITE);
    }
}

int32_t je_run(EncodeState *e, const JpegEncodeParams *p, JpegRowFetch fetch, void *user) {
    if (setjmp(e->err.jump)) {
        if (e->short_write) return QV_ERR(QVE_SHORT_WRITE, e->written, e->wanted);
        return push_libjpeg_error(reinterpret_cast<j_common_ptr>(&e->cinfo), true);
    }
    j_compress_ptr c = &e->cinfo;
    c->err = jpeg_std_error(&e->err.pub);
    e->err.pub.error_exit = on_error_exit;
    e->err.pub.output_message = on_output_message;
    jpeg_create_compress(c);
    e->created = true;
    c->client_data = e;
    e->dest.init_destination = dest_init;
    e->dest.empty_output_buffer = dest_empty;
    e->dest.term_destination = dest_term;
    c->dest = &e->dest;
    c->image_width = JDIMENSION(p->width);
    c->image_height = JDIMENSION(p->height);
    c->input_components = p->grey ? 1 : 3;
    c->in_color_space = p->grey ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(c);
    if (p->rgb && !p->grey) jpeg_set_colorspace(c, JCS_RGB);
    jpeg_set_quality(c, p->quality, TRUE);
    if (p->optimize) c->optimize_coding = TRUE;
    if (p->progressive) jpeg_simple_progression(c);
    if (p->dpi_x > 0 && p->dpi_y > 0) {
        c->density_unit = 1;
        c->X_density = UINT16(p->dpi_x > 65535 ? 65535 : p->dpi_x);
        c->Y_density = UINT16(p->dpi_y > 65535 ? 65535 : p->dpi_y);
    }
    jpeg_start_compress(c, TRUE);
    for (int32_t y = 0; y < p->height; ++y) {
        if (int32_t rc = fetch(user, y, e->row)) {
            jpeg_abort_compress(c);
            return rc;
        }
        JSAMPROW r = e->row;
        jpeg_write_scanlines(c, &r, 1);
    }
    jpeg_finish_compress(c);
    return 0;
}

}  // namespace

int32_t jpeg_encode(VPb_STREAM *s, uint32_t tag, const JpegEncodeParams &p, JpegRowFetch fetch, void *user) {
    auto *e = static_cast<EncodeState *>(VPb_AF_mem_calloc(tag, 1, sizeof(EncodeState)));
    if (!e) return QV_ERR(QVE_NO_MEMORY, int32_t(sizeof(EncodeState)), tag);
    e->s = s;
    e->buf = static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, kBlock));
    e->row = filter_alloc_array<uint8_t>(tag, size_t(raster_bytes(p.width, 24)) + 4);
    if (!e->buf || !e->row) return QV_ERR(QVE_NO_MEMORY, kBlock, tag);
    const int32_t rc = je_run(e, &p, fetch, user);
    if (e->created) jpeg_destroy_compress(&e->cinfo);
    return rc;
}

}  // namespace qv
