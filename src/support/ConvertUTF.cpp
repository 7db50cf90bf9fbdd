// Conversions between UTF-8, UTF-16 and UTF-32, after the Unicode consortium's
// reference algorithm. Start pointers are taken by value: callers learn only
// the result code, and whatever was written before a failure stays written.
#include <quevarra/qv_support.h>

#include <string.h>
#include <wchar.h>

namespace {

const UTF32 kReplacementChar = 0x0000FFFD;
const UTF32 kMaxBmp = 0x0000FFFF;
const UTF32 kMaxLegalUtf32 = 0x0010FFFF;
const UTF32 kSurHighStart = 0xD800;
const UTF32 kSurHighEnd = 0xDBFF;
const UTF32 kSurLowStart = 0xDC00;
const UTF32 kSurLowEnd = 0xDFFF;
const int kHalfShift = 10;
const UTF32 kHalfBase = 0x0010000;
const UTF32 kHalfMask = 0x3FF;

// Continuation bytes that follow each lead byte. Lead bytes F8..FF map to 4 and
// 5 so that isLegalUTF8 rejects them by length.
const unsigned char trailingBytesForUTF8[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};

// What the lead and continuation bytes add up to beyond the code point, by
// number of continuation bytes: subtracting it removes the length marks.
const UTF32 offsetsFromUTF8[6] = {0x00000000UL, 0x00003080UL, 0x000E2080UL,
                                  0x03C82080UL, 0xFA082080UL, 0x82082080UL};

// Length mark of the lead byte, by total sequence length.
const UTF8 firstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

// Whether the `length` bytes at `source` form one well-formed sequence. Encoded
// surrogates (ED A0..BF) pass here on purpose: the conversions apply their own
// surrogate rule afterwards (strict: illegal, lenient: U+FFFD).
bool isLegalUTF8(const UTF8* source, int length) {
    const UTF8* srcptr = source + length;
    UTF8 a;
    switch (length) {
    default:
        return false;
    case 4:
        if ((a = *--srcptr) < 0x80 || a > 0xBF) return false;
        [[fallthrough]];
    case 3:
        if ((a = *--srcptr) < 0x80 || a > 0xBF) return false;
        [[fallthrough]];
    case 2:
        if ((a = *--srcptr) > 0xBF) return false;
        switch (*source) {
        case 0xE0:
            if (a < 0xA0) return false;
            break;
        case 0xF0:
            if (a < 0x90) return false;
            break;
        case 0xF4:
            // Also at least 80: an ASCII byte is never a continuation byte, and
            // without this bound F4 41 .. would swallow the 'A'.
            if (a < 0x80 || a > 0x8F) return false;
            break;
        default:
            if (a < 0x80) return false;
        }
        [[fallthrough]];
    case 1:
        if (*source >= 0x80 && *source < 0xC2) return false;
    }
    if (*source > 0xF4) return false;
    return true;
}

// Number of UTF-8 bytes for ch; values beyond U+10FFFF become U+FFFD.
int Utf8Length(UTF32& ch) {
    if (ch < 0x80) return 1;
    if (ch < 0x800) return 2;
    if (ch < 0x10000) return 3;
    if (ch <= kMaxLegalUtf32) return 4;
    ch = kReplacementChar;
    return 3;
}

// Writes ch (already fitted by Utf8Length) as `bytes` bytes at target.
void PutUtf8(UTF32 ch, int bytes, UTF8* target) {
    const UTF32 byteMask = 0xBF;
    const UTF32 byteMark = 0x80;
    target += bytes;
    switch (bytes) {
    case 4:
        *--target = static_cast<UTF8>((ch | byteMark) & byteMask);
        ch >>= 6;
        [[fallthrough]];
    case 3:
        *--target = static_cast<UTF8>((ch | byteMark) & byteMask);
        ch >>= 6;
        [[fallthrough]];
    case 2:
        *--target = static_cast<UTF8>((ch | byteMark) & byteMask);
        ch >>= 6;
        [[fallthrough]];
    case 1:
        *--target = static_cast<UTF8>(ch | firstByteMark[bytes]);
    }
}

// Reads the sequence of 1 + extra bytes at source (already checked legal).
UTF32 GetUtf8(const UTF8* source, int extra) {
    UTF32 ch = 0;
    switch (extra) {
    case 5:
        ch += *source++;
        ch <<= 6;
        [[fallthrough]];
    case 4:
        ch += *source++;
        ch <<= 6;
        [[fallthrough]];
    case 3:
        ch += *source++;
        ch <<= 6;
        [[fallthrough]];
    case 2:
        ch += *source++;
        ch <<= 6;
        [[fallthrough]];
    case 1:
        ch += *source++;
        ch <<= 6;
        [[fallthrough]];
    case 0:
        ch += *source;
    }
    return ch - offsetsFromUTF8[extra];
}

// UTF-8 to 32-bit units. Templated on the unit so that the wide-character entry
// writes wchar_t directly instead of through a differently typed pointer.
template <typename Unit>
ConversionResult Utf8To32(const UTF8* source, const UTF8* sourceEnd, Unit* target,
                          Unit* targetEnd, ConversionFlags flags) {
    ConversionResult result = conversionOK;
    while (source < sourceEnd) {
        int extra = trailingBytesForUTF8[*source];
        if (extra >= sourceEnd - source) {
            result = sourceExhausted;
            break;
        }
        if (!isLegalUTF8(source, extra + 1)) {
            result = sourceIllegal;
            break;
        }
        UTF32 ch = GetUtf8(source, extra);
        if (target >= targetEnd) {
            result = targetExhausted;
            break;
        }
        if (ch <= kMaxLegalUtf32) {
            if (ch >= kSurHighStart && ch <= kSurLowEnd) {
                if (flags == strictConversion) {
                    result = sourceIllegal;
                    break;
                }
                *target++ = static_cast<Unit>(kReplacementChar);
            } else {
                *target++ = static_cast<Unit>(ch);
            }
        } else {
            result = sourceIllegal;
            *target++ = static_cast<Unit>(kReplacementChar);
        }
        source += extra + 1;
    }
    return result;
}

// 32-bit units to UTF-8; see Utf8To32 for the template.
template <typename Unit>
ConversionResult Utf32To8(const Unit* source, const Unit* sourceEnd, UTF8* target,
                          UTF8* targetEnd, ConversionFlags flags) {
    ConversionResult result = conversionOK;
    while (source < sourceEnd) {
        UTF32 ch = static_cast<UTF32>(*source);
        if (flags == strictConversion && ch >= kSurHighStart && ch <= kSurLowEnd) {
            result = sourceIllegal;
            break;
        }
        // A value beyond U+10FFFF is written as U+FFFD and reported, but the
        // conversion goes on.
        if (ch > kMaxLegalUtf32) result = sourceIllegal;
        int bytes = Utf8Length(ch);
        if (targetEnd - target < bytes) {
            result = targetExhausted;
            break;
        }
        PutUtf8(ch, bytes, target);
        target += bytes;
        ++source;
    }
    return result;
}

}  // namespace

ConversionResult ConvertUTF16toUTF8(const UTF16* source, const UTF16* sourceEnd, UTF8* target,
                                    UTF8* targetEnd, ConversionFlags flags) {
    ConversionResult result = conversionOK;
    while (source < sourceEnd) {
        const UTF16* next = source;
        UTF32 ch = *next++;
        if (ch >= kSurHighStart && ch <= kSurHighEnd) {
            // A high surrogate that ends the source is written on its own, like
            // any other single unit: the caller's range is taken to be complete.
            if (next < sourceEnd) {
                UTF32 ch2 = *next;
                if (ch2 >= kSurLowStart && ch2 <= kSurLowEnd) {
                    ch = ((ch - kSurHighStart) << kHalfShift) + (ch2 - kSurLowStart) + kHalfBase;
                    ++next;
                } else if (flags == strictConversion) {
                    result = sourceIllegal;
                    break;
                }
            }
        } else if (flags == strictConversion && ch >= kSurLowStart && ch <= kSurLowEnd) {
            result = sourceIllegal;
            break;
        }
        int bytes = Utf8Length(ch);
        if (targetEnd - target < bytes) {
            result = targetExhausted;
            break;
        }
        PutUtf8(ch, bytes, target);
        target += bytes;
        source = next;
    }
    return result;
}

ConversionResult ConvertUTF32toUTF8(const UTF32* source, const UTF32* sourceEnd, UTF8* target,
                                    UTF8* targetEnd, ConversionFlags flags) {
    return Utf32To8(source, sourceEnd, target, targetEnd, flags);
}

ConversionResult ConvertUTF8toUTF32(const UTF8* source, const UTF8* sourceEnd, UTF32* target,
                                    UTF32* targetEnd, ConversionFlags flags) {
    return Utf8To32(source, sourceEnd, target, targetEnd, flags);
}

ConversionResult ConvertUTF8toUTF16(const UTF8* source, const UTF8* sourceEnd, UTF16* target,
                                    UTF16* targetEnd, ConversionFlags flags) {
    ConversionResult result = conversionOK;
    while (source < sourceEnd) {
        int extra = trailingBytesForUTF8[*source];
        if (extra >= sourceEnd - source) {
            result = sourceExhausted;
            break;
        }
        if (!isLegalUTF8(source, extra + 1)) {
            result = sourceIllegal;
            break;
        }
        UTF32 ch = GetUtf8(source, extra);
        if (target >= targetEnd) {
            result = targetExhausted;
            break;
        }
        if (ch <= kMaxBmp) {
            if (ch >= kSurHighStart && ch <= kSurLowEnd) {
                if (flags == strictConversion) {
                    result = sourceIllegal;
                    break;
                }
                *target++ = static_cast<UTF16>(kReplacementChar);
            } else {
                *target++ = static_cast<UTF16>(ch);
            }
        } else if (ch > kMaxLegalUtf32) {
            if (flags == strictConversion) {
                result = sourceIllegal;
                break;
            }
            *target++ = static_cast<UTF16>(kReplacementChar);
        } else {
            if (targetEnd - target < 2) {
                result = targetExhausted;
                break;
            }
            ch -= kHalfBase;
            *target++ = static_cast<UTF16>((ch >> kHalfShift) + kSurHighStart);
            *target++ = static_cast<UTF16>((ch & kHalfMask) + kSurLowStart);
        }
        source += extra + 1;
    }
    return result;
}

// Lengths below -1 and null pointers with a non-empty range are refused as
// illegal input rather than read; a negative capacity counts as none.
ConversionResult UTF8toW(const char* source, int length, wchar_t* dest, int capacity,
                         bool strict) {
    if (length < -1 || (!source && length != 0)) return sourceIllegal;
    size_t count = length == -1 ? strlen(source) + 1 : static_cast<size_t>(length);
    size_t room = dest && capacity > 0 ? static_cast<size_t>(capacity) : 0;
    const UTF8* begin = reinterpret_cast<const UTF8*>(source);
    return Utf8To32<wchar_t>(begin, begin + count, dest, dest + room,
                             strict ? strictConversion : lenientConversion);
}

ConversionResult WtoUTF8(const wchar_t* source, int length, char* dest, int capacity,
                         bool strict) {
    if (length < -1 || (!source && length != 0)) return sourceIllegal;
    size_t count = length == -1 ? wcslen(source) + 1 : static_cast<size_t>(length);
    size_t room = dest && capacity > 0 ? static_cast<size_t>(capacity) : 0;
    UTF8* out = reinterpret_cast<UTF8*>(dest);
    return Utf32To8<wchar_t>(source, source + count, out, out + room,
                             strict ? strictConversion : lenientConversion);
}
