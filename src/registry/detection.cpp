/*
 * detection.cpp - format detection over a stream.
 *
 * Reads up to 256 bytes at the stream's position, refuses files that are
 * certainly not images (executables, archives, help files), then asks the
 * detectors in registry order; the first that answers names the filter.
 * There is no scoring: table order is the only tie-break. The stream goes
 * back to its entry position on every path (detectors may seek).
 *
 * Exported: VPb_VPr_filter_detect.
 */
#include <cstring>

#include "registry/filter_registry.h"
#include "support/errors.h"

namespace qv {
namespace {

constexpr char kModule[] = "LOAD\\VPR_DET.C";

// Known non-image files: leading bytes and the code that refuses them.
struct Refusal {
    uint8_t magic[4];
    int32_t length;
    int32_t code;
};
constexpr Refusal kRefusals[] = {
    {{'M', 'Z'}, 2, QVE_EXECUTABLE},
    {{'P', 'K'}, 2, QVE_ARCHIVE},
    {{0x3F, 0x5F, 0x03, 0x00}, 4, QVE_HELP_FILE},
};
constexpr int32_t kRefusalMinBytes = 5;

}  // namespace

int32_t detect_format(Stream *stream, int32_t *index) {
    *index = -1;
    int32_t errors_before = error_count();
    int64_t start = stream_tell(stream);

    uint8_t buf[kDetectBytes];
    std::memset(buf, 0, sizeof buf);
    int32_t count = stream_read(stream, buf, kDetectBytes);
    if (count <= 0) {
        QV_ERR(QVE_BAD_OFFSET, count, kDetectBytes);
    } else {
        bool refused = false;
        if (count >= kRefusalMinBytes)
            for (const Refusal &r : kRefusals)
                if (std::memcmp(buf, r.magic, size_t(r.length)) == 0) {
                    QV_ERR(r.code, count, 0);
                    QV_ERR(QVE_NOT_IMAGE, r.code, 0);
                    refused = true;
                    break;
                }
        for (int32_t i = refused ? -1 : filter_first(); i >= 0; i = filter_next(i)) {
            FilterFns f;
            if (!filter_auto_detect(i) || !filter_fns(i, &f) || !f.detect) continue;
            if (f.detect(bridge_of(stream), buf, count)) {
                *index = i;
                break;
            }
        }
    }
    if (error_count() != errors_before || *index < 0)
        QV_ERR(QVE_DETECT_FAILED, error_count(), *index);
    if (start >= 0) stream_seek(stream, start - stream_tell(stream), 1);
    return error_count();
}

}  // namespace qv

extern "C" QV_API int32_t VPb_VPr_filter_detect(VPb_STREAM *stream, int32_t *index) {
    int32_t dummy;
    return qv::detect_format(qv::stream_of(stream), index ? index : &dummy);
}
