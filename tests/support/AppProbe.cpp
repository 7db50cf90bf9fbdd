// A tiny host, copied into places and run there: the application path and the
// log library's one-time load depend on where the executable lies.
#include <stdio.h>
#include <string.h>

#include <quevarra/qv_support.h>

int main(int argc, char** argv) {
    if (argc > 1 && strcmp(argv[1], "log") == 0) return Log(L"first"), LogEx(L"second %d", 2), 0;
    char path[512], fromWide[1024];
    wchar_t wide[512];
    GetAppPathA(path, 511);
    WtoUTF8(GetAppPath(wide, 511), -1, fromWide, sizeof fromWide, false);
    printf("%s\n%s\n", path, fromWide);
    return 0;
}
