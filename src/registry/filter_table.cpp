/*
 * filter_table.cpp - the 45 built-in filter rows, as data.
 *
 * Control-block offsets are the running sum of the sizes in table order, so
 * every filter's block has its own place in the settings record.
 * Also: filter_row_of_type, and filter_table_attach, which hands the
 * control blocks' layout and each format's defaults down to the settings
 * record at process attach.
 */
#include "registry/filter_table.h"

#include <cstring>
#include <utility>

#include "registry/filter_records.h"
#include "support/settings.h"

namespace qv {
namespace {

struct RowSpec {
    uint32_t type;
    const FilterFns *fns;
    uint32_t ctl_size;
    const char *extensions;
    uint32_t multipage;
};

constexpr RowSpec kRows[kFilterCount] = {
    {40, &kFnsTIFF, 352, "TIF|TIFF|", 1},
    {2, &kFnsBMP, 20, "BMP|DIB|", 0},
    {49, &kFnsAFX, 4, "AFX|", 0},
    {14, &kFnsGIF, 12, "GIF|", 1},
    {33, &kFnsPNG, 16, "PNG|", 0},
    {13, &kFnsGEM, 4, "GEM|", 0},
    {21, &kFnsJPG, 72, "JPG|", 0},
    {31, &kFnsPCX, 4, "PCX|", 0},
    {8, &kFnsDCX, 8, "DCX|", 1},
    {16, &kFnsICA16, 4, "ICA|", 0},
    {26, &kFnsICA26, 4, "ICA|", 1},
    {42, &kFnsWPG, 4, "WPG|", 0},
    {36, &kFnsPSD, 4, "PSD|", 0},
    {29, &kFnsPCD, 4, "PCD|", 0},
    {10, &kFnsEPS, 52, "EPS|EPI|EPSF|", 0},
    {4, &kFnsCALS, 4, "CAL|RAS|CALS|", 0},
    {18, &kFnsIFF, 4, "IFF|", 0},
    {52, &kFnsAVI, 268, "AVI|", 1},
    {47, &kFnsXWD, 4, "WD|XWD|", 0},
    {45, &kFnsXPM, 4, "XPM|", 0},
    {43, &kFnsXBM, 4, "XBM|", 0},
    {28, &kFnsPBM, 4, "PBM|", 0},
    {37, &kFnsRAS, 4, "RAS|", 0},
    {38, &kFnsSGI, 4, "SGI|BW|RGB|RGBA|", 0},
    {25, &kFnsMSP, 4, "MSP|", 0},
    {22, &kFnsKFX, 8, "KFX|", 0},
    {20, &kFnsIMT, 4, "IMT|", 0},
    {3, &kFnsBRK, 8, "301|BRK|", 0},
    {23, &kFnsLV, 4, "LV|", 0},
    {44, &kFnsWMF, 16, "WMF|", 0},
    {27, &kFnsNCR, 8, "NCR|", 0},
    {5, &kFnsCLP, 4, "CLP|", 0},
    {17, &kFnsICO, 4, "ICO|", 0},
    {39, &kFnsTGA, 48, "TGA|TPIC|", 0},
    {30, &kFnsPCT, 8, "PCT|PICT|", 0},
    {7, &kFnsCUT, 4, "CUT|PAL|", 0},
    {24, &kFnsMAC, 4, "MAC|", 0},
    {41, &kFnsTXT, 92, "TXT|", 0},
    {11, &kFnsG3a, 20, nullptr, 0},
    {53, &kFnsRaw53, 20, nullptr, 0},
    {12, &kFnsG4, 20, nullptr, 0},
    {54, &kFnsRaw54, 44, nullptr, 0},
    {55, &kFnsRaw55, 44, nullptr, 0},
    {57, &kFnsRaw57, 44, nullptr, 0},
    {46, &kFnsIMG, 0, "IMG", 0},
};

template <size_t... I>
constexpr auto build_table(std::index_sequence<I...>) {
    struct Table {
        FilterRow rows[kFilterCount];
    };
    constexpr auto offset = [](size_t row) {
        uint32_t off = 0;
        for (size_t i = 0; i < row; ++i) off += kRows[i].ctl_size;
        return off;
    };
    return Table{{FilterRow{kRows[I].type, kRows[I].fns, offset(I), kRows[I].ctl_size,
                            kRows[I].extensions, kRows[I].multipage}...}};
}

constexpr auto kBuilt = build_table(std::make_index_sequence<kFilterCount>{});
static_assert(kBuilt.rows[44].ctl_offset + kBuilt.rows[44].ctl_size <= kFilterCtlArea,
              "control blocks must fit the settings record");

}  // namespace

const FilterRow kFilterTable[kFilterCount] = {
#define QV_ROW(i) kBuilt.rows[i]
    QV_ROW(0),  QV_ROW(1),  QV_ROW(2),  QV_ROW(3),  QV_ROW(4),  QV_ROW(5),  QV_ROW(6),
    QV_ROW(7),  QV_ROW(8),  QV_ROW(9),  QV_ROW(10), QV_ROW(11), QV_ROW(12), QV_ROW(13),
    QV_ROW(14), QV_ROW(15), QV_ROW(16), QV_ROW(17), QV_ROW(18), QV_ROW(19), QV_ROW(20),
    QV_ROW(21), QV_ROW(22), QV_ROW(23), QV_ROW(24), QV_ROW(25), QV_ROW(26), QV_ROW(27),
    QV_ROW(28), QV_ROW(29), QV_ROW(30), QV_ROW(31), QV_ROW(32), QV_ROW(33), QV_ROW(34),
    QV_ROW(35), QV_ROW(36), QV_ROW(37), QV_ROW(38), QV_ROW(39), QV_ROW(40), QV_ROW(41),
    QV_ROW(42), QV_ROW(43), QV_ROW(44),
#undef QV_ROW
};

int filter_row_of_type(uint32_t type) {
    for (int i = 0; i < kFilterCount; ++i)
        if (kFilterTable[i].type == type) return i;
    return -1;
}

namespace {

void ctl_defaults(uint8_t *area) {
    // Field values a new process starts with: (format type, field, value).
    struct Default {
        uint32_t type;
        uint32_t field;
        int32_t value;
    };
    static constexpr Default kDefaults[] = {
        {31, 0, 1},   // PCX: run-length encoding on
        {8, 0, 1},    // DCX: pages run-length encoded
        {8, 1, 0},    // DCX: write anew unless asked to append
        {21, 1, 75},  // JPEG quality
        {11, 2, 1},   // raw CCITT: fill order 1 (first pixel in the high bit)
        {53, 2, 1},
        {12, 2, 1},
        {11, 4, 2},   // raw CCITT: K factor of two-dimensional writes
        {53, 4, 2},
        {12, 4, 2},
        {33, 0, 6},   // PNG deflate level
        {14, 2, -1},  // GIF: no transparent index
        {40, 12, 255},  // TIFF: NewSubfileType left to the writer (2)
        {40, 15, 2},    // TIFF: K factor of two-dimensional T.4
    };
    for (const Default &d : kDefaults) {
        int row = filter_row_of_type(d.type);
        if (row < 0) continue;
        std::memcpy(area + kFilterTable[row].ctl_offset + d.field * 4, &d.value, 4);
    }
}

bool ctl_locate(uint32_t type, uint32_t *offset, uint32_t *size) {
    int row = filter_row_of_type(type);
    if (row < 0) return false;
    *offset = kFilterTable[row].ctl_offset;
    *size = kFilterTable[row].ctl_size;
    return true;
}

constexpr ControlLayout kLayout = {ctl_locate, ctl_defaults};

}  // namespace

void filter_table_attach() {
    settings_control_layout_set(&kLayout);
    filter_codecs_attach();
}

}  // namespace qv
