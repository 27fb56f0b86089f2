/*
 * save_api.cpp - the exported save entry points and save options.
 *
 * Exported: QV_save_file, QV_save_FD, QV_save_mem, QV_save_mem_CB,
 * QV_save_mem_CB_direct, QV_save_FD_CB, QV_save_FD_CB_direct,
 * QV_save_file_size_calc, QV_save_thumbnail_set, QV_save_JPEG_quality_set,
 * QV_save_JPEG_quality_get.
 */
#include <cstring>

#include "registry/filter_table.h"
#include "save/save_context.h"
#include "support/errors.h"
#include "support/frame.h"
#include "support/registry.h"
#include "support/settings.h"

namespace qv {
namespace {

constexpr char kModule[] = "SAVE\\SAVEAPI.C";

int32_t save(QUORIN handle, const SaveTarget &t, int32_t format, int32_t sel1, int32_t sel2) {
    return api_frame_image(handle, [&] {
        ImageRecord *rec = image_from_handle(handle);
        if (!rec->dib) {
            QV_ERR(QVE_INVALID_IMAGE, reinterpret_cast<intptr_t>(handle), 0);
            return;
        }
        save_run(t, rec, format, sel1, sel2);
    });
}

int32_t save_to_sink(QUORIN handle, SaveTarget::Kind kind, int32_t fd, int32_t sel1,
                     int32_t sel2, int32_t format, QV_SAVE_WRITE_CB sink, void *user) {
    if (!sink) {
        return api_frame_image(handle, [&] { QV_ERR(QVE_NULL_POINTER, 0, 0); });
    }
    SaveTarget t;
    t.kind = kind;
    t.fd = fd;
    t.sink = sink;
    t.user = user;
    return save(handle, t, format, sel1, sel2);
}

}  // namespace
}  // namespace qv

using namespace qv;

extern "C" {

QV_API int32_t QV_save_file(QUORIN handle, const char *file_name, int32_t format) {
    if (!file_name) return api_frame_image(handle, [&] { QV_ERR(QVE_NULL_POINTER, 0, 0); });
    SaveTarget t;
    t.kind = SaveTarget::kFile;
    t.name = file_name;
    return save(handle, t, format, 0, 1);
}

QV_API int32_t QV_save_FD(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2, int32_t format) {
    SaveTarget t;
    t.kind = SaveTarget::kFd;
    t.fd = fd;
    return save(handle, t, format, sel1, sel2);
}

QV_API int32_t QV_save_mem(QUORIN handle, void *buffer, size_t size, size_t used, int32_t sel1,
                           int32_t sel2, int32_t format, size_t *written) {
    if (written) *written = 0;
    if (!buffer && size) return api_frame_image(handle, [&] { QV_ERR(QVE_NULL_POINTER, 0, 0); });
    SaveTarget t;
    t.kind = SaveTarget::kMem;
    t.buffer = buffer;
    t.size = size;
    t.used = used;
    t.written = written;
    return save(handle, t, format, sel1, sel2);
}

QV_API int32_t QV_save_mem_CB(QUORIN handle, int32_t sel1, int32_t sel2, int32_t format,
                              QV_SAVE_WRITE_CB sink, void *user) {
    return save_to_sink(handle, SaveTarget::kSinkBuffered, -1, sel1, sel2, format, sink, user);
}

QV_API int32_t QV_save_mem_CB_direct(QUORIN handle, int32_t sel1, int32_t sel2, int32_t format,
                                     QV_SAVE_WRITE_CB sink, void *user) {
    return save_to_sink(handle, SaveTarget::kSinkDirect, -1, sel1, sel2, format, sink, user);
}

QV_API int32_t QV_save_FD_CB(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2,
                             int32_t format, QV_SAVE_WRITE_CB sink, void *user) {
    return save_to_sink(handle, SaveTarget::kFdTap, fd, sel1, sel2, format, sink, user);
}

QV_API int32_t QV_save_FD_CB_direct(QUORIN handle, int32_t fd, int32_t sel1, int32_t sel2,
                                    int32_t format, QV_SAVE_WRITE_CB sink, void *user) {
    return save_to_sink(handle, SaveTarget::kFdDirect, fd, sel1, sel2, format, sink, user);
}

QV_API int32_t QV_save_file_size_calc(QUORIN handle, int32_t format, int64_t *bytes) {
    if (!bytes) return api_frame_image(handle, [&] { QV_ERR(QVE_NULL_POINTER, 0, 0); });
    *bytes = 0;
    SaveTarget t;
    t.kind = SaveTarget::kCount;
    t.bytes = bytes;
    return save(handle, t, format, 0, 1);
}

QV_API int32_t QV_save_thumbnail_set(int32_t value1, int32_t value2, int32_t value3) {
    return api_frame([&] {
        Settings *s = settings_get();
        if (!s) {
            QV_ERR(QVE_REGISTRY, kKeySettings, 0);
            return;
        }
        // JPEG (type 21) fields 3, 4, 5; TGA (type 39) fields 1, 2, 3.
        const int32_t values[3] = {value1, value2, value3};
        const struct {
            uint32_t type, first_field;
        } blocks[] = {{QV_FORMAT_JPEG, 3}, {QV_FORMAT_TGA, 1}};
        for (const auto &b : blocks) {
            int row = filter_row_of_type(b.type);
            if (row < 0) continue;
            uint8_t *ctl = s->filter_ctl + kFilterTable[row].ctl_offset;
            for (uint32_t i = 0; i < 3; ++i)
                std::memcpy(ctl + 4 * (b.first_field + i), &values[i], 4);
        }
    });
}

QV_API int32_t QV_save_JPEG_quality_set(int32_t quality) { return QV_image_control_set(277, quality); }

QV_API int32_t QV_save_JPEG_quality_get(int32_t *quality) {
    return QV_image_control_get(277, quality);
}

}  // extern "C"
