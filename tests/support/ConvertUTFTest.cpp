// UTF conversions: round trips over every sequence length, the surrogate and
// malformed-input rules, and what a short destination gets.
#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

#include <quevarra/qv_support.h>

namespace {

typedef std::basic_string<UTF8> Bytes;

Bytes B(std::initializer_list<int> bytes) {
    Bytes out;
    for (int b : bytes) out.push_back(static_cast<UTF8>(b));
    return out;
}

struct Utf8Result {
    ConversionResult result;
    std::u32string text;
};

Utf8Result To32(const Bytes& in, ConversionFlags flags, size_t room = 16) {
    std::vector<UTF32> out(room);
    ConversionResult r = ConvertUTF8toUTF32(in.data(), in.data() + in.size(), out.data(),
                                            out.data() + room, flags);
    std::u32string text;
    for (UTF32 c : out) {
        if (!c) break;
        text.push_back(static_cast<char32_t>(c));
    }
    return {r, text};
}

struct BytesResult {
    ConversionResult result;
    Bytes bytes;
};

BytesResult From16(const std::u16string& in, ConversionFlags flags, size_t room = 16) {
    std::vector<UTF8> out(room, 0);
    const UTF16* src = reinterpret_cast<const UTF16*>(in.data());
    ConversionResult r =
        ConvertUTF16toUTF8(src, src + in.size(), out.data(), out.data() + room, flags);
    return {r, Bytes(out.data(), strnlen(reinterpret_cast<char*>(out.data()), room))};
}

TEST(ConvertUTF, EveryLengthRoundTripsThroughAllThreeForms) {
    const std::u32string points = {0x41, 0x7F, 0x80, 0xE9, 0x7FF, 0x800, 0x89C6, 0xD7FF, 0xE000,
                                   0xFFFD, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF};
    const Bytes utf8 = B({0x41, 0x7F, 0xC2, 0x80, 0xC3, 0xA9, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xE8,
                          0xA7, 0x86, 0xED, 0x9F, 0xBF, 0xEE, 0x80, 0x80, 0xEF, 0xBF, 0xBD, 0xEF,
                          0xBF, 0xBF, 0xF0, 0x90, 0x80, 0x80, 0xF0, 0x9F, 0x98, 0x80, 0xF4, 0x8F,
                          0xBF, 0xBF});

    Utf8Result decoded = To32(utf8, strictConversion, 32);
    EXPECT_EQ(decoded.result, conversionOK);
    EXPECT_EQ(decoded.text, points);

    std::vector<UTF8> encoded(utf8.size());
    const UTF32* p = reinterpret_cast<const UTF32*>(points.data());
    EXPECT_EQ(ConvertUTF32toUTF8(p, p + points.size(), encoded.data(),
                                 encoded.data() + encoded.size(), strictConversion),
              conversionOK);
    EXPECT_EQ(Bytes(encoded.begin(), encoded.end()), utf8);

    std::vector<UTF16> utf16(points.size() + 3);  // three points need pairs
    EXPECT_EQ(ConvertUTF8toUTF16(utf8.data(), utf8.data() + utf8.size(), utf16.data(),
                                 utf16.data() + utf16.size(), strictConversion),
              conversionOK);
    EXPECT_EQ(utf16[11], 0xD800);  // U+10000
    EXPECT_EQ(utf16[12], 0xDC00);
    EXPECT_EQ(utf16[13], 0xD83D);  // U+1F600
    EXPECT_EQ(utf16[14], 0xDE00);
    EXPECT_EQ(utf16[15], 0xDBFF);  // U+10FFFF
    EXPECT_EQ(utf16[16], 0xDFFF);
    std::vector<UTF8> back(utf8.size());
    EXPECT_EQ(ConvertUTF16toUTF8(utf16.data(), utf16.data() + utf16.size(), back.data(),
                                 back.data() + back.size(), strictConversion),
              conversionOK);
    EXPECT_EQ(Bytes(back.begin(), back.end()), utf8);
}

TEST(ConvertUTF, EncodedSurrogateIsIllegalWhenStrictAndReplacedWhenLenient) {
    const Bytes surrogate = B({0x61, 0xED, 0xA0, 0x80, 0x62});
    Utf8Result strict = To32(surrogate, strictConversion);
    EXPECT_EQ(strict.result, sourceIllegal);
    EXPECT_EQ(strict.text, U"a") << "what came before the failure stays written";
    Utf8Result lenient = To32(surrogate, lenientConversion);
    EXPECT_EQ(lenient.result, conversionOK);
    EXPECT_EQ(lenient.text, U"a\uFFFDb");

    UTF16 out16[4] = {0, 0, 0, 0};
    EXPECT_EQ(ConvertUTF8toUTF16(surrogate.data(), surrogate.data() + surrogate.size(), out16,
                                 out16 + 4, lenientConversion),
              conversionOK);
    EXPECT_EQ(out16[1], 0xFFFD);
    EXPECT_EQ(ConvertUTF8toUTF16(surrogate.data(), surrogate.data() + surrogate.size(), out16,
                                 out16 + 4, strictConversion),
              sourceIllegal);
}

TEST(ConvertUTF, MalformedAndTruncatedSequencesStopTheConversionInBothModes) {
    for (ConversionFlags flags : {strictConversion, lenientConversion}) {
        for (const Bytes& bad : {B({0xC0, 0x80}), B({0xC1, 0xBF}), B({0xE0, 0x9F, 0xBF}),
                                 B({0xF0, 0x8F, 0xBF, 0xBF}), B({0xF4, 0x90, 0x80, 0x80}),
                                 B({0xF4, 0x41, 0x80, 0x80}), B({0xF5, 0x80, 0x80, 0x80}),
                                 B({0x80}), B({0xC3, 0x28}), B({0xE8, 0xA7, 0xC0}),
                                 B({0xF8, 0x88, 0x80, 0x80, 0x80})})
            EXPECT_EQ(To32(bad, flags).result, sourceIllegal) << int(bad[0]) << " " << int(bad[1]);
        Utf8Result cut = To32(B({0x41, 0xE8, 0xA7}), flags);
        EXPECT_EQ(cut.result, sourceExhausted);
        EXPECT_EQ(cut.text, U"A");
    }
}

TEST(ConvertUTF, Utf16SurrogateRules) {
    // A high surrogate that ends the source is written alone, in both modes.
    for (ConversionFlags flags : {strictConversion, lenientConversion}) {
        BytesResult tail = From16(u"a\xD83D", flags);
        EXPECT_EQ(tail.result, conversionOK);
        EXPECT_EQ(tail.bytes, B({0x61, 0xED, 0xA0, 0xBD}));
    }
    BytesResult pair = From16(u"\xD83D\xDE00", strictConversion);
    EXPECT_EQ(pair.result, conversionOK);
    EXPECT_EQ(pair.bytes, B({0xF0, 0x9F, 0x98, 0x80}));

    // High surrogate followed by another unit, and a lone low surrogate.
    EXPECT_EQ(From16(u"\xD83D" u"b", strictConversion).result, sourceIllegal);
    BytesResult unpaired = From16(u"\xD83D" u"b", lenientConversion);
    EXPECT_EQ(unpaired.result, conversionOK);
    EXPECT_EQ(unpaired.bytes, B({0xED, 0xA0, 0xBD, 0x62}));
    BytesResult low = From16(u"\xDE00", strictConversion);
    EXPECT_EQ(low.result, sourceIllegal);
    EXPECT_TRUE(low.bytes.empty());
    EXPECT_EQ(From16(u"\xDE00", lenientConversion).bytes, B({0xED, 0xB8, 0x80}));
}

TEST(ConvertUTF, Utf32OutOfRangeAndSurrogateValues) {
    const UTF32 big[] = {0x110000, 0x41};
    UTF8 out[8] = {};
    EXPECT_EQ(ConvertUTF32toUTF8(big, big + 2, out, out + 8, lenientConversion), sourceIllegal);
    EXPECT_EQ(Bytes(out), B({0xEF, 0xBF, 0xBD, 0x41})) << "replaced, and the conversion went on";

    const UTF32 sur[] = {0xDC00};
    UTF8 out2[4] = {};
    EXPECT_EQ(ConvertUTF32toUTF8(sur, sur + 1, out2, out2 + 4, strictConversion), sourceIllegal);
    EXPECT_EQ(out2[0], 0);
    EXPECT_EQ(ConvertUTF32toUTF8(sur, sur + 1, out2, out2 + 4, lenientConversion), conversionOK);
    EXPECT_EQ(Bytes(out2), B({0xED, 0xB0, 0x80}));
}

TEST(ConvertUTF, ShortTargetsAreNeverOverrunAndGetNoPartialCharacter) {
    // A 3-byte character with two bytes left: nothing of it is written.
    const UTF32 text[] = {0x41, 0x89C6};
    UTF8 out[4] = {0, 0, 0x5A, 0x5A};
    EXPECT_EQ(ConvertUTF32toUTF8(text, text + 2, out, out + 3, strictConversion), targetExhausted);
    EXPECT_EQ(out[0], 0x41);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[3], 0x5A);

    // A surrogate pair needs two units.
    const Bytes astral = B({0xF0, 0x9F, 0x98, 0x80});
    UTF16 out16[2] = {0, 0x5A5A};
    EXPECT_EQ(ConvertUTF8toUTF16(astral.data(), astral.data() + 4, out16, out16 + 1,
                                 strictConversion),
              targetExhausted);
    EXPECT_EQ(out16[0], 0);
    EXPECT_EQ(out16[1], 0x5A5A);
}

TEST(UTF8toW, WholeStringWithTerminatorOrExactlyTheGivenLength) {
    wchar_t out[8];
    wmemset(out, L'#', 8);
    EXPECT_EQ(UTF8toW("h\xc3\xa9", -1, out, 8, true), conversionOK);
    EXPECT_STREQ(out, L"h\u00e9");

    wmemset(out, L'#', 8);
    EXPECT_EQ(UTF8toW("h\xc3\xa9llo", 3, out, 8, true), conversionOK);
    EXPECT_EQ(std::wstring(out, 3), L"h\u00e9#") << "no terminator of its own";

    // Too small for text plus terminator: the destination stays unterminated.
    wmemset(out, L'#', 8);
    EXPECT_EQ(UTF8toW("abcd", -1, out, 4, false), targetExhausted);
    EXPECT_EQ(std::wstring(out, 5), L"abcd#");

    EXPECT_EQ(UTF8toW("\xed\xa0\x80", -1, out, 8, true), sourceIllegal);
    EXPECT_EQ(UTF8toW("\xed\xa0\x80", -1, out, 8, false), conversionOK);
    EXPECT_STREQ(out, L"\uFFFD");
    EXPECT_EQ(UTF8toW(nullptr, -1, out, 8, false), sourceIllegal);
}

TEST(WtoUTF8, WholeStringWithTerminatorAndByteCapacity) {
    char out[8];
    memset(out, '#', sizeof out);
    EXPECT_EQ(WtoUTF8(L"\u89c6a", -1, out, 8, true), conversionOK);
    EXPECT_STREQ(out, "\xe8\xa7\x86" "a");

    memset(out, '#', sizeof out);
    EXPECT_EQ(WtoUTF8(L"\u89c6a", -1, out, 4, false), targetExhausted);
    EXPECT_EQ(std::string(out, 5), "\xe8\xa7\x86" "a#") << "no room for the terminator";

    memset(out, '#', sizeof out);
    const wchar_t unpaired[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(WtoUTF8(unpaired, -1, out, 8, true), sourceIllegal);
    EXPECT_EQ(WtoUTF8(unpaired, -1, out, 8, false), conversionOK);
    EXPECT_STREQ(out, "\xed\xa0\x80");
}

}  // namespace
