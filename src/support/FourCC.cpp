#include <quevarra/qv_support.h>

#include <wchar.h>

wchar_t* FourCC2StrW(wchar_t* dest, unsigned long code) {
    if (!dest) return dest;
    // "%lc" maps each byte to the character of the same value whatever the
    // locale; a zero byte ends the text there.
    swprintf(dest, 5, L"%lc%lc%lc%lc", static_cast<wint_t>(code & 0xFF),
             static_cast<wint_t>((code >> 8) & 0xFF), static_cast<wint_t>((code >> 16) & 0xFF),
             static_cast<wint_t>((code >> 24) & 0xFF));
    return dest;
}
