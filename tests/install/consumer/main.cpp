// Uses a few exported names through the installed umbrella header.
#include <quevarra/quevarra.h>

#include <stdio.h>
#include <string.h>

int main() {
    wchar_t code[5];
    FourCC2StrW(code, QV_FOURCC('X', 'V', 'I', 'D'));
    wchar_t wide[16];
    char back[16];
    if (UTF8toW("h\xc3\xa9", -1, wide, 16, true) != conversionOK ||
        WtoUTF8(wide, -1, back, 16, true) != conversionOK || strcmp(back, "h\xc3\xa9") != 0 ||
        wcscmp(code, L"XVID") != 0 || QVFindFileFormatPlugin(0) != nullptr ||
        QVGetFileFormatInfos() != nullptr || strcmp(QVGetVersionString(), PACKAGE_VERSION) != 0) {
        printf("consumer failed (library %s, package %s)\n", QVGetVersionString(), PACKAGE_VERSION);
        return 1;
    }
    printf("consumer ok\n");
    return 0;
}
