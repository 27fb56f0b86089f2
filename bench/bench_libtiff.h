/*
 * bench_libtiff.h - libtiff reading and writing a TIFF held in memory, for
 * the benchmarks that time libtiff beside the library (its client I/O
 * functions over a growable byte vector; reads map the bytes directly).
 */
#pragma once

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

struct MemFile {
    std::vector<uint8_t> data;
    toff_t pos = 0;
};
tsize_t mem_read(thandle_t h, tdata_t buf, tsize_t n) {
    auto *m = static_cast<MemFile *>(h);
    const toff_t left = m->pos < m->data.size() ? m->data.size() - m->pos : 0;
    const tsize_t k = std::min<tsize_t>(n, tsize_t(left));
    std::memcpy(buf, m->data.data() + m->pos, size_t(k));
    m->pos += toff_t(k);
    return k;
}
tsize_t mem_write(thandle_t h, tdata_t buf, tsize_t n) {
    auto *m = static_cast<MemFile *>(h);
    if (m->pos + toff_t(n) > m->data.size()) m->data.resize(size_t(m->pos + toff_t(n)));
    std::memcpy(m->data.data() + m->pos, buf, size_t(n));
    m->pos += toff_t(n);
    return n;
}
toff_t mem_seek(thandle_t h, toff_t off, int whence) {
    auto *m = static_cast<MemFile *>(h);
    if (whence == SEEK_SET) m->pos = off;
    else if (whence == SEEK_CUR) m->pos += off;
    else m->pos = m->data.size() + off;
    return m->pos;
}
int mem_close(thandle_t) { return 0; }
toff_t mem_size(thandle_t h) { return static_cast<MemFile *>(h)->data.size(); }
int mem_map(thandle_t h, tdata_t *base, toff_t *size) {
    auto *m = static_cast<MemFile *>(h);
    *base = m->data.data();
    *size = m->data.size();
    return 1;
}
void mem_unmap(thandle_t, tdata_t, toff_t) {}

TIFF *mem_open(MemFile *m, const char *mode) {
    m->pos = 0;
    return TIFFClientOpen("mem", mode, m, mem_read, mem_write, mem_seek, mem_close, mem_size, mem_map, mem_unmap);
}

}  // namespace
