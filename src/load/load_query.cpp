/*
 * load_query.cpp - the header-only queries: information, page count and
 * tile count. They open the source, detect the format, call the filter's
 * function with a copy of its control block and close; no load context.
 *
 * Internal: load_query_info, load_query_pages, load_query_tiles.
 */
#include <vector>

#include "load/load_pipeline.h"
#include "registry/filter_registry.h"
#include "support/errors.h"

namespace qv {
namespace {

// Opens and detects; calls fn(stream, fns, ctl) when a filter was found.
template <class F>
int32_t with_filter(const LoadSource &src, F &&fn) {
    int32_t start = error_count();
    Stream s;
    if (stream_init(&s) != 0) return error_count();
    OpenedSource opened;
    if (source_open(&s, src, &opened) == 0) {
        int32_t index = -1;
        detect_format(&s, &index);
        FilterFns fns{};
        if (index >= 0 && error_count() == start && filter_fns(index, &fns)) {
            std::vector<uint8_t> ctl(size_t(filter_ctl_size(index)) + 4);
            filter_ctl_copy(index, ctl.data(), ctl.size());
            fn(bridge_of(&s), fns, ctl.data());
        }
    }
    source_close(&s, src, opened);
    return error_count();
}

}  // namespace

int32_t load_query_info(const LoadSource &src, int32_t *format_type, int32_t *value,
                        QV_DIB_HEADER *info) {
    return with_filter(src, [&](VPb_STREAM *s, const FilterFns &fns, void *ctl) {
        if (!fns.info) return;
        QV_DIB_HEADER local{};
        int32_t type = 0, val = 0;
        int32_t before = error_count();
        int32_t st = fns.info(s, info ? info : &local, &type, &val, ctl);
        if (st < 0 || error_count() > before) return;
        if (format_type) *format_type = type;
        if (value) *value = val;
    });
}

int32_t load_query_pages(const LoadSource &src, int32_t *count) {
    *count = 0;
    return with_filter(src, [&](VPb_STREAM *s, const FilterFns &fns, void *ctl) {
        if (!fns.pages) {
            *count = 1;
            return;
        }
        fns.pages(s, ctl, count);
    });
}

int32_t load_query_tiles(const LoadSource &src, int32_t page, int32_t *columns, int32_t *rows) {
    int32_t c = 0, r = 0;
    int32_t n = with_filter(src, [&](VPb_STREAM *s, const FilterFns &fns, void *ctl) {
        if (fns.tiles) fns.tiles(s, ctl, page, &c, &r);
    });
    if (columns) *columns = c;
    if (rows) *rows = r;
    return n;
}

}  // namespace qv
