/*
 * io_buffer.cpp - buffered reading and writing of small values over a
 * stream (FILTERS\IOBUFFER).
 *
 * Reading refills the buffer at the logical position only when the value
 * being read would end before the stream's last byte: a value that ends
 * exactly at the end of the stream is served only from bytes already in the
 * buffer. Readers rely on this strict rule (it matches the files they were
 * written against), so it is kept as is.
 *
 * Exported: VPb_IOB_open, VPb_IOB_close, VPb_IOB_byte_read,
 * VPb_IOB_word_read, VPb_IOB_dword_read, VPb_IOB_peek2, VPb_IOB_seek,
 * VPb_IOB_tell, VPb_IOB_size, VPb_IOB_byte_write, VPb_IOB_word_write,
 * VPb_IOB_dword_write, VPb_IOB_write, VPb_IOB_flush.
 */
#include "support/io_buffer.h"

#include <algorithm>
#include <cstring>

#include "support/errors.h"
#include "support/memory.h"
#include "support/stream.h"

using namespace qv;

namespace {

constexpr char kModule[] = "FILTERS\\IOBUFFER.C";

// Loads the buffer from the logical position: as many bytes as fit and the
// stream still holds.
void refill(IoBuffer *b) {
    b->index = 0;
    b->available = 0;
    int64_t left = b->total - b->position;
    if (left <= 0) return;
    Stream *s = stream_of(b->stream);
    if (stream_seek(s, b->position, 0) != b->position) return;
    int32_t want = static_cast<int32_t>(std::min<int64_t>(b->size, left));
    int32_t got = stream_read(s, b->data, want);
    b->available = got > 0 ? got : 0;
}

// Makes `n` bytes available at index, or refuses (see the file comment).
bool need(IoBuffer *b, int32_t n) {
    if (b->mode != kIobRead) return false;
    if (b->available >= n) return true;
    if (b->position + n >= b->total) return false;
    refill(b);
    return b->available >= n;
}

void take(IoBuffer *b, uint8_t *out, int32_t n) {
    std::memcpy(out, b->data + b->index, static_cast<size_t>(n));
    b->index += n;
    b->available -= n;
    b->position += n;
}

uint32_t assemble(const uint8_t *p, int32_t n, int32_t order) {
    uint32_t v = 0;
    if (order == 1)
        for (int32_t i = 0; i < n; ++i) v = (v << 8) | p[i];
    else
        for (int32_t i = n - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}

int32_t read_value(VPb_IOBUF *buf, int32_t n, uint32_t *value) {
    IoBuffer *b = iob_of(buf);
    uint8_t tmp[4];
    *value = 0;
    if (!need(b, n)) return 0;
    take(b, tmp, n);
    *value = assemble(tmp, n, b->byte_order);
    return 1;
}

int32_t flush(IoBuffer *b) {
    int32_t held = b->index;
    if (held == 0) return 1;
    int32_t n = stream_write(stream_of(b->stream), b->data, held);
    b->index = 0;
    b->available = b->size;
    return n == held ? 1 : 0;
}

int32_t write_bytes(IoBuffer *b, const uint8_t *p, int32_t n) {
    if (b->mode != kIobWrite) return 0;
    int32_t done = 0;
    while (done < n) {
        if (b->available == 0 && !flush(b)) return 0;
        int32_t k = std::min(n - done, b->available);
        std::memcpy(b->data + b->index, p + done, static_cast<size_t>(k));
        b->index += k;
        b->available -= k;
        b->position += k;
        done += k;
    }
    return 1;
}

int32_t write_value(VPb_IOBUF *buf, uint32_t v, int32_t n) {
    IoBuffer *b = iob_of(buf);
    uint8_t tmp[4];
    for (int32_t i = 0; i < n; ++i) {
        int32_t shift = b->byte_order == 1 ? 8 * (n - 1 - i) : 8 * i;
        tmp[i] = static_cast<uint8_t>(v >> shift);
    }
    return write_bytes(b, tmp, n);
}

}  // namespace

extern "C" {

QV_API VPb_IOBUF *VPb_IOB_open(VPb_STREAM *stream, uint32_t tag, int32_t mode, int32_t size) {
    bool own = tag == 0;
    if (own) tag = mem_unique_tag();
    IoBuffer *b = nullptr;
    uint8_t *data = nullptr;
    if ((mode == kIobRead || mode == kIobWrite) && size > 0) {
        b = static_cast<IoBuffer *>(mem_alloc(tag, sizeof(IoBuffer)));
        data = b ? static_cast<uint8_t *>(mem_alloc(tag, static_cast<size_t>(size))) : nullptr;
    }
    if (!b || !data) {
        if (own) {
            mem_free_all(tag);
        } else {
            if (b) mem_free(tag, b);
        }
        QV_ERR(QVE_NO_MEMORY, size, tag);
        return nullptr;
    }
    Stream *s = stream_of(stream);
    b->stream = stream;
    b->tag = tag;
    b->own_tag = own;
    b->mode = mode;
    b->data = data;
    b->size = size;
    b->index = 0;
    b->byte_order = s->byte_order;
    if (mode == kIobRead) {
        b->position = stream_tell(s);
        b->total = stream_seek(s, 0, 2);
        stream_seek(s, b->position, 0);
        b->available = 0;
    } else {
        b->position = stream_tell(s);
        b->total = 0;
        b->available = size;
    }
    return reinterpret_cast<VPb_IOBUF *>(b);
}

QV_API int32_t VPb_IOB_close(VPb_IOBUF *buf) {
    IoBuffer *b = iob_of(buf);
    if (!b) return 0;
    int32_t status = 0;
    if (b->mode == kIobRead)
        stream_seek(stream_of(b->stream), b->position, 0);
    else if (b->mode == kIobWrite)
        flush(b);
    else
        status = QV_ERR(QVE_NO_MEMORY, b->mode, b->tag);
    uint32_t tag = b->tag;
    if (b->own_tag) {
        mem_free_all(tag);
    } else {
        mem_free(tag, b->data);
        mem_free(tag, b);
    }
    return status;
}

QV_API int32_t VPb_IOB_byte_read(VPb_IOBUF *buf, uint8_t *value) {
    uint32_t v;
    int32_t r = read_value(buf, 1, &v);
    *value = static_cast<uint8_t>(v);
    return r;
}

QV_API int32_t VPb_IOB_word_read(VPb_IOBUF *buf, uint16_t *value) {
    uint32_t v;
    int32_t r = read_value(buf, 2, &v);
    *value = static_cast<uint16_t>(v);
    return r;
}

QV_API int32_t VPb_IOB_dword_read(VPb_IOBUF *buf, uint32_t *value) {
    return read_value(buf, 4, value);
}

QV_API int32_t VPb_IOB_peek2(VPb_IOBUF *buf, uint8_t *two_bytes) {
    IoBuffer *b = iob_of(buf);
    two_bytes[0] = two_bytes[1] = 0;
    if (!need(b, 2)) return 0;
    two_bytes[0] = b->data[b->index];
    two_bytes[1] = b->data[b->index + 1];
    return 1;
}

QV_API int64_t VPb_IOB_seek(VPb_IOBUF *buf, int64_t offset, int32_t whence) {
    IoBuffer *b = iob_of(buf);
    if (b->mode != kIobRead) return b->position;
    int64_t target;
    switch (whence) {
    case 1: target = b->position + offset; break;
    case 2: target = std::max<int64_t>(b->total - 1 - offset, 0); break;
    default: target = offset; break;
    }
    if (target > b->total - 1) target = b->total - 1;
    if (target < 0) target = 0;
    // Inside the buffered bytes (start .. start + index + available): move
    // the index; elsewhere refill at the new position.
    int64_t delta = target - b->position;
    int64_t new_index = b->index + delta;
    if (new_index >= 0 && new_index <= b->index + b->available) {
        b->available -= static_cast<int32_t>(delta);
        b->index = static_cast<int32_t>(new_index);
        b->position = target;
    } else {
        b->position = target;
        refill(b);
    }
    return b->position;
}

QV_API int64_t VPb_IOB_tell(VPb_IOBUF *buf) { return iob_of(buf)->position; }
QV_API int64_t VPb_IOB_size(VPb_IOBUF *buf) { return iob_of(buf)->total; }

QV_API int32_t VPb_IOB_byte_write(VPb_IOBUF *buf, uint8_t value) {
    return write_bytes(iob_of(buf), &value, 1);
}
QV_API int32_t VPb_IOB_word_write(VPb_IOBUF *buf, uint16_t value) { return write_value(buf, value, 2); }
QV_API int32_t VPb_IOB_dword_write(VPb_IOBUF *buf, uint32_t value) { return write_value(buf, value, 4); }

QV_API int32_t VPb_IOB_write(VPb_IOBUF *buf, const void *data, int32_t count) {
    if (count <= 0) return 0;
    return write_bytes(iob_of(buf), static_cast<const uint8_t *>(data), count) ? count : 0;
}

QV_API int32_t VPb_IOB_flush(VPb_IOBUF *buf) {
    IoBuffer *b = iob_of(buf);
    return b->mode == kIobWrite ? flush(b) : 0;
}

}  // extern "C"
