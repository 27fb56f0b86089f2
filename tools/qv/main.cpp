/*
 * main.cpp - the qv command-line tool.
 *
 *   qv info FILE...                       format, size, depth, pages, resolution
 *   qv convert IN OUT [options]           load IN, save OUT
 *       --format TYPE   output format (name such as bmp, pcx, tif, or a
 *                       number); default: chosen by OUT's extension
 *       --page N        page of a multi-page input (from 1)
 *       --append        add OUT's page to an existing DCX file (DCX only)
 *       --rect L,T,W,H  load only this rectangle
 *       --size WxH      load at this size
 *       --reduce MODE   colour reduction 1..4 (1 bit, 16 colours, 256
 *                       colours, 256 greys)
 *       --progress / --quiet   force / suppress the progress bar (shown
 *                       on a terminal by default)
 *   qv --help
 *
 * Failures print the library's error stack (code name, module, line, the
 * two values) and exit with 1; usage errors exit with 2.
 */
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qv_tables.h"
#include "vosk32pd.h"

namespace {

const char kUsage[] =
    "usage: qv info FILE...\n"
    "       qv convert IN OUT [--format TYPE] [--page N] [--append] [--rect L,T,W,H]\n"
    "                         [--size WxH] [--reduce MODE] [--progress|--quiet]\n"
    "       qv --help\n"
    "\n"
    "info     shows each file's format, size, bit depth, page count and resolution.\n"
    "convert  loads IN (its format is detected from the content) and saves OUT in\n"
    "         the format of --format or, without it, of OUT's extension.\n"
    "  --format TYPE   bmp, pcx, dcx, tif, ... or a format number\n"
    "  --page N        page to load from a multi-page file (from 1)\n"
    "  --append        add the image as a new page of an existing DCX file OUT\n"
    "                  (a file that is not DCX, or holds 1024 pages, is rewritten)\n"
    "  --rect L,T,W,H  load only the rectangle at L,T of W x H pixels\n"
    "  --size WxH      scale to W x H pixels while loading\n"
    "  --reduce MODE   1: black and white, 2: 16 colours, 3: 256 colours, 4: 256 greys\n"
    "  --progress      always show the progress bar (default: only on a terminal)\n"
    "  --quiet         never show it\n";

// Prints every record of the error stack, oldest first.
void report(const char *file, const char *what) {
    int32_t n = QV_error_check();
    std::fprintf(stderr, "qv: %s: %s failed (%d error%s)\n", file, what, n, n == 1 ? "" : "s");
    for (int32_t i = 0; i < n; ++i) {
        char module[32] = {0};
        int32_t line = 0, code = 0, ival = 0, lval = 0;
        QV_error_get(i, module, sizeof module, &line, &code, &ival, &lval);
        const char *name = qvtool::error_name(code);
        std::fprintf(stderr, "  %d %s in %s line %d (iVal %d, lVal %d)\n", code,
                     name ? name : "(unnamed)", module, line, ival, lval);
    }
}

struct Progress {
    bool on = false;
    int last = -1;
    const char *label = "";
};
Progress g_progress;

int32_t progress_cb(int32_t done, int32_t total, void *user) {
    auto *p = static_cast<Progress *>(user);
    if (total <= 0) return 1;
    int pct = int(int64_t(done) * 100 / total);
    if (pct == p->last) return 1;
    p->last = pct;
    constexpr int kWidth = 40;
    int fill = pct * kWidth / 100;
    std::fprintf(stderr, "\r%-5s [%.*s%*s] %3d%%", p->label, fill, "########################################",
                 kWidth - fill, "", pct);
    if (done >= total) std::fputc('\n', stderr), p->last = -1;
    return 1;
}

bool parse_ints(const char *text, char sep, int32_t *out, int count) {
    const char *p = text;
    for (int i = 0; i < count; ++i) {
        char *end = nullptr;
        long v = std::strtol(p, &end, 10);
        if (end == p || v < 0 || v > INT32_MAX) return false;
        out[i] = int32_t(v);
        if (i + 1 < count) {
            if (*end != sep) return false;
            p = end + 1;
        } else if (*end) {
            return false;
        }
    }
    return true;
}

int cmd_info(int argc, char **argv) {
    if (argc < 1) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    int32_t units = 2;
    QV_DIB_resolution_units_get(&units);
    int status = 0;
    for (int i = 0; i < argc; ++i) {
        int32_t type = 0, value = 0, pages = 0;
        QV_DIB_HEADER hdr{};
        if (QV_info_get(argv[i], &type, &value, &hdr) != 0) {
            report(argv[i], "info");
            status = 1;
            continue;
        }
        if (QV_page_count_get(argv[i], &pages) != 0) pages = 0;
        const char *name = qvtool::format_name(type);
        int32_t h = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
        int32_t xdpi = units == 3 ? hdr.biXPelsPerMeter : QV_convert_PPM_to_DPI(hdr.biXPelsPerMeter);
        int32_t ydpi = units == 3 ? hdr.biYPelsPerMeter : QV_convert_PPM_to_DPI(hdr.biYPelsPerMeter);
        std::printf("%s: %s (format %d, compression %d), %d x %d, %d bits per pixel, %d page%s, "
                    "%d x %d dpi\n",
                    argv[i], name ? name : "unknown", type, value, hdr.biWidth, h,
                    hdr.biBitCount, pages, pages == 1 ? "" : "s", xdpi, ydpi);
    }
    return status;
}

// True when OUT is written as DCX: format 8, or no format and a .dcx name.
bool is_dcx_output(const char *out, int32_t format) {
    if (format != 0) return format == 8;
    const char *dot = std::strrchr(out, '.');
    return dot && strcasecmp(dot, ".dcx") == 0;
}

int cmd_convert(int argc, char **argv) {
    const char *in = nullptr, *out = nullptr;
    int32_t format = 0, page = 1, rect[4] = {0, 0, 0, 0}, size[2] = {0, 0}, reduce = 0;
    bool rect_set = false, size_set = false, append = false;
    int progress = isatty(2) ? 1 : 0;
    for (int i = 0; i < argc; ++i) {
        std::string a = argv[i];
        bool has_value = i + 1 < argc;
        if (a == "--format" && has_value) {
            format = qvtool::format_type_of(argv[++i]);
            if (format < 0) return std::fprintf(stderr, "qv: unknown format %s\n", argv[i]), 2;
        } else if (a == "--page" && has_value) {
            if (!parse_ints(argv[++i], 0, &page, 1) || page < 1)
                return std::fprintf(stderr, "qv: bad page %s\n", argv[i]), 2;
        } else if (a == "--rect" && has_value) {
            if (!parse_ints(argv[++i], ',', rect, 4))
                return std::fprintf(stderr, "qv: bad rectangle %s\n", argv[i]), 2;
            rect_set = true;
        } else if (a == "--size" && has_value) {
            if (!parse_ints(argv[++i], 'x', size, 2))
                return std::fprintf(stderr, "qv: bad size %s\n", argv[i]), 2;
            size_set = true;
        } else if (a == "--reduce" && has_value) {
            if (!parse_ints(argv[++i], 0, &reduce, 1) || reduce < 1 || reduce > 4)
                return std::fprintf(stderr, "qv: bad reduction mode %s\n", argv[i]), 2;
        } else if (a == "--append") {
            append = true;
        } else if (a == "--progress") {
            progress = 1;
        } else if (a == "--quiet") {
            progress = 0;
        } else if (!a.empty() && a[0] == '-' && a != "-") {
            return std::fprintf(stderr, "qv: unknown option %s\n%s", a.c_str(), kUsage), 2;
        } else if (!in) {
            in = argv[i];
        } else if (!out) {
            out = argv[i];
        } else {
            return std::fputs(kUsage, stderr), 2;
        }
    }
    if (!in || !out) return std::fputs(kUsage, stderr), 2;

    if (rect_set) QV_load_rect_set(rect[0], rect[1], rect[2], rect[3]);
    if (size_set) QV_load_size_set(size[0], size[1]);
    if (reduce) QV_load_color_reduction_set(reduce);
    g_progress.on = progress != 0;
    QV_status_bar_CB_register(g_progress.on ? progress_cb : nullptr, &g_progress);

    int fd = ::open(in, O_RDONLY);
    if (fd < 0) {
        std::fprintf(stderr, "qv: cannot open %s: %s\n", in, std::strerror(errno));
        return 1;
    }
    QUORIN image = nullptr;
    g_progress.label = "load";
    int32_t n = QV_load_FD(fd, 0, page, 1, &image);
    ::close(fd);
    if (n != 0 || !image) {
        report(in, "load");
        return 1;
    }
    // DCX pages: the control block's append flag (word 1) adds the page to
    // an existing file; without --append an existing DCX file is replaced
    // (the writer rewrites it in place, so a longer old file is removed first).
    if (is_dcx_output(out, format)) {
        QV_image_control_set(1 * 256 + 8, append ? 1 : 0);
        if (!append) ::unlink(out);
    }
    int status = 0;
    g_progress.label = "save";
    if (QV_save_file(image, out, format) != 0) {
        report(out, "save");
        status = 1;
    }
    QV_image_delete(image);
    return status;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    std::string cmd = argv[1];
    if (cmd == "--help" || cmd == "-h" || cmd == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (cmd == "info") return cmd_info(argc - 2, argv + 2);
    if (cmd == "convert") return cmd_convert(argc - 2, argv + 2);
    std::fprintf(stderr, "qv: unknown command %s\n%s", argv[1], kUsage);
    return 2;
}
