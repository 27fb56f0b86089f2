/*
 * main.cpp - the qv command-line tool.
 *
 *   qv info FILE... [--verbose]           format, size, depth, compression,
 *                                         pages, resolution
 *   qv convert IN OUT [options]           load IN, save OUT
 *       --format TYPE   output format (name such as bmp, pcx, tif, g3, g4,
 *                       or a number); default: chosen by OUT's extension
 *                       (.g3, .g4 and .fax write raw fax, 1-bit images only)
 *       --page N        page of a multi-page input (from 1)
 *       --append        add OUT's page to an existing DCX, GIF or TIFF file
 *       --compression C TIFF compression (none, packbits, lzw, mh, g3, g3-2d,
 *                       g4, jpeg)
 *       --quality Q     JPEG quality 1..100 (default 75)
 *       --rect L,T,W,H  load only this rectangle
 *       --size WxH      resize to this size after loading
 *       --method N      resize method 0..4 (default 2 where the image
 *                       takes it, else 0)
 *       --background B  method 4's padding and the background of a
 *                       rotation: one to three byte values
 *       --crop L,T,R,B  cut down to this rectangle (inclusive, clipped)
 *       --rotate DEG    turn clockwise by DEG degrees (keeping the size)
 *       --grow          with --rotate: grow the canvas to the whole picture
 *       --flip h|v      mirror left-right (h) or top-bottom (v)
 *       --reduce MODE   colour reduction 1..4 (1 bit, 16 colours, 256
 *                       colours, 256 greys)
 *       --ccitt CODING  IN is raw fax data (g3, g3-2d, g4) of
 *                       --width W and --height H pixels
 *       --fill-order N  1 (default) or 2: bit order of raw fax bytes, read
 *                       and written
 *       --progress / --quiet   force / suppress the progress bar (shown
 *                       on a terminal by default)
 *       --verbose       after a failure, list the whole error stack
 *   qv resize IN OUT WxH [options]        convert IN OUT --size WxH
 *   qv rotate IN OUT DEG [options]        convert IN OUT --rotate DEG
 *   qv flip IN OUT h|v [options]          convert IN OUT --flip h|v
 *   qv crop IN OUT L,T,R,B [options]      convert IN OUT --crop L,T,R,B
 *   qv reduce IN OUT --octree N [--search]          (qv_reduce.h)
 *   qv dither IN OUT fs|bayer|halftone|threshold [--colors 16]
 *             [--threshold T] [--mode M] [--weights R,G,B]
 * The operations run in the order crop, resize, rotate, flip.
 *   qv --help
 *
 * Failures say in words what went wrong, with the error's code and name
 * (qv_report.cpp), and exit with 1; usage errors exit with 2. A save never
 * destroys OUT when it fails (qv_save.cpp).
 */
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qv_reduce.h"
#include "qv_report.h"
#include "qv_save.h"
#include "qv_tables.h"
#include "vosk32pd.h"

namespace {

const char kUsage[] =
    "usage: qv info FILE... [--verbose]\n"
    "       qv convert IN OUT [--format TYPE] [--page N] [--append] [--quality Q]\n"
    "                 [--compression C]\n"
    "                         [--rect L,T,W,H] [--size WxH [--method N] [--background B]]\n"
    "                         [--reduce MODE] [--progress|--quiet] [--verbose]\n"
    "                         [--ccitt g3|g3-2d|g4 --width W --height H] [--fill-order 1|2]\n"
    "                         [--crop L,T,R,B] [--rotate DEG [--grow]] [--flip h|v]\n"
    "       qv resize IN OUT WxH [--method N] [--background B] [convert's options]\n"
    "       qv rotate IN OUT DEG [--grow] [--background B] [convert's options]\n"
    "       qv flip IN OUT h|v [convert's options]\n"
    "       qv crop IN OUT L,T,R,B [convert's options]\n"
    "       qv reduce IN OUT --octree N [--search] [--verbose]\n"
    "       qv dither IN OUT fs|bayer|halftone|threshold [--colors 16] [--threshold T]\n"
    "                        [--mode 0|1|2] [--weights R,G,B] [--verbose]\n"
    "       qv --help\n"
    "\n"
    "info     shows each file's format, size, bit depth, compression, page count and\n"
    "         resolution.\n"
    "convert  loads IN (its format is detected from the content) and saves OUT in\n"
    "         the format of --format or, without it, of OUT's extension. A failed\n"
    "         save leaves an existing OUT as it was.\n"
    "  --format TYPE   bmp, pcx, dcx, tif, g3, g3-2d, g4, ... or a format number\n"
    "                  (.g3, .fax and .g4 outputs are written as raw fax pages)\n"
    "  --ccitt CODING  IN is headerless fax data: g3 (one-dimensional), g3-2d or g4,\n"
    "                  of --width W and --height H pixels\n"
    "  --fill-order N  1: the first pixel is a byte's high bit (default); 2: its low\n"
    "                  bit; applies to raw fax read and written\n"
    "  --page N        page to load from a multi-page file (from 1)\n"
    "  --append        add the image as a new page of an existing DCX, GIF or TIFF file\n"
    "  --compression C TIFF output: none, packbits, lzw, mh, g3, g3-2d, g4, jpeg\n"
    "                  OUT (a file of another format, or a DCX holding 1024 pages,\n"
    "                  is rewritten)\n"
    "  --quality Q     JPEG quality, 1 (smallest) to 100 (best); default 75\n"
    "  --rect L,T,W,H  load only the rectangle at L,T of W x H pixels (a rectangle\n"
    "                  reaching outside the image is moved and cut to fit, and\n"
    "                  qv says so)\n"
    "  --size WxH      resize to W x H pixels after loading (and reducing)\n"
    "  --method N      0: nearest (truncated), 1: four-point average, 2: bilinear,\n"
    "                  3: nearest (rounded), 4: canvas (crop or pad, no scaling);\n"
    "                  default 2, or 0 for 4-bit and colour-palette 8-bit images\n"
    "  --background B  method 4's padding and the corners a rotation uncovers: an\n"
    "                  index, a 1-bit value, or B,G,R bytes (default: white at 1\n"
    "                  bit, else index 0 or black)\n"
    "  --crop L,T,R,B  cut the image down to columns L..R and rows T..B (a rectangle\n"
    "                  reaching outside the image is cut to fit)\n"
    "  --rotate DEG    turn clockwise by DEG degrees (negative: counter-clockwise);\n"
    "                  the size is kept and the corners turned out are lost unless\n"
    "  --grow          is given: then the canvas grows to hold the whole picture\n"
    "  --flip h|v      mirror left-right (h) or top-bottom (v)\n"
    "  --reduce MODE   1: black and white, 2: 16 colours, 3: 256 colours, 4: 256 greys\n"
    "  --progress      always show the progress bar (default: only on a terminal)\n"
    "  --quiet         never show it\n"
    "  --verbose       after a failure, list every record of the library's error stack\n"
    "Operations run in the order crop, resize, rotate, flip.\n"
    "resize, rotate, flip and crop are convert with the size, angle, direction or\n"
    "         rectangle given third.\n"
    "reduce   maps IN to an optimised palette of N colours (8..256; 16 or fewer give\n"
    "         a 4-bit image) with error diffusion; --search tries five shifted\n"
    "         colours a pixel for small palettes.\n"
    "dither   fs: error diffusion to black and white at --threshold T (default 128),\n"
    "         or to 16 colours with --colors 16; bayer: ordered dither (1 bit, or 16\n"
    "         colours); halftone: clustered dots; threshold: one threshold on the gray\n"
    "         level (--mode 0), the channel mean (1) or --weights R,G,B (2).\n";

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
    std::fprintf(stderr, "\r%-5s [%.*s%*s] %3d%%", p->label, fill,
                 "########################################", kWidth - fill, "", pct);
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

// One to three byte values separated by commas.
bool parse_bytes(const char *text, uint8_t out[3]) {
    int32_t v[3] = {0, 0, 0};
    int n = 0;
    for (const char *p = text; n < 3; ++n) {
        char *end = nullptr;
        long x = std::strtol(p, &end, 10);
        if (end == p || x < 0 || x > 255) return false;
        v[n] = int32_t(x);
        if (*end == 0) {
            ++n;
            break;
        }
        if (*end != ',') return false;
        p = end + 1;
        if (n == 2) return false;
    }
    for (int i = 0; i < 3; ++i) out[i] = uint8_t(v[i]);
    return true;
}

// Four signed integers separated by commas (L,T,R,B).
bool parse_rect(const char *text, int32_t out[4]) {
    const char *p = text;
    for (int i = 0; i < 4; ++i) {
        char *end = nullptr;
        long v = std::strtol(p, &end, 10);
        if (end == p || v < INT32_MIN || v > INT32_MAX) return false;
        out[i] = int32_t(v);
        if (i < 3) {
            if (*end != ',') return false;
            p = end + 1;
        } else if (*end) {
            return false;
        }
    }
    return true;
}

bool parse_angle(const char *text, double *out) {
    char *end = nullptr;
    double v = std::strtod(text, &end);
    if (end == text || *end || !std::isfinite(v)) return false;
    *out = v;
    return true;
}

// h: left-right (0), v: top-bottom (1); -1 for anything else.
int32_t flip_direction_of(const char *text) {
    if (std::strcmp(text, "h") == 0) return 0;
    if (std::strcmp(text, "v") == 0) return 1;
    return -1;
}

// The method `qv` resizes with when none is asked for: bilinear where the
// image takes it, nearest neighbour for 4-bit and colour-palette images.
uint32_t default_method(QUORIN image) {
    int32_t bpp = 0, grey = 0;
    QV_image_dimensions_get(image, nullptr, nullptr, &bpp);
    QV_image_is_gray(image, &grey);
    return bpp == 4 || (bpp == 8 && !grey) ? 0u : 2u;
}

bool is_verbose_flag(const char *arg) {
    return std::strcmp(arg, "--verbose") == 0 || std::strcmp(arg, "-v") == 0;
}

std::string plural(int32_t n, const char *word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// "96 x 96 dpi", or "no resolution" when the file gives none.
std::string resolution_text(const QV_DIB_HEADER &hdr, int32_t units) {
    if (hdr.biXPelsPerMeter == 0 && hdr.biYPelsPerMeter == 0) return "no resolution";
    auto dpi = [units](int32_t v) { return units == 3 ? v : QV_convert_PPM_to_DPI(v); };
    return std::to_string(dpi(hdr.biXPelsPerMeter)) + " x " +
           std::to_string(dpi(hdr.biYPelsPerMeter)) + " dpi";
}

int cmd_info(int argc, char **argv) {
    bool verbose = false;
    int files = 0;
    for (int i = 0; i < argc; ++i) {
        if (is_verbose_flag(argv[i])) {
            verbose = true;
        } else if (argv[i][0] == '-' && argv[i][1] != 0) {
            return std::fprintf(stderr, "qv: unknown option %s\n%s", argv[i], kUsage), 2;
        } else {
            ++files;
        }
    }
    if (files == 0) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    int32_t units = 2;
    QV_DIB_resolution_units_get(&units);
    int status = 0;
    for (int i = 0; i < argc; ++i) {
        if (is_verbose_flag(argv[i])) continue;
        int32_t type = 0, value = 0, pages = 0;
        QV_DIB_HEADER hdr{};
        if (QV_info_get(argv[i], &type, &value, &hdr) != 0) {
            qvtool::report_failure({argv[i], false, {}}, verbose);
            status = 1;
            continue;
        }
        if (QV_page_count_get(argv[i], &pages) != 0) pages = 0;
        const char *name = qvtool::format_name(type);
        const char *comp = qvtool::compression_name(type, value);
        const int32_t h = hdr.biHeight < 0 ? -hdr.biHeight : hdr.biHeight;
        std::printf("%s: %s (format %d), %d x %d, %s per pixel, %s, %s, %s\n", argv[i],
                    name ? name : "unknown format", type, hdr.biWidth, h,
                    plural(hdr.biBitCount, "bit").c_str(),
                    comp ? comp : ("compression " + std::to_string(value)).c_str(),
                    plural(pages, "page").c_str(), resolution_text(hdr, units).c_str());
        // A multi-page TIFF: one line per page.
        for (int32_t p = 1; type == QV_FORMAT_TIFF && pages > 1 && p <= pages; ++p) {
            QV_DIB_HEADER ph{};
            int32_t pt = 0, pv = 0;
            QV_image_control_set(QV_CTL_TIFF_INFO_PAGE, p);
            const bool ok = QV_info_get(argv[i], &pt, &pv, &ph) == 0;
            QV_image_control_set(QV_CTL_TIFF_INFO_PAGE, 0);
            if (!ok) {
                qvtool::report_failure({argv[i], false, {}}, verbose);
                status = 1;
                break;
            }
            const char *pc = qvtool::compression_name(pt, pv);
            std::printf("  page %d: %d x %d, %s per pixel, %s, %s\n", p, ph.biWidth,
                        ph.biHeight < 0 ? -ph.biHeight : ph.biHeight,
                        plural(ph.biBitCount, "bit").c_str(),
                        pc ? pc : ("compression " + std::to_string(pv)).c_str(),
                        resolution_text(ph, units).c_str());
        }
    }
    return status;
}

// True when OUT is written as DCX: format 8, or no format and a .dcx name.
// The format OUT is written in when it is one that takes added pages (DCX,
// GIF), else 0.
int32_t paged_output(const char *out, int32_t format) {
    format &= 0xFFFF;
    if (format != 0)
        return format == QV_FORMAT_DCX || format == QV_FORMAT_GIF || format == QV_FORMAT_TIFF ? format : 0;
    const char *dot = std::strrchr(out, '.');
    if (dot && strcasecmp(dot, ".dcx") == 0) return QV_FORMAT_DCX;
    if (dot && strcasecmp(dot, ".gif") == 0) return QV_FORMAT_GIF;
    if (dot && (strcasecmp(dot, ".tif") == 0 || strcasecmp(dot, ".tiff") == 0)) return QV_FORMAT_TIFF;
    return 0;
}

// The TIFF writer's library compression code of a name; -1 when unknown.
int32_t tiff_compression_of(const std::string &name) {
    static const std::pair<const char *, int32_t> kNames[] = {
        {"none", 0}, {"packbits", 1}, {"mh", 2}, {"g3", 3}, {"g4", 4}, {"g3-2d", 5}, {"jpeg", 6}, {"lzw", 8},
    };
    for (const auto &[n, code] : kNames)
        if (strcasecmp(name.c_str(), n) == 0) return code;
    return -1;
}

// Raw fax outputs: the format type of a fax name or extension and the
// compression its writer takes (3 one-dimensional, 5 two-dimensional, 4
// Group 4); 0 when OUT is not raw fax.
int32_t fax_output(const char *out, int32_t format) {
    if (format == 0) {
        const char *base = std::strrchr(out, '/');
        const char *dot = std::strrchr(base ? base : out, '.');
        if (!dot) return 0;
        if (strcasecmp(dot, ".g3") == 0 || strcasecmp(dot, ".fax") == 0) format = 11;
        else if (strcasecmp(dot, ".g4") == 0) format = 12;
        else return 0;
    }
    switch (format) {
    case 11: return QV_SAVE_FORMAT(11, 3);
    case 53: return QV_SAVE_FORMAT(53, 5);
    case 12: return QV_SAVE_FORMAT(12, 4);
    default: return 0;
    }
}

// The coding value of QV_load_CCITT_FD for a --ccitt name, or -1.
int32_t ccitt_coding_of(const std::string &name) {
    if (strcasecmp(name.c_str(), "g3") == 0) return 3;
    if (strcasecmp(name.c_str(), "g3-2d") == 0) return 5;
    if (strcasecmp(name.c_str(), "g4") == 0) return 4;
    return -1;
}

// What chooses OUT's format, in the words of a failure report.
std::string format_target(const char *out, int32_t format) {
    if (format != 0) return "format " + std::to_string(format);
    const char *base = std::strrchr(out, '/');
    const char *dot = std::strrchr(base ? base : out, '.');
    if (!dot) return "a name without an extension";
    return std::string("the extension \"") + dot + "\"";
}

// The source's width and height of one page, read from its header only:
// the header callback refuses the image, so no pixel is decoded.
struct SourceSize {
    int32_t w = 0, h = 0;
    bool known = false;
};
int32_t take_header(void *user, const QV_DIB_HEADER *hdr, const QV_RGBQUAD *) {
    auto *s = static_cast<SourceSize *>(user);
    s->w = hdr->biWidth;
    s->h = hdr->biHeight < 0 ? -hdr->biHeight : hdr->biHeight;
    s->known = true;
    return 1;
}
int32_t no_rows(void *, int32_t, const uint8_t *, int32_t) { return 1; }

// The part of a w x h source that the load rectangle r (left, top, width,
// height; a zero width or height means the whole extent) selects: cut to
// the source, then moved back inside it.
void fit_rect(const int32_t r[4], int32_t w, int32_t h, int32_t fit[4]) {
    fit[2] = r[2] == 0 || r[2] > w ? w : r[2];
    fit[3] = r[3] == 0 || r[3] > h ? h : r[3];
    fit[0] = int64_t(r[0]) + fit[2] > w ? w - fit[2] : r[0];
    fit[1] = int64_t(r[1]) + fit[3] > h ? h - fit[3] : r[1];
}

// Says so when the rectangle asked for is not the one the load will take.
void note_rect(int fd, int32_t page, const int32_t rect[4]) {
    SourceSize src;
    QV_load_FD_CB(fd, 0, page, 1, no_rows, take_header, &src);
    if (!src.known) return;
    int32_t fit[4];
    fit_rect(rect, src.w, src.h, fit);
    const int32_t asked[4] = {rect[0], rect[1], rect[2] ? rect[2] : src.w,
                              rect[3] ? rect[3] : src.h};
    if (std::memcmp(asked, fit, sizeof fit) == 0) return;
    std::fprintf(stderr,
                 "qv: note: --rect %d,%d,%d,%d reaches outside the %d x %d image; "
                 "loading %d,%d,%d,%d instead\n",
                 rect[0], rect[1], rect[2], rect[3], src.w, src.h, fit[0], fit[1], fit[2], fit[3]);
}

// What `qv convert` is called as: the other commands take one operation's
// value as their third argument.
enum class Command { Convert, Resize, Rotate, Flip, Crop };

// `qv convert`, and the commands that are convert with a value given third.
int cmd_convert(int argc, char **argv, Command cmd) {
    const bool resize_cmd = cmd == Command::Resize;
    const char *in = nullptr, *out = nullptr;
    int32_t crop[4] = {0, 0, 0, 0}, flip = -1;
    double angle = 0;
    bool crop_set = false, rotate_set = false, grow = false;
    int32_t format = 0, page = 1, rect[4] = {0, 0, 0, 0}, size[2] = {0, 0}, reduce = 0, quality = 0;
    int32_t compression = -1;
    int32_t ccitt = 0, fax_w = 0, fax_h = 0, fill_order = 1, method = -1;
    bool rect_set = false, size_set = false, append = false, verbose = false, bg_set = false;
    uint8_t background[3] = {0, 0, 0};
    int progress = isatty(2) ? 1 : 0;
    for (int i = 0; i < argc; ++i) {
        std::string a = argv[i];
        bool has_value = i + 1 < argc;
        // The third argument of rotate and crop may start with a minus sign.
        if (in && out && cmd == Command::Rotate && !rotate_set && parse_angle(argv[i], &angle)) {
            rotate_set = true;
            continue;
        }
        if (in && out && cmd == Command::Crop && !crop_set && parse_rect(argv[i], crop)) {
            crop_set = true;
            continue;
        }
        if (a == "--format" && has_value) {
            format = qvtool::format_type_of(argv[++i]);
            if (format < 0) return std::fprintf(stderr, "qv: unknown format %s\n", argv[i]), 2;
        } else if (a == "--page" && has_value) {
            if (!parse_ints(argv[++i], 0, &page, 1) || page < 1)
                return std::fprintf(stderr, "qv: bad page %s\n", argv[i]), 2;
        } else if (a == "--rect" && has_value) {
            if (!parse_ints(argv[++i], ',', rect, 4))
                return std::fprintf(stderr, "qv: bad rectangle %s\n", argv[i]), 2;
            rect_set = rect[2] != 0 || rect[3] != 0;
        } else if (a == "--size" && has_value) {
            if (!parse_ints(argv[++i], 'x', size, 2))
                return std::fprintf(stderr, "qv: bad size %s\n", argv[i]), 2;
            size_set = true;
        } else if (a == "--method" && has_value) {
            if (!parse_ints(argv[++i], 0, &method, 1) || method > 4)
                return std::fprintf(stderr, "qv: bad resize method %s\n", argv[i]), 2;
        } else if (a == "--background" && has_value) {
            if (!parse_bytes(argv[++i], background))
                return std::fprintf(stderr, "qv: bad background %s\n", argv[i]), 2;
            bg_set = true;
        } else if (a == "--crop" && has_value) {
            if (!parse_rect(argv[++i], crop)) return std::fprintf(stderr, "qv: bad rectangle %s\n", argv[i]), 2;
            crop_set = true;
        } else if (a == "--rotate" && has_value) {
            if (!parse_angle(argv[++i], &angle)) return std::fprintf(stderr, "qv: bad angle %s\n", argv[i]), 2;
            rotate_set = true;
        } else if (a == "--grow") {
            grow = true;
        } else if (a == "--flip" && has_value) {
            flip = flip_direction_of(argv[++i]);
            if (flip < 0) return std::fprintf(stderr, "qv: bad flip direction %s (h or v)\n", argv[i]), 2;
        } else if (a == "--reduce" && has_value) {
            if (!parse_ints(argv[++i], 0, &reduce, 1) || reduce < 1 || reduce > 4)
                return std::fprintf(stderr, "qv: bad reduction mode %s\n", argv[i]), 2;
        } else if (a == "--ccitt" && has_value) {
            ccitt = ccitt_coding_of(argv[++i]);
            if (ccitt < 0) return std::fprintf(stderr, "qv: unknown fax coding %s\n", argv[i]), 2;
        } else if (a == "--width" && has_value) {
            if (!parse_ints(argv[++i], 0, &fax_w, 1) || fax_w < 1)
                return std::fprintf(stderr, "qv: bad width %s\n", argv[i]), 2;
        } else if (a == "--height" && has_value) {
            if (!parse_ints(argv[++i], 0, &fax_h, 1) || fax_h < 1)
                return std::fprintf(stderr, "qv: bad height %s\n", argv[i]), 2;
        } else if (a == "--fill-order" && has_value) {
            if (!parse_ints(argv[++i], 0, &fill_order, 1) || fill_order < 1 || fill_order > 2)
                return std::fprintf(stderr, "qv: bad fill order %s\n", argv[i]), 2;
        } else if (a == "--quality" && has_value) {
            if (!parse_ints(argv[++i], 0, &quality, 1) || quality < 1 || quality > 100)
                return std::fprintf(stderr, "qv: bad quality %s (1..100)\n", argv[i]), 2;
        } else if (a == "--compression" && has_value) {
            compression = tiff_compression_of(argv[++i]);
            if (compression < 0) return std::fprintf(stderr, "qv: unknown compression %s\n", argv[i]), 2;
        } else if (a == "--append") {
            append = true;
        } else if (a == "--progress") {
            progress = 1;
        } else if (a == "--quiet") {
            progress = 0;
        } else if (is_verbose_flag(argv[i])) {
            verbose = true;
        } else if (!a.empty() && a[0] == '-' && a != "-") {
            return std::fprintf(stderr, "qv: unknown option %s\n%s", a.c_str(), kUsage), 2;
        } else if (!in) {
            in = argv[i];
        } else if (!out) {
            out = argv[i];
        } else if (resize_cmd && !size_set) {
            if (!parse_ints(argv[i], 'x', size, 2))
                return std::fprintf(stderr, "qv: bad size %s\n", argv[i]), 2;
            size_set = true;
        } else if (cmd == Command::Rotate && !rotate_set) {
            return std::fprintf(stderr, "qv: bad angle %s\n", argv[i]), 2;
        } else if (cmd == Command::Crop && !crop_set) {
            return std::fprintf(stderr, "qv: bad rectangle %s\n", argv[i]), 2;
        } else if (cmd == Command::Flip && flip < 0) {
            flip = flip_direction_of(argv[i]);
            if (flip < 0) return std::fprintf(stderr, "qv: bad flip direction %s (h or v)\n", argv[i]), 2;
        } else {
            return std::fputs(kUsage, stderr), 2;
        }
    }
    const bool value_missing = (resize_cmd && !size_set) || (cmd == Command::Rotate && !rotate_set) ||
                               (cmd == Command::Crop && !crop_set) || (cmd == Command::Flip && flip < 0);
    if (!in || !out || value_missing) return std::fputs(kUsage, stderr), 2;
    if (grow && !rotate_set) return std::fputs("qv: --grow goes with --rotate\n", stderr), 2;
    if (size_set && (size[0] < 1 || size[1] < 1))
        return std::fprintf(stderr, "qv: bad size %dx%d\n", size[0], size[1]), 2;
    if (ccitt && (fax_w == 0 || fax_h == 0))
        return std::fputs("qv: --ccitt needs --width and --height\n", stderr), 2;
    if (const int32_t fax = fax_output(out, format)) {
        format = fax;
        QV_image_control_set(2 * 256 + (fax & 0xFFFF), fill_order);
    }
    const qvtool::Subject input{in, false, {}};
    const qvtool::Subject output{out, true, format_target(out, format)};
    if (format == 0) format = qvtool::format_of_name(out);
    if (compression >= 0) {
        if ((format & 0xFFFF) != QV_FORMAT_TIFF && paged_output(out, format) != QV_FORMAT_TIFF)
            return std::fputs("qv: --compression applies to TIFF output\n", stderr), 2;
        format = QV_FORMAT_TIFF | compression << 16;
        // JPEG as one stream per strip or tile (compression 7).
        QV_image_control_set(QV_CTL_TIFF_ONE_JPEG_STREAM, compression == 6 ? 1 : 0);
    }

    // The header first: an input that cannot be used is reported the same
    // way as by `qv info`.
    int32_t pages = 0;
    if (!ccitt && QV_info_get(in, nullptr, nullptr, nullptr) != 0)
        return qvtool::report_failure(input, verbose), 1;
    if (!ccitt && QV_page_count_get(in, &pages) == 0 && page > pages) {
        qvtool::report_plain(input, "page " + std::to_string(page) + " of " +
                                        std::to_string(pages) + " does not exist");
        return 1;
    }
    int fd = ::open(in, O_RDONLY);
    if (fd < 0) {
        QV_error_set("qv_main.cpp", __LINE__, QVE_OPEN_FAILED, 0, -1);
        return qvtool::report_failure(input, verbose), 1;
    }
    if (rect_set) {
        if (!ccitt) note_rect(fd, page, rect);
        QV_load_rect_set(rect[0], rect[1], rect[2], rect[3]);
    }
    if (reduce) QV_load_color_reduction_set(reduce);
    g_progress.on = progress != 0;
    QV_status_bar_CB_register(g_progress.on ? progress_cb : nullptr, &g_progress);

    QUORIN image = nullptr;
    g_progress.label = "load";
    int32_t n = ccitt ? QV_load_CCITT_FD(fd, 0, fax_w, fax_h, ccitt, fill_order, &image)
                      : QV_load_FD(fd, 0, page, 1, &image);
    ::close(fd);
    if (n != 0 || !image) return qvtool::report_failure(input, verbose), 1;
    if (crop_set) {
        g_progress.label = "crop";
        const QV_RECT r{crop[0], crop[1], crop[2], crop[3]};
        if (QV_IP_crop(image, &r) != 0) {
            qvtool::report_failure({in, false, {}, "crop"}, verbose);
            QV_image_delete(image);
            return 1;
        }
    }
    if (size_set) {
        g_progress.label = "resize";
        uint32_t m = method >= 0 ? uint32_t(method) : default_method(image);
        if (QV_IP_resize_bkgrnd(image, size[0], size[1], m, bg_set ? background : nullptr) != 0) {
            qvtool::report_failure({in, false, {}, "resize"}, verbose);
            QV_image_delete(image);
            return 1;
        }
    }
    if (rotate_set) {
        g_progress.label = "rotate";
        if (QV_IP_rotate_any_angle_bkgrnd(image, angle, grow ? 1 : 0, bg_set ? background : nullptr) != 0) {
            qvtool::report_failure({in, false, {}, "rotate"}, verbose);
            QV_image_delete(image);
            return 1;
        }
    }
    if (flip >= 0) {
        g_progress.label = "flip";
        if (QV_IP_flip(image, flip) != 0) {
            qvtool::report_failure({in, false, {}, "flip"}, verbose);
            QV_image_delete(image);
            return 1;
        }
    }

    // DCX and GIF pages: the control block's append flag (DCX word 1, GIF
    // word 0) adds the page to the existing file, in place (TIFF adds a page
    // to any TIFF it is saved over); every other save goes to a new file that
    // replaces OUT only once it is complete.
    const int32_t paged = paged_output(out, format);
    if (paged == QV_FORMAT_DCX) QV_image_control_set(1 * 256 + QV_FORMAT_DCX, append ? 1 : 0);
    if (paged == QV_FORMAT_GIF) QV_image_control_set(QV_CTL_GIF_APPEND, append ? 1 : 0);
    if (quality) QV_save_JPEG_quality_set(quality);
    const bool in_place = paged && append && ::access(out, F_OK) == 0;
    int status = 0;
    g_progress.label = "save";
    n = in_place ? QV_save_file(image, out, format) : qvtool::save_replacing(image, out, format);
    if (n != 0) {
        qvtool::report_failure(output, verbose);
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
    if (cmd == "convert") return cmd_convert(argc - 2, argv + 2, Command::Convert);
    if (cmd == "resize") return cmd_convert(argc - 2, argv + 2, Command::Resize);
    if (cmd == "rotate") return cmd_convert(argc - 2, argv + 2, Command::Rotate);
    if (cmd == "flip") return cmd_convert(argc - 2, argv + 2, Command::Flip);
    if (cmd == "crop") return cmd_convert(argc - 2, argv + 2, Command::Crop);
    if (cmd == "reduce") return qvtool::cmd_reduce(argc - 2, argv + 2, kUsage);
    if (cmd == "dither") return qvtool::cmd_dither(argc - 2, argv + 2, kUsage);
    std::fprintf(stderr, "qv: unknown command %s\n%s", argv[1], kUsage);
    return 2;
}
