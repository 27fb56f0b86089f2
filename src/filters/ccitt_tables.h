/*
 * ccitt_tables.h - the T.4 code words and the lookup tables the CCITT
 * decoders and encoders work from, built once from the code lists.
 *
 * Decoding reads codes from a bit buffer: the next 8 bits index a small
 * table of the codes of up to 8 bits, and for longer codes the next 12
 * (white) or 13 (black) bits index the full table; an entry gives the
 * code's length and value. Two-dimensional mode codes are read the same way
 * from 7 bits. Encoding takes each code word from the per-colour tables.
 */
#pragma once

#include <cstdint>

namespace qv {

enum CcittCodeKind : uint8_t {
    kCodeTerm = 0,     // terminating code: the run ends
    kCodeMakeup = 1,   // make-up code: the run goes on with another code
    kCodeEolZeros = 2, // eight or more zeros: only an EOL can start here
    kCodeInvalid = 3,  // no code word begins with these bits
    kCodeLong = 4,     // (8-bit tables) a longer code: look in the full table
};

// The length of entries that are not codes: longer than any bit buffer.
inline constexpr uint8_t kNotACode = 0xFF;

struct CcittRunEntry {
    uint16_t value;  // run length (terminating) or make-up value
    uint8_t len;     // code length in bits (kNotACode for kinds 2 and 3)
    uint8_t kind;    // CcittCodeKind
};

// Two-dimensional modes: vertical offsets -3..3 are 3..9 (6 = V0).
enum CcittModeCode : uint8_t {
    kModeVL3 = 3,
    kModeV0 = 6,
    kModeVR3 = 9,
    kModeHorizontal = 11,
    kModePass = 12,
    kModeEol = 17,       // zeros: an EOL (or the end of the data)
    kModeInvalid = 18,   // extension codes and anything else
};

struct CcittModeEntry {
    uint8_t mode;
    uint8_t len;
};

struct CcittCode {
    uint16_t bits;  // right-aligned code word
    uint8_t len;
};

inline constexpr int kWhiteBits = 12;
inline constexpr int kBlackBits = 13;
inline constexpr int kModeBits = 7;

inline constexpr int kShortBits = 8;

struct CcittTables {
    CcittRunEntry white[1 << kWhiteBits];
    CcittRunEntry black[1 << kBlackBits];
    // The codes of at most 8 bits by the next 8 bits (small enough to stay
    // in the first-level cache); every other entry is kCodeLong.
    CcittRunEntry white8[1 << kShortBits];
    CcittRunEntry black8[1 << kShortBits];
    CcittModeEntry modes[1 << kModeBits];
    // Encoding: terminating codes 0..63 and make-up codes 64..2560 (index
    // run / 64 - 1) per colour (0 white, 1 black).
    CcittCode term[2][64];
    CcittCode makeup[2][40];
    // Vertical mode codes by offset + 3, pass and horizontal.
    CcittCode vertical[7];
    CcittCode pass;
    CcittCode horizontal;
    uint8_t reverse[256];  // bit order reversal of a byte
};

// The tables, built on first use.
const CcittTables &ccitt_tables();

}  // namespace qv
