/*
 * qv_reduce.cpp - `qv reduce` and `qv dither` (qv_reduce.h): load IN, run
 * one colour reduction, save OUT in the format of its extension.
 */
#include "qv_reduce.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>

#include "qv_report.h"
#include "qv_save.h"
#include "vosk32pd.h"

namespace qvtool {
namespace {

bool parse_u32(const char *text, uint32_t *out, uint32_t lo, uint32_t hi) {
    char *end = nullptr;
    long long v = std::strtoll(text, &end, 10);
    if (end == text || *end || v < lo || v > hi) return false;
    *out = uint32_t(v);
    return true;
}

bool parse_weights(const char *text, uint32_t w[3]) {
    const char *p = text;
    for (int i = 0; i < 3; ++i) {
        char *end = nullptr;
        long long v = std::strtoll(p, &end, 10);
        if (end == p || v < 0 || v > 65535) return false;
        w[i] = uint32_t(v);
        if (i < 2 && *end != ',') return false;
        if (i == 2 && *end) return false;
        p = end + 1;
    }
    return true;
}

// The arguments both commands take besides their own options: -v or
// --verbose, --quiet (accepted, nothing to quiet), and the file and method
// names filling `names` in order. Returns 0 when `arg` was taken, else 2
// after printing an unknown option or the usage.
int other_arg(char *arg, const char *usage, bool &verbose, std::initializer_list<const char **> names) {
    const std::string a = arg;
    if (a == "--verbose" || a == "-v") return verbose = true, 0;
    if (a == "--quiet") return 0;
    if (!a.empty() && a[0] == '-') return std::fprintf(stderr, "qv: unknown option %s\n%s", arg, usage), 2;
    for (const char **name : names)
        if (!*name) return *name = arg, 0;
    return std::fputs(usage, stderr), 2;
}

// Loads IN, applies `op`, saves OUT. `what` names the step for messages.
int run(const char *in, const char *out, const char *what, bool verbose,
        const std::function<int32_t(QUORIN)> &op) {
    QUORIN image = nullptr;
    if (QV_load_file(in, &image) != 0 || !image) return report_failure({in, false, {}}, verbose), 1;
    if (op(image) != 0) {
        report_failure({in, false, {}, what}, verbose);
        QV_image_delete(image);
        return 1;
    }
    int status = 0;
    if (save_replacing(image, out, 0) != 0) {
        report_failure({out, true, {}}, verbose);
        status = 1;
    }
    QV_image_delete(image);
    return status;
}

}  // namespace

int cmd_reduce(int argc, char **argv, const char *usage) {
    const char *in = nullptr, *out = nullptr;
    uint32_t colours = 0;
    bool search = false, verbose = false, have_count = false;
    for (int i = 0; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--octree" && i + 1 < argc) {
            if (!parse_u32(argv[++i], &colours, 1, 65535))
                return std::fprintf(stderr, "qv: bad colour count %s (1..65535; above 256 gives 256, below 8 gives 8)\n", argv[i]), 2;
            have_count = true;
        } else if (a == "--search") {
            search = true;
        } else if (int rc = other_arg(argv[i], usage, verbose, {&in, &out})) {
            return rc;
        }
    }
    if (!in || !out || !have_count) return std::fputs(usage, stderr), 2;
    return run(in, out, "reduce", verbose, [&](QUORIN img) {
        return QV_IP_color_reduce_octree(img, search ? 0 : 1, colours, 0, nullptr);
    });
}

int cmd_dither(int argc, char **argv, const char *usage) {
    const char *in = nullptr, *out = nullptr, *method = nullptr;
    uint32_t colours = 2, threshold = 128, mode = 0, weights[3] = {1, 1, 1};
    bool verbose = false;
    for (int i = 0; i < argc; ++i) {
        std::string a = argv[i];
        bool has_value = i + 1 < argc;
        if (a == "--colors" && has_value) {
            if (!parse_u32(argv[++i], &colours, 2, 16) || (colours != 2 && colours != 16))
                return std::fprintf(stderr, "qv: bad colour count %s (2 or 16)\n", argv[i]), 2;
        } else if (a == "--threshold" && has_value) {
            if (!parse_u32(argv[++i], &threshold, 0, 255))
                return std::fprintf(stderr, "qv: bad threshold %s (0..255)\n", argv[i]), 2;
        } else if (a == "--mode" && has_value) {
            if (!parse_u32(argv[++i], &mode, 0, 2))
                return std::fprintf(stderr, "qv: bad threshold mode %s (0..2)\n", argv[i]), 2;
        } else if (a == "--weights" && has_value) {
            if (!parse_weights(argv[++i], weights))
                return std::fprintf(stderr, "qv: bad weights %s (R,G,B)\n", argv[i]), 2;
        } else if (int rc = other_arg(argv[i], usage, verbose, {&in, &out, &method})) {
            return rc;
        }
    }
    if (!in || !out || !method) return std::fputs(usage, stderr), 2;
    const std::string m = method;
    const uint32_t bits = colours == 16 ? 4 : 1;
    std::function<int32_t(QUORIN)> op;
    if (m == "fs") {
        op = [&](QUORIN img) { return QV_IP_color_reduce_diffuse(img, bits, threshold, nullptr); };
    } else if (m == "bayer") {
        op = [&](QUORIN img) { return QV_IP_color_reduce_bayer(img, bits, nullptr); };
    } else if (m == "halftone" && bits == 1) {
        op = [](QUORIN img) { return QV_IP_color_reduce_halftone(img, 0); };
    } else if (m == "threshold" && bits == 1) {
        op = [&](QUORIN img) {
            return QV_IP_color_reduce_to_bitonal(img, mode, threshold, weights[0], weights[1], weights[2]);
        };
    } else {
        return std::fprintf(stderr, "qv: unknown dither method %s (fs, bayer, halftone, threshold; "
                                    "16 colours with fs and bayer only)\n", method), 2;
    }
    return run(in, out, "dither", verbose, op);
}

}  // namespace qvtool
