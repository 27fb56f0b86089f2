/*
 * stream_input.h - a read-ahead buffer over a filter's stream, for codec
 * libraries that pull their input through a callback (libspng, giflib,
 * libjpeg's source manager): many small reads become one stream read per
 * block, whatever the stream is (file, descriptor, memory, the caller's
 * registered I/O functions).
 *
 *   StreamInput in(stream, tag)   buffer of kBlock bytes under `tag`
 *   in.ok()                       false when the buffer could not be had
 *   in.read(dst, n)               up to n bytes; the number copied
 *   in.fill()                     next block; its size (0 at the end)
 *   in.data(), in.avail()         the unread bytes of the current block
 *   in.consume(n)                 marks n of them read
 *   in.logical_position()         where the next unread byte lies
 *   in.restore()                  seeks the stream to that position, so it
 *                                 continues just after what was consumed
 */
#pragma once

#include <cstring>

#include "vosk32pd_bridge.h"

namespace qv {

class StreamInput {
public:
    static constexpr int32_t kBlock = 64 * 1024;

    StreamInput(VPb_STREAM *s, uint32_t tag)
        : s_(s), buf_(static_cast<uint8_t *>(VPb_AF_mem_alloc(tag, kBlock))), start_(VPb_IO_tell(s)) {}
    bool ok() const { return buf_ != nullptr; }

    size_t read(void *dst, size_t n) {
        auto *d = static_cast<uint8_t *>(dst);
        size_t done = 0;
        while (done < n) {
            if (pos_ == end_ && fill() == 0) break;
            size_t k = end_ - pos_;
            if (k > n - done) k = n - done;
            std::memcpy(d + done, buf_ + pos_, k);
            pos_ += k;
            done += k;
        }
        return done;
    }
    size_t fill() {
        if (eof_) return 0;
        consumed_ += int64_t(end_);
        pos_ = end_ = 0;
        const int32_t got = VPb_IO_read(s_, buf_, kBlock);
        if (got <= 0) {
            eof_ = true;
            return 0;
        }
        end_ = size_t(got);
        return end_;
    }
    const uint8_t *data() const { return buf_ + pos_; }
    size_t avail() const { return end_ - pos_; }
    void consume(size_t n) { pos_ += n; }
    int64_t logical_position() const { return start_ + consumed_ + int64_t(pos_); }
    void restore() { VPb_IO_seek(s_, logical_position(), 0); }

private:
    VPb_STREAM *s_;
    uint8_t *buf_;
    int64_t start_;
    int64_t consumed_ = 0;
    size_t pos_ = 0, end_ = 0;
    bool eof_ = false;
};

}  // namespace qv
