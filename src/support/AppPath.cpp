// The host application's directory, from the main bundle's URL.
#include <quevarra/qv_support.h>

#include <string.h>
#include <wchar.h>

#include "platform/Bundle.h"

// A result that does not fit the caller's capacity is not truncated (a cut
// path would name some other directory): the destination receives an empty
// string instead, and callers treat an empty path as "no application path".

void GetAppPathA(char* dest, int capacity) {
    if (!dest || capacity <= 0) return;
    char text[512];
    memset(text, 0, sizeof text);
    qvbundle::StringGetCString(qvbundle::MainBundleURLString(), text, 511,
                               qvbundle::kEncodingUTF8);
    const char* result = strstr(text, "file://localhost/") ? text + 16 : text;
    static const char kSuffix[] = "Contents/MacOS";
    size_t need = strlen(result) + sizeof kSuffix;  // with the terminator
    if (need > static_cast<size_t>(capacity)) {
        dest[0] = '\0';
        return;
    }
    strcpy(dest, result);
    strcat(dest, kSuffix);
}

wchar_t* GetAppPath(wchar_t* dest, int capacity) {
    if (!dest || capacity <= 0) return dest;
    wchar_t text[512];
    wmemset(text, 0, 512);
    qvbundle::StringGetCString(qvbundle::MainBundleURLString(), text, 2044,
                               qvbundle::kEncodingUTF32);
    const wchar_t* result = wcsstr(text, L"file://localhost/") ? text + 16 : text;
    static const wchar_t kSuffix[] = L"Contents/MacOS";
    size_t need = wcslen(result) + sizeof kSuffix / sizeof(wchar_t);
    if (need > static_cast<size_t>(capacity)) {
        dest[0] = L'\0';
        return dest;
    }
    wcscpy(dest, result);
    wcscat(dest, kSuffix);
    return dest;
}
