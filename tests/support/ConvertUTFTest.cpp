// UTF conversions: every sequence length, the surrogate and malformed-input
// rules, and what a short destination gets.
#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

#include <quevarra/qv_support.h>

namespace {

typedef std::basic_string<UTF8> Bytes;

Bytes B(const char* text) { return Bytes(reinterpret_cast<const UTF8*>(text)); }

// UTF-8 to UTF-32 into a zeroed buffer; text up to the first zero.
ConversionResult To32(const Bytes& in, ConversionFlags flags, std::u32string* text) {
    UTF32 out[16] = {};
    ConversionResult r = ConvertUTF8toUTF32(in.data(), in.data() + in.size(), out, out + 16, flags);
    *text = std::u32string(reinterpret_cast<const char32_t*>(out));
    return r;
}

ConversionResult From16(const std::u16string& in, ConversionFlags flags, Bytes* bytes) {
    UTF8 out[32] = {};
    const UTF16* src = reinterpret_cast<const UTF16*>(in.data());
    ConversionResult r = ConvertUTF16toUTF8(src, src + in.size(), out, out + 32, flags);
    *bytes = Bytes(out);
    return r;
}

TEST(ConvertUTF, EveryLengthRoundTripsThroughAllThreeForms) {
    const std::u32string points = U"A\u0080\u07FF\u0800\uFFFD\U00010000\U0010FFFF";
    const Bytes utf8 = B("A\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    std::u32string decoded;
    EXPECT_EQ(To32(utf8, strictConversion, &decoded), conversionOK);
    EXPECT_EQ(decoded, points);

    UTF8 encoded[32] = {};
    const UTF32* p = reinterpret_cast<const UTF32*>(points.data());
    EXPECT_EQ(ConvertUTF32toUTF8(p, p + points.size(), encoded, encoded + 32, strictConversion),
              conversionOK);
    EXPECT_EQ(Bytes(encoded), utf8);

    UTF16 utf16[9] = {};
    EXPECT_EQ(ConvertUTF8toUTF16(utf8.data(), utf8.data() + utf8.size(), utf16, utf16 + 9,
                                 strictConversion),
              conversionOK);
    EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(utf16), 9),
              u"A\u0080\u07FF\u0800\uFFFD\xD800\xDC00\xDBFF\xDFFF");
    Bytes back;
    EXPECT_EQ(From16(std::u16string(reinterpret_cast<char16_t*>(utf16), 9), strictConversion, &back),
              conversionOK);
    EXPECT_EQ(back, utf8);
}

TEST(ConvertUTF, EncodedSurrogateIsIllegalWhenStrictAndReplacedWhenLenient) {
    const Bytes surrogate = B("a\xED\xA0\x80" "b");
    std::u32string text;
    EXPECT_EQ(To32(surrogate, strictConversion, &text), sourceIllegal);
    EXPECT_EQ(text, U"a") << "what came before the failure stays written";
    EXPECT_EQ(To32(surrogate, lenientConversion, &text), conversionOK);
    EXPECT_EQ(text, U"a\uFFFDb");

    UTF16 out16[4] = {};
    EXPECT_EQ(ConvertUTF8toUTF16(surrogate.data(), surrogate.data() + 5, out16, out16 + 4,
                                 lenientConversion),
              conversionOK);
    EXPECT_EQ(out16[1], 0xFFFD);
}

TEST(ConvertUTF, MalformedAndTruncatedSequencesStopTheConversionInBothModes) {
    std::u32string text;
    for (ConversionFlags flags : {strictConversion, lenientConversion}) {
        // Overlong forms, beyond U+10FFFF, stray continuation, ASCII as continuation.
        for (const char* bad : {"\xC0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                                "\xF4\x41\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xC3\x28",
                                "\xF8\x88\x80\x80\x80"})
            EXPECT_EQ(To32(B(bad), flags, &text), sourceIllegal) << int(UTF8(bad[0]));
        EXPECT_EQ(To32(B("A\xE8\xA7"), flags, &text), sourceExhausted);
        EXPECT_EQ(text, U"A");
    }
}

TEST(ConvertUTF, Utf16SurrogateRules) {
    Bytes bytes;
    // A high surrogate that ends the source is written alone, in both modes.
    for (ConversionFlags flags : {strictConversion, lenientConversion}) {
        EXPECT_EQ(From16(u"a\xD83D", flags, &bytes), conversionOK);
        EXPECT_EQ(bytes, B("a\xED\xA0\xBD"));
    }
    EXPECT_EQ(From16(u"\xD83D" u"b", strictConversion, &bytes), sourceIllegal);
    EXPECT_EQ(From16(u"\xD83D" u"b", lenientConversion, &bytes), conversionOK);
    EXPECT_EQ(bytes, B("\xED\xA0\xBD" "b"));
    EXPECT_EQ(From16(u"\xDE00", strictConversion, &bytes), sourceIllegal);
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(From16(u"\xDE00", lenientConversion, &bytes), conversionOK);
    EXPECT_EQ(bytes, B("\xED\xB8\x80"));
}

TEST(ConvertUTF, Utf32BeyondTheLimitIsReplacedAndReported) {
    const UTF32 big[] = {0x110000, 0x41};
    UTF8 out[8] = {};
    EXPECT_EQ(ConvertUTF32toUTF8(big, big + 2, out, out + 8, lenientConversion), sourceIllegal);
    EXPECT_EQ(Bytes(out), B("\xEF\xBF\xBD" "A")) << "replaced, and the conversion went on";
}

TEST(ConvertUTF, ShortTargetsAreNeverOverrunAndGetNoPartialCharacter) {
    const UTF32 text[] = {0x41, 0x89C6};
    UTF8 out[4] = {0, 0, 0x5A, 0x5A};
    EXPECT_EQ(ConvertUTF32toUTF8(text, text + 2, out, out + 3, strictConversion), targetExhausted);
    EXPECT_EQ(Bytes(out, 4), Bytes({0x41, 0, 0x5A, 0x5A}));

    const Bytes astral = B("\xF0\x9F\x98\x80");  // needs a pair of units
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

    wmemset(out, L'#', 8);
    EXPECT_EQ(UTF8toW("abcd", -1, out, 4, false), targetExhausted);
    EXPECT_EQ(std::wstring(out, 5), L"abcd#") << "left unterminated";

    EXPECT_EQ(UTF8toW("\xed\xa0\x80", -1, out, 8, false), conversionOK);
    EXPECT_STREQ(out, L"\uFFFD");
    EXPECT_EQ(UTF8toW(nullptr, -1, out, 8, false), sourceIllegal);
}

TEST(WtoUTF8, CapacityIsInBytesAndSurrogatesFollowTheMode) {
    char out[8];
    memset(out, '#', sizeof out);
    EXPECT_EQ(WtoUTF8(L"\u89c6a", -1, out, 4, false), targetExhausted);
    EXPECT_EQ(std::string(out, 5), "\xe8\xa7\x86" "a#") << "no room for the terminator";

    const wchar_t unpaired[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(WtoUTF8(unpaired, -1, out, 8, true), sourceIllegal);
    EXPECT_EQ(WtoUTF8(unpaired, -1, out, 8, false), conversionOK);
    EXPECT_STREQ(out, "\xed\xa0\x80");
}

}  // namespace
