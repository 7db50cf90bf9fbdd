#include <gtest/gtest.h>

#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

TEST(LogEx, FormatsWideAndUtf8TextWhateverTheLocale) {
    qvtest::InstallTestLog();
    LogEx(L"open [%s] and [%ls] %d", "M\xc3\xbcller.mp4", L"\u89c6\u9891.mp4", 7);
    auto log = qvtest::TakeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], L"open [M\u00fcller.mp4] and [\u89c6\u9891.mp4] 7");
}

TEST(LogEx, EmptyMessageIsNotDelivered) {
    qvtest::InstallTestLog();
    LogEx(L"%ls", L"");
    EXPECT_TRUE(qvtest::TakeLog().empty());
}

TEST(FourCC2StrW, TextEndsAtAZeroByte) {
    wchar_t text[5];
    EXPECT_STREQ(FourCC2StrW(text, 0x44495658), L"XVID");
    EXPECT_STREQ(FourCC2StrW(text, 0x00434141), L"AAC");
}
