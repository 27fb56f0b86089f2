/*
 * ccitt_tables.cpp - the ITU-T T.4 code words (terminating, make-up,
 * extended make-up and the two-dimensional mode codes) as written in the
 * recommendation, and the lookup tables built from them once.
 */
#include "filters/ccitt_tables.h"

#include <cstring>

namespace qv {
namespace {

// Terminating codes for runs 0..63, white then black.
constexpr const char *kWhiteTerm[64] = {
    "00110101", "000111",   "0111",     "1000",     "1011",     "1100",     "1110",     "1111",
    "10011",    "10100",    "00111",    "01000",    "001000",   "000011",   "110100",   "110101",
    "101010",   "101011",   "0100111",  "0001100",  "0001000",  "0010111",  "0000011",  "0000100",
    "0101000",  "0101011",  "0010011",  "0100100",  "0011000",  "00000010", "00000011", "00011010",
    "00011011", "00010010", "00010011", "00010100", "00010101", "00010110", "00010111", "00101000",
    "00101001", "00101010", "00101011", "00101100", "00101101", "00000100", "00000101", "00001010",
    "00001011", "01010010", "01010011", "01010100", "01010101", "00100100", "00100101", "01011000",
    "01011001", "01011010", "01011011", "01001010", "01001011", "00110010", "00110011", "00110100",
};

constexpr const char *kBlackTerm[64] = {
    "0000110111",   "010",          "11",           "10",           "011",
    "0011",         "0010",         "00011",        "000101",       "000100",
    "0000100",      "0000101",      "0000111",      "00000100",     "00000111",
    "000011000",    "0000010111",   "0000011000",   "0000001000",   "00001100111",
    "00001101000",  "00001101100",  "00000110111",  "00000101000",  "00000010111",
    "00000011000",  "000011001010", "000011001011", "000011001100", "000011001101",
    "000001101000", "000001101001", "000001101010", "000001101011", "000011010010",
    "000011010011", "000011010100", "000011010101", "000011010110", "000011010111",
    "000001101100", "000001101101", "000011011010", "000011011011", "000001010100",
    "000001010101", "000001010110", "000001010111", "000001100100", "000001100101",
    "000001010010", "000001010011", "000000100100", "000000110111", "000000111000",
    "000000100111", "000000101000", "000001011000", "000001011001", "000000101011",
    "000000101100", "000001011010", "000001100110", "000001100111",
};

// Make-up codes for 64, 128, ..., 1728, white then black.
constexpr const char *kWhiteMakeup[27] = {
    "11011",     "10010",     "010111",    "0110111",   "00110110",  "00110111",  "01100100",
    "01100101",  "01101000",  "01100111",  "011001100", "011001101", "011010010", "011010011",
    "011010100", "011010101", "011010110", "011010111", "011011000", "011011001", "011011010",
    "011011011", "010011000", "010011001", "010011010", "011000",    "010011011",
};

constexpr const char *kBlackMakeup[27] = {
    "0000001111",    "000011001000",  "000011001001",  "000001011011",  "000000110011",
    "000000110100",  "000000110101",  "0000001101100", "0000001101101", "0000001001010",
    "0000001001011", "0000001001100", "0000001001101", "0000001110010", "0000001110011",
    "0000001110100", "0000001110101", "0000001110110", "0000001110111", "0000001010010",
    "0000001010011", "0000001010100", "0000001010101", "0000001011010", "0000001011011",
    "0000001100100", "0000001100101",
};

// Extended make-up codes for 1792, 1856, ..., 2560, shared by both colours.
constexpr const char *kExtendedMakeup[13] = {
    "00000001000",  "00000001100",  "00000001101",  "000000010010", "000000010011",
    "000000010100", "000000010101", "000000010110", "000000010111", "000000011100",
    "000000011101", "000000011110", "000000011111",
};

// Two-dimensional mode codes: vertical VL3..VR3, pass, horizontal.
constexpr const char *kVertical[7] = {"0000010", "000010", "010", "1", "011", "000011", "0000011"};
constexpr const char *kPass = "0001";
constexpr const char *kHorizontal = "001";

CcittCode code_of(const char *s) {
    CcittCode c{0, 0};
    for (; *s; ++s) {
        c.bits = static_cast<uint16_t>((c.bits << 1) | (*s == '1' ? 1 : 0));
        ++c.len;
    }
    return c;
}

// Every index whose top code.len bits are the code gets the entry.
template <class E>
void put(E *table, int index_bits, CcittCode c, E e) {
    const int free_bits = index_bits - c.len;
    const uint32_t first = uint32_t(c.bits) << free_bits;
    for (uint32_t i = 0; i < (1u << free_bits); ++i) table[first + i] = e;
}

void build_runs(CcittRunEntry *table, int index_bits, const char *const term[64],
                const char *const makeup[27]) {
    for (uint32_t i = 0; i < (1u << index_bits); ++i) {
        // Eight leading zeros begin no code word: only an EOL.
        const bool zeros = (i >> (index_bits - 8)) == 0;
        table[i] = CcittRunEntry{0, kNotACode, uint8_t(zeros ? kCodeEolZeros : kCodeInvalid)};
    }
    for (int r = 0; r < 64; ++r) {
        CcittCode c = code_of(term[r]);
        put(table, index_bits, c, CcittRunEntry{uint16_t(r), c.len, kCodeTerm});
    }
    for (int k = 0; k < 27; ++k) {
        CcittCode c = code_of(makeup[k]);
        put(table, index_bits, c, CcittRunEntry{uint16_t(64 * (k + 1)), c.len, kCodeMakeup});
    }
    for (int k = 0; k < 13; ++k) {
        CcittCode c = code_of(kExtendedMakeup[k]);
        put(table, index_bits, c, CcittRunEntry{uint16_t(1792 + 64 * k), c.len, kCodeMakeup});
    }
}

void build_short(CcittRunEntry *small, const CcittRunEntry *full, int full_bits) {
    for (uint32_t i = 0; i < (1u << kShortBits); ++i) {
        const CcittRunEntry e = full[i << (full_bits - kShortBits)];
        const bool code = e.kind <= kCodeMakeup && e.len <= kShortBits;
        small[i] = code ? e : CcittRunEntry{0, kNotACode, kCodeLong};
    }
}

void build(CcittTables *t) {
    build_runs(t->white, kWhiteBits, kWhiteTerm, kWhiteMakeup);
    build_runs(t->black, kBlackBits, kBlackTerm, kBlackMakeup);
    build_short(t->white8, t->white, kWhiteBits);
    build_short(t->black8, t->black, kBlackBits);

    for (uint32_t i = 0; i < (1u << kModeBits); ++i)
        t->modes[i] = CcittModeEntry{uint8_t(i == 0 ? kModeEol : kModeInvalid), uint8_t(i == 0 ? 0 : kModeBits)};
    for (int v = 0; v < 7; ++v) {
        t->vertical[v] = code_of(kVertical[v]);
        put(t->modes, kModeBits, t->vertical[v], CcittModeEntry{uint8_t(kModeVL3 + v), t->vertical[v].len});
    }
    t->pass = code_of(kPass);
    t->horizontal = code_of(kHorizontal);
    put(t->modes, kModeBits, t->pass, CcittModeEntry{kModePass, t->pass.len});
    put(t->modes, kModeBits, t->horizontal, CcittModeEntry{kModeHorizontal, t->horizontal.len});

    for (int r = 0; r < 64; ++r) {
        t->term[0][r] = code_of(kWhiteTerm[r]);
        t->term[1][r] = code_of(kBlackTerm[r]);
    }
    for (int k = 0; k < 27; ++k) {
        t->makeup[0][k] = code_of(kWhiteMakeup[k]);
        t->makeup[1][k] = code_of(kBlackMakeup[k]);
    }
    for (int k = 0; k < 13; ++k) t->makeup[0][27 + k] = t->makeup[1][27 + k] = code_of(kExtendedMakeup[k]);

    for (int b = 0; b < 256; ++b) {
        uint8_t r = 0;
        for (int i = 0; i < 8; ++i)
            if (b & (1 << i)) r = uint8_t(r | (0x80 >> i));
        t->reverse[b] = r;
    }
}

}  // namespace

const CcittTables &ccitt_tables() {
    static const CcittTables *tables = [] {
        static CcittTables t;
        build(&t);
        return &t;
    }();
    return *tables;
}

}  // namespace qv
