/*
 * load_pipeline.h - the common body of every load and header query.
 *
 *   LoadSource        a named file, a descriptor at a relative offset, or a
 *                     memory buffer
 *   source_open/_close   open the stream (file: open for reading, -2030 on
 *                     failure; descriptor: remember the position and seek by
 *                     the offset; memory: a memory stream whose end is the
 *                     buffer's end) and close it or put the descriptor back
 *   load_run(src, call)  one load: context, detection (or a given filter),
 *                     the reader, release, close, and the failure rule
 *   load_query_*      the header-only queries (no load context)
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/stream.h"
#include "vosk32pd.h"

namespace qv {

struct LoadSource {
    enum Kind { kFile, kFd, kMem } kind = kFile;
    const char *name = nullptr;
    int32_t fd = -1;
    int64_t offset = 0;
    const void *buffer = nullptr;
    size_t size = 0;
};

struct OpenedSource {
    int64_t entry_position = -1;
    bool open = false;
};

int32_t source_open(Stream *s, const LoadSource &src, OpenedSource *opened);
void source_close(Stream *s, const LoadSource &src, const OpenedSource &opened);

struct LoadCall {
    int32_t sel1 = 1;
    int32_t sel2 = 1;
    QUORIN *handle = nullptr;  // null for the caller-callback loads
    QV_LOAD_ROW_CB row_cb = nullptr;
    QV_LOAD_HEADER_CB header_cb = nullptr;
    void *user = nullptr;
    int32_t filter = -1;       // a given filter index, or -1: detect
    const void *ctl = nullptr; // the reader's control block for this call (null:
    size_t ctl_size = 0;       // the settings record's copy)
    bool thumbnail = false;
    bool ignore_options = false;  // exact copies (DIB in memory, duplicates)
};

int32_t load_run(const LoadSource &src, const LoadCall &call);

int32_t load_query_info(const LoadSource &src, int32_t *format_type, int32_t *value,
                        QV_DIB_HEADER *info);
int32_t load_query_pages(const LoadSource &src, int32_t *count);
int32_t load_query_tiles(const LoadSource &src, int32_t page, int32_t *columns, int32_t *rows);

}  // namespace qv
