// Log formatting, FourCC text and the UTF conversions: every sequence length,
// the surrogate and malformed-input rules, and what a short destination gets.
#include <gtest/gtest.h>

#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace {

typedef std::basic_string<UTF8> Bytes;
Bytes B(const char* text) { return Bytes(reinterpret_cast<const UTF8*>(text)); }
ConversionResult To32(const Bytes& in, ConversionFlags flags, std::u32string* text) {
    UTF32 out[16] = {};
    ConversionResult r = ConvertUTF8toUTF32(in.data(), in.data() + in.size(), out, out + 16, flags);
    return *text = std::u32string(reinterpret_cast<const char32_t*>(out)), r;
}
ConversionResult From16(const std::u16string& in, ConversionFlags flags, Bytes* bytes) {
    UTF8 out[32] = {};
    const UTF16* src = reinterpret_cast<const UTF16*>(in.data());
    ConversionResult r = ConvertUTF16toUTF8(src, src + in.size(), out, out + 32, flags);
    return *bytes = Bytes(out), r;
}

TEST(LogText, FormatsWideAndUtf8TextDropsEmptyMessagesAndNamesCodes) {
    qvtest::InstallTestLog();
    LogEx(L"open [%s] and [%ls] %d", "M\xc3\xbcller.mp4", L"\u89c6\u9891.mp4", 7);
    LogEx(L"%ls", L"");
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"open [M\u00fcller.mp4] and [\u89c6\u9891.mp4] 7"});
    wchar_t text[5];
    EXPECT_STREQ(FourCC2StrW(text, 0x44495658), L"XVID");
    EXPECT_STREQ(FourCC2StrW(text, 0x00434141), L"AAC");  // ends at a zero byte
}

TEST(ConvertUTF, EveryLengthRoundTripsThroughAllThreeForms) {
    const std::u32string points = U"A\u0080\u07FF\u0800\uFFFD\U00010000\U0010FFFF";
    const Bytes utf8 = B("A\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    const std::u16string utf16 = u"A\u0080\u07FF\u0800\uFFFD\xD800\xDC00\xDBFF\xDFFF";
    std::u32string decoded;
    Bytes encoded, back;
    EXPECT_EQ(To32(utf8, strictConversion, &decoded), conversionOK);
    EXPECT_EQ(decoded, points);
    UTF8 out[32] = {};
    const UTF32* p = reinterpret_cast<const UTF32*>(points.data());
    EXPECT_EQ(ConvertUTF32toUTF8(p, p + points.size(), out, out + 32, strictConversion), conversionOK);
    EXPECT_EQ(Bytes(out), utf8);
    char16_t units[9] = {};
    UTF16* u = reinterpret_cast<UTF16*>(units);
    EXPECT_EQ(ConvertUTF8toUTF16(utf8.data(), utf8.data() + utf8.size(), u, u + 9, strictConversion), conversionOK);
    EXPECT_EQ(std::u16string(units, 9), utf16);
    EXPECT_EQ(From16(utf16, strictConversion, &back), conversionOK);
    EXPECT_EQ(back, utf8);
}

TEST(ConvertUTF, SurrogatesFollowTheModeAndMalformedInputStops) {
    std::u32string text;
    EXPECT_EQ(To32(B("a\xED\xA0\x80" "b"), strictConversion, &text), sourceIllegal);
    EXPECT_EQ(text, U"a") << "what came before the failure stays written";
    EXPECT_EQ(To32(B("a\xED\xA0\x80" "b"), lenientConversion, &text), conversionOK);
    EXPECT_EQ(text, U"a\uFFFDb");
    Bytes bytes;
    for (ConversionFlags flags : {strictConversion, lenientConversion}) {
        // Overlong forms, beyond U+10FFFF, stray continuation, ASCII as continuation.
        for (const char* bad : {"\xC0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                                "\xF4\x41\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xC3\x28", "\xF8\x88\x80\x80\x80"})
            EXPECT_EQ(To32(B(bad), flags, &text), sourceIllegal) << int(UTF8(bad[0]));
        EXPECT_EQ(To32(B("A\xE8\xA7"), flags, &text), sourceExhausted);
        EXPECT_EQ(From16(u"a\xD83D", flags, &bytes), conversionOK);  // a final high surrogate: written alone
        EXPECT_EQ(bytes, B("a\xED\xA0\xBD"));
    }
    EXPECT_EQ(From16(u"\xD83D" u"b", strictConversion, &bytes), sourceIllegal);
    EXPECT_EQ(From16(u"\xDE00", strictConversion, &bytes), sourceIllegal);
    EXPECT_EQ(From16(u"\xD83D" u"b\xDE00", lenientConversion, &bytes), conversionOK);
    EXPECT_EQ(bytes, B("\xED\xA0\xBD" "b\xED\xB8\x80"));
    const UTF32 big[] = {0x110000, 0x41};  // replaced and reported, and the conversion goes on
    UTF8 out[8] = {};
    EXPECT_EQ(ConvertUTF32toUTF8(big, big + 2, out, out + 8, lenientConversion), sourceIllegal);
    EXPECT_EQ(Bytes(out), B("\xEF\xBF\xBD" "A"));
}

TEST(ConvertUTF, ShortTargetsAreNeverOverrunAndGetNoPartialCharacter) {
    const UTF32 text[] = {0x41, 0x89C6};
    UTF8 out[4] = {0, 0, 0x5A, 0x5A};
    EXPECT_EQ(ConvertUTF32toUTF8(text, text + 2, out, out + 3, strictConversion), targetExhausted);
    EXPECT_EQ(Bytes(out, 4), Bytes({0x41, 0, 0x5A, 0x5A}));
    wchar_t wide[8];
    wmemset(wide, L'#', 8);
    EXPECT_EQ(UTF8toW("h\xc3\xa9llo", 3, wide, 8, true), conversionOK);
    EXPECT_EQ(std::wstring(wide, 3), L"h\u00e9#") << "no terminator of its own";
    EXPECT_EQ(UTF8toW("abcd", -1, wide, 4, false), targetExhausted);
    EXPECT_EQ(std::wstring(wide, 5), L"abcd#") << "left unterminated";
    EXPECT_EQ(UTF8toW(nullptr, -1, wide, 8, false), sourceIllegal);
    char narrow[8] = "#######";
    EXPECT_EQ(WtoUTF8(L"\u89c6a", -1, narrow, 4, false), targetExhausted);
    EXPECT_EQ(std::string(narrow, 5), "\xe8\xa7\x86" "a#") << "capacity in bytes, no room for the terminator";
    const wchar_t unpaired[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_TRUE(WtoUTF8(unpaired, -1, narrow, 8, true) == sourceIllegal &&
                WtoUTF8(unpaired, -1, narrow, 8, false) == conversionOK && !strcmp(narrow, "\xed\xa0\x80"));
}

}  // namespace
