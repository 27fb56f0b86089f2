/*
 * io_access.cpp - the stream bridge for filters: raw transfers, seeking,
 * byte/word/double-word accessors in both byte orders, the stream's byte
 * order, the swap helpers, and open/create/close for extension modules.
 *
 * Exported: VPb_IO_read, VPb_IO_read_view, VPb_IO_write, VPb_IO_seek, VPb_IO_tell, VPb_IO_truncate,
 * VPb_IO_data_end,
 * VPb_IO_byte_read/_write, VPb_IO_ii_word_read/_write,
 * VPb_IO_ii_dword_read/_write, VPb_IO_mm_word_read/_write,
 * VPb_IO_mm_dword_read/_write, VPb_IO_word_read/_write,
 * VPb_IO_dword_read/_write, VPb_IO_byte_order_set/_get, VPb_ii_word_swap,
 * VPb_ii_dword_swap, VPb_mm_word_swap, VPb_mm_dword_swap, VPb_IO_open,
 * VPb_IO_create, VPb_IO_close.
 */
#include <cstring>

#include "os/os.h"
#include "support/stream.h"

using namespace qv;

namespace {

uint16_t le16(const uint8_t *b) { return static_cast<uint16_t>(b[0] | (b[1] << 8)); }
uint16_t be16(const uint8_t *b) { return static_cast<uint16_t>((b[0] << 8) | b[1]); }
uint32_t le32(const uint8_t *b) {
    return uint32_t(b[0]) | (uint32_t(b[1]) << 8) | (uint32_t(b[2]) << 16) | (uint32_t(b[3]) << 24);
}
uint32_t be32(const uint8_t *b) {
    return (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
}

// Bytes not delivered by a short read read as zero.
template <int N>
int32_t read_n(VPb_STREAM *stream, uint8_t (&b)[N]) {
    std::memset(b, 0, N);
    return stream_read(stream_of(stream), b, N);
}

}  // namespace

extern "C" {

QV_API int32_t VPb_IO_read(VPb_STREAM *stream, void *buffer, int32_t count) {
    return stream_read(stream_of(stream), buffer, count);
}

QV_API int32_t VPb_IO_read_view(VPb_STREAM *stream, int32_t count, const uint8_t **view) {
    if (!view) return -1;
    *view = nullptr;
    return stream ? stream_read_view(stream_of(stream), count, view) : -1;
}

QV_API int32_t VPb_IO_write(VPb_STREAM *stream, const void *buffer, int32_t count) {
    return stream_write(stream_of(stream), buffer, count);
}

QV_API int64_t VPb_IO_seek(VPb_STREAM *stream, int64_t offset, int32_t whence) {
    return stream_seek(stream_of(stream), offset, whence);
}

QV_API int64_t VPb_IO_tell(VPb_STREAM *stream) { return stream_tell(stream_of(stream)); }
QV_API int32_t VPb_IO_truncate(VPb_STREAM *stream) { return stream_truncate(stream_of(stream)); }

QV_API int64_t VPb_IO_data_end(VPb_STREAM *stream) {
    if (!stream) return -1;
    Stream *s = stream_of(stream);
    if (s->end_limit > 0) return s->end_limit;
    if (stream_is_mem(s)) return s->mem_data_end;
    const int64_t here = stream_tell(s);
    const int64_t end = stream_seek(s, 0, 2);
    stream_seek(s, here, 0);
    return end;
}

QV_API int32_t VPb_IO_byte_read(VPb_STREAM *stream, uint8_t *value) {
    uint8_t b[1];
    int32_t n = read_n(stream, b);
    *value = b[0];
    return n;
}

QV_API int32_t VPb_IO_byte_write(VPb_STREAM *stream, uint8_t value) {
    return stream_write(stream_of(stream), &value, 1);
}

QV_API int32_t VPb_IO_ii_word_read(VPb_STREAM *stream, uint16_t *value) {
    uint8_t b[2];
    int32_t n = read_n(stream, b);
    *value = le16(b);
    return n;
}

QV_API int32_t VPb_IO_mm_word_read(VPb_STREAM *stream, uint16_t *value) {
    uint8_t b[2];
    int32_t n = read_n(stream, b);
    *value = be16(b);
    return n;
}

QV_API int32_t VPb_IO_ii_dword_read(VPb_STREAM *stream, uint32_t *value) {
    uint8_t b[4];
    int32_t n = read_n(stream, b);
    *value = le32(b);
    return n;
}

QV_API int32_t VPb_IO_mm_dword_read(VPb_STREAM *stream, uint32_t *value) {
    uint8_t b[4];
    int32_t n = read_n(stream, b);
    *value = be32(b);
    return n;
}

QV_API int32_t VPb_IO_ii_word_write(VPb_STREAM *stream, uint16_t value) {
    uint8_t b[2] = {uint8_t(value), uint8_t(value >> 8)};
    return stream_write(stream_of(stream), b, 2);
}

QV_API int32_t VPb_IO_mm_word_write(VPb_STREAM *stream, uint16_t value) {
    uint8_t b[2] = {uint8_t(value >> 8), uint8_t(value)};
    return stream_write(stream_of(stream), b, 2);
}

QV_API int32_t VPb_IO_ii_dword_write(VPb_STREAM *stream, uint32_t value) {
    uint8_t b[4] = {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16), uint8_t(value >> 24)};
    return stream_write(stream_of(stream), b, 4);
}

QV_API int32_t VPb_IO_mm_dword_write(VPb_STREAM *stream, uint32_t value) {
    uint8_t b[4] = {uint8_t(value >> 24), uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)};
    return stream_write(stream_of(stream), b, 4);
}

}  // extern "C"

namespace {

// The stream's byte order selects one entry of each table: 0 "ii", 1 "mm".
using WordRead = int32_t (*)(VPb_STREAM *, uint16_t *);
using DwordRead = int32_t (*)(VPb_STREAM *, uint32_t *);
using WordWrite = int32_t (*)(VPb_STREAM *, uint16_t);
using DwordWrite = int32_t (*)(VPb_STREAM *, uint32_t);
constexpr WordRead kWordRead[2] = {VPb_IO_ii_word_read, VPb_IO_mm_word_read};
constexpr DwordRead kDwordRead[2] = {VPb_IO_ii_dword_read, VPb_IO_mm_dword_read};
constexpr WordWrite kWordWrite[2] = {VPb_IO_ii_word_write, VPb_IO_mm_word_write};
constexpr DwordWrite kDwordWrite[2] = {VPb_IO_ii_dword_write, VPb_IO_mm_dword_write};

int order_of(VPb_STREAM *stream) { return stream_of(stream)->byte_order & 1; }

}  // namespace

extern "C" {

QV_API int32_t VPb_IO_word_read(VPb_STREAM *stream, uint16_t *value) {
    return kWordRead[order_of(stream)](stream, value);
}
QV_API int32_t VPb_IO_dword_read(VPb_STREAM *stream, uint32_t *value) {
    return kDwordRead[order_of(stream)](stream, value);
}
QV_API int32_t VPb_IO_word_write(VPb_STREAM *stream, uint16_t value) {
    return kWordWrite[order_of(stream)](stream, value);
}
QV_API int32_t VPb_IO_dword_write(VPb_STREAM *stream, uint32_t value) {
    return kDwordWrite[order_of(stream)](stream, value);
}

QV_API int32_t VPb_IO_byte_order_set(VPb_STREAM *stream, int32_t order) {
    if (order != 0 && order != 1) return 0;
    stream_of(stream)->byte_order = order;
    return 1;
}

QV_API int32_t VPb_IO_byte_order_get(VPb_STREAM *stream) { return stream_of(stream)->byte_order; }

QV_API uint16_t VPb_ii_word_swap(uint16_t value) { return value; }
QV_API uint32_t VPb_ii_dword_swap(uint32_t value) { return value; }
QV_API uint16_t VPb_mm_word_swap(uint16_t value) { return __builtin_bswap16(value); }
QV_API uint32_t VPb_mm_dword_swap(uint32_t value) { return __builtin_bswap32(value); }

QV_API intptr_t VPb_IO_open(VPb_STREAM *stream, const char *name, int32_t access) {
    Stream *s = stream_of(stream);
    return (access & kOsAccessWrite) ? stream_open_update(s, name) : stream_open_read(s, name);
}

QV_API intptr_t VPb_IO_create(VPb_STREAM *stream, const char *name) {
    return stream_create(stream_of(stream), name);
}

QV_API void VPb_IO_close(VPb_STREAM *stream) { stream_close(stream_of(stream)); }

}  // extern "C"
