// libFuzzer target for format detection: arbitrary bytes in a memory stream
// (entered at a position taken from the input), with plain-text detection
// on or off. Detection must return the stream to its entry position and
// name either no filter or a real one; the buffered reader is then run over
// the same stream.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "vosk32pd_bridge.h"

extern "C" {
VPb_STREAM *iQV_stream_mem_new(void *base, int64_t size);
void iQV_stream_free(VPb_STREAM *stream, int32_t close_file);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> bytes(data, data + size);
    int64_t start = size ? int64_t(data[0] % 8) : 0;
    if (start > int64_t(size)) start = 0;
    QV_load_auto_detect_set(41, size && (data[size - 1] & 1));

    VPb_STREAM *s = iQV_stream_mem_new(bytes.data(), int64_t(bytes.size()));
    // Half of the runs see the whole input as already reached (file-like end).
    if (size > 1 && (data[1] & 1)) VPb_IO_seek(s, int64_t(size), 0);
    VPb_IO_seek(s, start, 0);
    QV_error_clear();
    int32_t index = -7;
    VPb_VPr_filter_detect(s, &index);
    if (VPb_IO_tell(s) != start) abort();
    uint32_t type = 0;
    if (index != -1 && VPb_VPr_filter_type_get(index, &type) != 1) abort();

    VPb_IOBUF *b = VPb_IOB_open(s, 0, 1, 1 + int32_t(size % 17));
    if (b) {
        uint32_t v;
        for (size_t i = 0; i < size && VPb_IOB_dword_read(b, &v); ++i) {
        }
        VPb_IOB_seek(b, int64_t(size / 3), 2);
        uint8_t two[2];
        VPb_IOB_peek2(b, two);
        VPb_IOB_close(b);
    }
    iQV_stream_free(s, 0);
    return 0;
}
