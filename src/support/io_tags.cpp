/*
 * io_tags.cpp - tag offers (reader to caller) and tag requests (writer to
 * caller) through the stream's two pairs of tag callbacks.
 *
 * A stream carries the pipeline's offer and request callbacks (installed per
 * operation with VPb_IO_tag_set_CB_register / VPb_IO_tag_get_CB_register)
 * and the caller's (kept in the I/O settings record by
 * QV_load_tag_CB_register / QV_save_tag_CB_register, so every later stream
 * copies them). Offers go to the pipeline's callback, then the caller's.
 *
 * Exported: QV_load_tag_CB_register, QV_save_tag_CB_register,
 * VPb_IO_tag_set_CB_register, VPb_IO_tag_get_CB_register, VPb_IO_tag_set,
 * VPb_IO_tag_byte_set, VPb_IO_tag_word_set, VPb_IO_tag_dword_set,
 * VPb_IO_tag_set_exists, VPb_IO_tag_get, VPb_IO_tag_byte_get,
 * VPb_IO_tag_word_get, VPb_IO_tag_dword_get, VPb_IO_tag_user_get,
 * VPb_IO_tag_get_exists, VPb_IO_tag_user_get_exists.
 */
#include <cstring>

#include "support/errors.h"
#include "support/frame.h"
#include "support/stream.h"

using namespace qv;

namespace {

constexpr char kModule[] = "SUPPORT\\IO.C";

// TIFF field types used by the typed offers and requests.
constexpr int32_t kTypeByte = 1;
constexpr int32_t kTypeShort = 3;
constexpr int32_t kTypeLong = 4;

void offer(Stream *s, int32_t tag, int32_t type, const void *data, int32_t size) {
    if (s->tag_offer_pipeline.fn) s->tag_offer_pipeline.fn(s->tag_offer_pipeline.user, tag, type, data, size);
    if (s->tag_offer_user.fn) s->tag_offer_user.fn(s->tag_offer_user.user, tag, type, data, size);
}

int32_t ask(const TagRequest &r, int32_t tag, int32_t *type, const void **data, int32_t *count) {
    if (!r.fn) return 0;
    *type = 0;
    *data = nullptr;
    *count = 0;
    return r.fn(r.user, tag, type, data, count);
}

void clear_answer(int32_t *type, const void **data, int32_t *count) {
    *type = 0;
    *data = nullptr;
    *count = 0;
}

// The request behind VPb_IO_tag_get and the typed getters: the pipeline's
// callback, preceded by the caller's when it was registered with
// QV_SAVE_TAG_OVERRIDE.
int32_t request(Stream *s, int32_t tag, int32_t *type, const void **data, int32_t *count) {
    clear_answer(type, data, count);
    if ((s->tag_request_flags & QV_SAVE_TAG_OVERRIDE) && ask(s->tag_request_user, tag, type, data, count))
        return 1;
    if (ask(s->tag_request_pipeline, tag, type, data, count)) return 1;
    clear_answer(type, data, count);
    return 0;
}

// Reads the first value of an answer as an unsigned number of its type.
bool answer_value(int32_t type, const void *data, int32_t count, uint32_t *out) {
    if (!data || count <= 0) return false;
    switch (type) {
    case kTypeByte: *out = *static_cast<const uint8_t *>(data); return true;
    case kTypeShort: {
        uint16_t v;
        std::memcpy(&v, data, 2);
        *out = v;
        return true;
    }
    case kTypeLong: std::memcpy(out, data, 4); return true;
    default: return false;
    }
}

// 1 with the value when the request was answered with a byte, short or long.
int32_t typed_get(VPb_STREAM *stream, int32_t tag, uint32_t *value) {
    int32_t type, count;
    const void *data;
    *value = 0;
    if (!request(stream_of(stream), tag, &type, &data, &count)) return 0;
    return answer_value(type, data, count, value) ? 1 : 0;
}

}  // namespace

extern "C" {

QV_API int32_t QV_load_tag_CB_register(QV_TAG_SET_CB fn, void *user) {
    return api_frame([&] {
        Stream *s = io_settings_get();
        if (!s) return;
        s->tag_offer_user = TagOffer{fn, fn ? user : nullptr};
    });
}

QV_API int32_t QV_save_tag_CB_register(QV_TAG_GET_CB fn, void *user, int32_t flags) {
    return api_frame([&] {
        if (flags & ~QV_SAVE_TAG_OVERRIDE) {
            QV_ERR(QVE_BAD_ARGUMENT, flags, 0);
            return;
        }
        Stream *s = io_settings_get();
        if (!s) return;
        s->tag_request_user = TagRequest{fn, fn ? user : nullptr};
        s->tag_request_flags = fn ? flags : 0;
    });
}

QV_API void VPb_IO_tag_set_CB_register(VPb_STREAM *stream, QV_TAG_SET_CB fn, void *user) {
    stream_of(stream)->tag_offer_pipeline = TagOffer{fn, user};
}

QV_API void VPb_IO_tag_get_CB_register(VPb_STREAM *stream, QV_TAG_GET_CB fn, void *user) {
    stream_of(stream)->tag_request_pipeline = TagRequest{fn, user};
}

QV_API void VPb_IO_tag_set(VPb_STREAM *stream, int32_t tag, int32_t type, const void *data,
                           int32_t count) {
    offer(stream_of(stream), tag, type, data, count);
}

QV_API void VPb_IO_tag_byte_set(VPb_STREAM *stream, int32_t tag, uint8_t value) {
    offer(stream_of(stream), tag, kTypeByte, &value, 1);
}

QV_API void VPb_IO_tag_word_set(VPb_STREAM *stream, int32_t tag, uint16_t value) {
    offer(stream_of(stream), tag, kTypeShort, &value, 2);
}

QV_API void VPb_IO_tag_dword_set(VPb_STREAM *stream, int32_t tag, uint32_t value) {
    offer(stream_of(stream), tag, kTypeLong, &value, 4);
}

QV_API int32_t VPb_IO_tag_set_exists(VPb_STREAM *stream) {
    Stream *s = stream_of(stream);
    return s->tag_offer_pipeline.fn || s->tag_offer_user.fn;
}

QV_API int32_t VPb_IO_tag_get(VPb_STREAM *stream, int32_t tag, int32_t *type, const void **data,
                              int32_t *count) {
    return request(stream_of(stream), tag, type, data, count);
}

QV_API int32_t VPb_IO_tag_byte_get(VPb_STREAM *stream, int32_t tag, uint8_t *value) {
    uint32_t v;
    int32_t r = typed_get(stream, tag, &v);
    *value = static_cast<uint8_t>(v);
    return r;
}

QV_API int32_t VPb_IO_tag_word_get(VPb_STREAM *stream, int32_t tag, uint16_t *value) {
    uint32_t v;
    int32_t r = typed_get(stream, tag, &v);
    *value = static_cast<uint16_t>(v);
    return r;
}

QV_API int32_t VPb_IO_tag_dword_get(VPb_STREAM *stream, int32_t tag, uint32_t *value) {
    return typed_get(stream, tag, value);
}

QV_API int32_t VPb_IO_tag_user_get(VPb_STREAM *stream, int32_t tag, int32_t *type,
                                   const void **data, int32_t *count) {
    Stream *s = stream_of(stream);
    clear_answer(type, data, count);
    if (ask(s->tag_request_user, tag, type, data, count)) return 1;
    if (ask(s->tag_request_pipeline, tag, type, data, count)) return 1;
    clear_answer(type, data, count);
    return 0;
}

QV_API int32_t VPb_IO_tag_get_exists(VPb_STREAM *stream) {
    return stream_of(stream)->tag_request_pipeline.fn != nullptr;
}

QV_API int32_t VPb_IO_tag_user_get_exists(VPb_STREAM *stream) {
    return stream_of(stream)->tag_request_user.fn != nullptr;
}

}  // extern "C"
