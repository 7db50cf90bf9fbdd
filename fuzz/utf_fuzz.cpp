// The UTF conversions and UTF8toW / WtoUTF8 over arbitrary units, with
// sources and destinations of exactly the sizes handed in.
//
// Input: byte 0 picks the conversion, byte 1 the mode and how the
// destination capacity is chosen, byte 2 the capacity; the rest is the source
// (bytes, or little-endian 16/32-bit units).
//
// Beyond memory safety it checks: a strict conversion that succeeds round-trips
// byte for byte; a short destination receives a prefix of the full result;
// UTF8toW and WtoUTF8 give what the conversions they stand for give, with an
// explicit length and with -1.
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#include <algorithm>
#include <memory>
#include <vector>

#include <quevarra/qv_support.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"

namespace {

// Source units as a heap block of exactly their size.
template <typename T>
std::unique_ptr<T[]> Exact(const std::vector<T>& units) {
    std::unique_ptr<T[]> p(new T[units.size()]);
    if (!units.empty()) memcpy(p.get(), units.data(), units.size() * sizeof(T));
    return p;
}

template <typename T>
std::vector<T> Units(qvfuzz::Input& in) {
    std::vector<T> units(in.Left() / sizeof(T));
    in.Bytes(units.data(), units.size() * sizeof(T));
    return units;
}

template <typename From, typename To>
using Converter = ConversionResult (*)(const From*, const From*, To*, To*, ConversionFlags);

// Whether the first `count` units at a and b are equal (any pointers when 0).
template <typename A, typename B>
bool Same(const A* a, const B* b, size_t count) {
    return count == 0 || memcmp(a, b, count * sizeof(A)) == 0;
}

// One conversion into a destination of exactly `capacity` units, first filled
// with `fill`; the destination's contents come back in `out`.
template <typename From, typename To>
ConversionResult Run(Converter<From, To> convert, const std::vector<From>& source,
                     size_t capacity, ConversionFlags flags, To fill, std::vector<To>* out) {
    std::unique_ptr<From[]> src = Exact(source);
    std::unique_ptr<To[]> dst(new To[capacity]);
    for (size_t i = 0; i < capacity; ++i) dst[i] = fill;
    ConversionResult r =
        convert(src.get(), src.get() + source.size(), dst.get(), dst.get() + capacity, flags);
    QV_FUZZ_CHECK(r >= conversionOK && r <= sourceIllegal);
    out->assign(dst.get(), dst.get() + capacity);
    return r;
}

// Units written: those that differ from the fill in one of two runs with
// different fills give the same answer as those the conversion stored.
template <typename To>
size_t Written(const std::vector<To>& a, const std::vector<To>& b) {
    size_t n = a.size();
    while (n > 0 && a[n - 1] != b[n - 1]) --n;  // past the end the two fills differ
    return n;
}

// Converts with room to spare, then with the fuzzed capacity, and checks that
// the short run wrote a prefix of the full result.
template <typename From, typename To>
ConversionResult Convert(Converter<From, To> convert, const std::vector<From>& source,
                         size_t capacity, ConversionFlags flags, std::vector<To>* result) {
    std::vector<To> full1, full2;
    const size_t room = source.size() * 4 + 4;
    ConversionResult r = Run(convert, source, room, flags, To(0x11), &full1);
    QV_FUZZ_CHECK(Run(convert, source, room, flags, To(0x22), &full2) == r);
    const size_t n = Written(full1, full2);
    QV_FUZZ_CHECK(r != targetExhausted);
    QV_FUZZ_CHECK(std::equal(full1.begin(), full1.begin() + n, full2.begin()));
    result->assign(full1.begin(), full1.begin() + n);

    std::vector<To> short1, short2;
    ConversionResult s = Run(convert, source, capacity, flags, To(0x11), &short1);
    QV_FUZZ_CHECK(Run(convert, source, capacity, flags, To(0x22), &short2) == s);
    const size_t m = Written(short1, short2);
    QV_FUZZ_CHECK(m <= n && std::equal(short1.begin(), short1.begin() + m, result->begin()));
    // With room for exactly the full result, the target check comes before
    // the next character is judged: targetExhausted may stand for the rest.
    if (capacity > n) QV_FUZZ_CHECK(s == r && m == n);
    else if (capacity == n) QV_FUZZ_CHECK(m == n && (s == r || s == targetExhausted));
    else QV_FUZZ_CHECK(s == targetExhausted);
    return r;
}

// A strict conversion that succeeded goes back to the same units.
template <typename From, typename To>
void RoundTrip(Converter<To, From> back, const std::vector<From>& source,
               const std::vector<To>& converted) {
    std::vector<From> again;
    QV_FUZZ_CHECK(Run(back, converted, source.size() + 1, strictConversion, From(0), &again) ==
                  conversionOK);
    QV_FUZZ_CHECK(std::equal(source.begin(), source.end(), again.begin()));
}

// UTF8toW and WtoUTF8 give what the conversion they stand for gives, with
// the length given and with -1 (up to and including the first NUL).
template <typename From, typename To, typename Char, typename WideOrNarrow>
void CheckWrapper(Converter<From, To> convert,
                  ConversionResult (*wrapper)(const Char*, int, WideOrNarrow*, int, bool),
                  const std::vector<From>& source, ConversionFlags flags, size_t capacity) {
    static_assert(sizeof(Char) == sizeof(From) && sizeof(WideOrNarrow) == sizeof(To), "unit sizes");
    std::vector<From> terminated(source.begin(), std::find(source.begin(), source.end(), From(0)));
    terminated.push_back(0);
    for (int length : {static_cast<int>(source.size()), -1}) {
        const std::vector<From>& units = length < 0 ? terminated : source;
        std::vector<To> expected;
        const ConversionResult r = Run(convert, units, capacity, flags, To(0x33), &expected);
        std::unique_ptr<From[]> src = Exact(units);
        std::unique_ptr<WideOrNarrow[]> dst(new WideOrNarrow[capacity]);
        for (size_t i = 0; i < capacity; ++i) dst[i] = WideOrNarrow(0x33);
        QV_FUZZ_CHECK(wrapper(reinterpret_cast<const Char*>(src.get()), length, dst.get(),
                              static_cast<int>(capacity), flags == strictConversion) == r);
        QV_FUZZ_CHECK(Same(dst.get(), expected.data(), capacity));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) return -1;  // long texts add nothing the short ones do not
    qvfuzz::Input in(data, size);
    const int which = in.U8() % 6;
    const uint8_t mode = in.U8();
    const ConversionFlags flags = (mode & 1) ? lenientConversion : strictConversion;
    // Capacity: from byte 2 (0..255 units), or just around the full size.
    const uint8_t capacityByte = in.U8();
    auto capacity = [&](size_t sourceUnits, size_t perUnit) -> size_t {
        if (!(mode & 2)) return capacityByte;
        const size_t full = sourceUnits * perUnit;
        const size_t delta = capacityByte % 9;
        return delta <= 4 ? (full > delta ? full - delta : 0) : full + delta - 4;
    };

    switch (which) {
    case 0: {
        std::vector<UTF8> s = Units<UTF8>(in);
        std::vector<UTF32> out;
        if (Convert(ConvertUTF8toUTF32, s, capacity(s.size(), 1), flags, &out) == conversionOK &&
            flags == strictConversion)
            RoundTrip(ConvertUTF32toUTF8, s, out);
        break;
    }
    case 1: {
        std::vector<UTF8> s = Units<UTF8>(in);
        std::vector<UTF16> out;
        if (Convert(ConvertUTF8toUTF16, s, capacity(s.size(), 1), flags, &out) == conversionOK &&
            flags == strictConversion)
            RoundTrip(ConvertUTF16toUTF8, s, out);
        break;
    }
    case 2: {
        // A trailing lone high surrogate is written as three bytes, not
        // reported: no round trip is promised for UTF-16 sources.
        std::vector<UTF16> s = Units<UTF16>(in);
        std::vector<UTF8> out;
        Convert(ConvertUTF16toUTF8, s, capacity(s.size(), 3), flags, &out);
        break;
    }
    case 3: {
        std::vector<UTF32> s = Units<UTF32>(in);
        std::vector<UTF8> out;
        if (Convert(ConvertUTF32toUTF8, s, capacity(s.size(), 4), flags, &out) == conversionOK &&
            flags == strictConversion)
            RoundTrip(ConvertUTF8toUTF32, s, out);
        break;
    }
    case 4: {
        std::vector<UTF8> s = Units<UTF8>(in);
        CheckWrapper(ConvertUTF8toUTF32, UTF8toW, s, flags, capacity(s.size() + 1, 1));
        break;
    }
    default: {
        std::vector<UTF32> s = Units<UTF32>(in);
        CheckWrapper(ConvertUTF32toUTF8, WtoUTF8, s, flags, capacity(s.size() + 1, 4));
        break;
    }
    }
    return 0;
}
