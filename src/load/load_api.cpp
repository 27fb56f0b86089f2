/*
 * load_api.cpp - the exported load entry points.
 *
 * Exported: QV_load_file, QV_load_FD, QV_load_mem, QV_load_mem_CB,
 * QV_load_FD_CB, QV_load_file_display, QV_load_raw_file, QV_load_raw_FD,
 * QV_load_raw_mem, QV_load_thumbnail, QV_load_thumbnail_FD,
 * QV_load_thumbnail_mem, QV_info_get, QV_info_get_FD, QV_info_get_mem,
 * QV_page_count_get, QV_page_count_get_FD, QV_page_count_get_mem,
 * QV_tile_count_get, QV_tile_count_get_FD, QV_tile_count_get_mem, QV_load_internet,
 * QV_load_CCITT_FD, QV_load_CCITT_mem.
 */
#include "load/load_pipeline.h"
#include "registry/filter_registry.h"
#include "support/errors.h"
#include "support/frame.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\LOADAPI.C";

LoadSource file_source(const char *name) {
    LoadSource s;
    s.kind = LoadSource::kFile;
    s.name = name;
    return s;
}
LoadSource fd_source(int32_t fd, int64_t offset) {
    LoadSource s;
    s.kind = LoadSource::kFd;
    s.fd = fd;
    s.offset = offset;
    return s;
}
LoadSource mem_source(const void *buffer, size_t size) {
    LoadSource s;
    s.kind = LoadSource::kMem;
    s.buffer = buffer;
    s.size = size;
    return s;
}

int32_t load_image(const LoadSource &src, int32_t sel1, int32_t sel2, QUORIN *handle,
                   bool thumbnail = false) {
    return api_frame([&] {
        if (!handle) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        LoadCall call;
        call.sel1 = sel1;
        call.sel2 = sel2;
        call.handle = handle;
        call.thumbnail = thumbnail;
        load_run(src, call);
    });
}

int32_t load_rows(const LoadSource &src, int32_t sel1, int32_t sel2, QV_LOAD_ROW_CB row_cb,
                  QV_LOAD_HEADER_CB header_cb, void *user) {
    return api_frame([&] {
        if (!row_cb) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        LoadCall call;
        call.sel1 = sel1;
        call.sel2 = sel2;
        call.row_cb = row_cb;
        call.header_cb = header_cb;
        call.user = user;
        load_run(src, call);
    });
}

// Headerless fax data: the coding names the filter-table row, the caller's
// size and fill order stand in for a header.
int32_t load_ccitt(const LoadSource &src, int32_t width, int32_t height, int32_t coding,
                   int32_t fill_order, QUORIN *handle) {
    return api_frame([&] {
        if (!handle) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        *handle = nullptr;
        uint32_t type = 0;
        switch (coding) {
        case 3: type = 11; break;
        case 4: type = 12; break;
        case 5: type = 53; break;
        default: QV_ERR(QVE_OUT_OF_RANGE, coding, 0); return;
        }
        if (width < 1 || width > 65535) {
            QV_ERR(QVE_OUT_OF_RANGE, width, 0);
            return;
        }
        if (height < 1) {
            QV_ERR(QVE_OUT_OF_RANGE, height, 0);
            return;
        }
        if (fill_order != 1 && fill_order != 2) {
            QV_ERR(QVE_OUT_OF_RANGE, fill_order, 0);
            return;
        }
        const int32_t index = filter_search(type);
        if (index < 0) {
            QV_ERR(QVE_SAVE_FORMAT, int32_t(type), 0);
            return;
        }
        int32_t ctl[5] = {width, height, fill_order, 0, 2};
        filter_ctl_copy(index, ctl, sizeof ctl);
        ctl[0] = width;
        ctl[1] = height;
        ctl[2] = fill_order;
        LoadCall call;
        call.handle = handle;
        call.filter = index;
        call.ctl = ctl;
        call.ctl_size = sizeof ctl;
        load_run(src, call);
    });
}

int32_t info(const LoadSource &src, int32_t *format_type, int32_t *value, QV_DIB_HEADER *hdr) {
    return api_frame([&] { load_query_info(src, format_type, value, hdr); });
}

int32_t pages(const LoadSource &src, int32_t *count) {
    return api_frame([&] {
        if (!count) {
            QV_ERR(QVE_NULL_POINTER, 0, 0);
            return;
        }
        load_query_pages(src, count);
    });
}

int32_t tiles(const LoadSource &src, int32_t page, int32_t *columns, int32_t *rows) {
    return api_frame([&] { load_query_tiles(src, page, columns, rows); });
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_load_file(const char *file_name, QUORIN *handle) {
    return load_image(file_source(file_name), 1, 1, handle);
}

QV_API int32_t QV_load_FD(int32_t fd, int64_t offset, int32_t sel1, int32_t sel2, QUORIN *handle) {
    return load_image(fd_source(fd, offset), sel1, sel2, handle);
}

QV_API int32_t QV_load_mem(const void *buffer, size_t size, int32_t sel1, int32_t sel2,
                           QUORIN *handle) {
    return load_image(mem_source(buffer, size), sel1, sel2, handle);
}

QV_API int32_t QV_load_mem_CB(const void *buffer, size_t size, int32_t sel1, int32_t sel2,
                              QV_LOAD_ROW_CB row_cb, QV_LOAD_HEADER_CB header_cb, void *user) {
    return load_rows(mem_source(buffer, size), sel1, sel2, row_cb, header_cb, user);
}

QV_API int32_t QV_load_FD_CB(int32_t fd, int64_t offset, int32_t sel1, int32_t sel2,
                             QV_LOAD_ROW_CB row_cb, QV_LOAD_HEADER_CB header_cb, void *user) {
    return load_rows(fd_source(fd, offset), sel1, sel2, row_cb, header_cb, user);
}

QV_API int32_t QV_load_file_display(const char *file_name, intptr_t window, int32_t x, int32_t y,
                                    QUORIN *handle) {
    // No display subsystem in this build: the rows are not drawn anywhere.
    (void)window, (void)x, (void)y;
    return load_image(file_source(file_name), 1, 1, handle);
}

QV_API int32_t QV_load_raw_file(const char *, QUORIN *) { return 0; }
QV_API int32_t QV_load_raw_FD(int32_t, int64_t, QUORIN *) { return 0; }
QV_API int32_t QV_load_raw_mem(const void *, size_t, QUORIN *) { return 0; }

QV_API int32_t QV_load_internet(const char *, QUORIN *handle) {
    return api_frame([&] {
        if (handle) *handle = nullptr;
        QV_ERR(QVE_NOT_AVAILABLE, 0, 0);
    });
}

QV_API int32_t QV_load_thumbnail(const char *file_name, QUORIN *handle) {
    return load_image(file_source(file_name), 1, 1, handle, true);
}

QV_API int32_t QV_load_thumbnail_FD(int32_t fd, int64_t offset, QUORIN *handle) {
    return load_image(fd_source(fd, offset), 1, 1, handle, true);
}

QV_API int32_t QV_load_thumbnail_mem(const void *buffer, size_t size, QUORIN *handle) {
    return load_image(mem_source(buffer, size), 1, 1, handle, true);
}

QV_API int32_t QV_info_get(const char *file_name, int32_t *format_type, int32_t *value,
                           QV_DIB_HEADER *hdr) {
    return info(file_source(file_name), format_type, value, hdr);
}

QV_API int32_t QV_info_get_FD(int32_t fd, int64_t offset, int32_t *format_type, int32_t *value,
                              QV_DIB_HEADER *hdr) {
    return info(fd_source(fd, offset), format_type, value, hdr);
}

QV_API int32_t QV_info_get_mem(const void *buffer, size_t size, int32_t *format_type,
                               int32_t *value, QV_DIB_HEADER *hdr) {
    return info(mem_source(buffer, size), format_type, value, hdr);
}

QV_API int32_t QV_page_count_get(const char *file_name, int32_t *count) {
    return pages(file_source(file_name), count);
}

QV_API int32_t QV_page_count_get_FD(int32_t fd, int64_t offset, int32_t *count) {
    return pages(fd_source(fd, offset), count);
}

QV_API int32_t QV_page_count_get_mem(const void *buffer, size_t size, int32_t *count) {
    return pages(mem_source(buffer, size), count);
}

QV_API int32_t QV_tile_count_get(const char *file_name, int32_t page, int32_t *columns,
                                 int32_t *rows) {
    return tiles(file_source(file_name), page, columns, rows);
}

QV_API int32_t QV_tile_count_get_FD(int32_t fd, int64_t offset, int32_t page, int32_t *columns,
                                    int32_t *rows) {
    return tiles(fd_source(fd, offset), page, columns, rows);
}

QV_API int32_t QV_tile_count_get_mem(const void *buffer, size_t size, int32_t page,
                                     int32_t *columns, int32_t *rows) {
    return tiles(mem_source(buffer, size), page, columns, rows);
}

QV_API int32_t QV_load_CCITT_FD(int32_t fd, int64_t offset, int32_t width, int32_t height,
                                int32_t coding, int32_t fill_order, QUORIN *handle) {
    return load_ccitt(fd_source(fd, offset), width, height, coding, fill_order, handle);
}

QV_API int32_t QV_load_CCITT_mem(const void *buffer, size_t size, int32_t width, int32_t height,
                                 int32_t coding, int32_t fill_order, QUORIN *handle) {
    return load_ccitt(mem_source(buffer, size), width, height, coding, fill_order, handle);
}

}  // extern "C"
