/*
 * io_buffer.h - the buffered reader/writer over a stream (FILTERS\IOBUFFER).
 *
 * Readers that fetch many small values wrap their stream in an IoBuffer;
 * the functions are exported as VPb_IOB_* (declared in
 * vosk32pd/bridge_io.h) so that filters in modules and tests use the same
 * code. The record below is the internal side of VPb_IOBUF.
 */
#pragma once

#include <cstdint>

#include "vosk32pd_bridge.h"

namespace qv {

struct IoBuffer {
    VPb_STREAM *stream;
    uint32_t tag;         // memory tag of the record and its buffer
    int32_t mode;         // 1 reading, 2 writing
    uint8_t *data;
    int32_t size;
    int64_t position;     // logical position in the stream
    int32_t index;        // next byte in the buffer
    int32_t available;    // reading: bytes left after index; writing: free bytes
    int64_t total;        // reading: the stream's size at set-up
    int32_t byte_order;   // copied from the stream at set-up
    bool own_tag;         // the tag was taken for this buffer alone
};

inline constexpr int32_t kIobRead = 1;
inline constexpr int32_t kIobWrite = 2;

inline IoBuffer *iob_of(VPb_IOBUF *b) { return reinterpret_cast<IoBuffer *>(b); }

}  // namespace qv
